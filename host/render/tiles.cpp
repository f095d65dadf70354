#include "render/tiles.h"

#include "mi/camera.h"
#include "mi/options.h"
#include "tracing/eye_samples.h"
#include "render/sampling.h"
#include "support/threads.h"
#include "support/abort.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>

namespace lumorender {

namespace {

constexpr int kDefaultTileSize = 32;

/// One thread's share of a render: it takes tile after tile until there are none.
class Worker {
public:
    Worker(const RenderScene& scene, short index)
        : samples_(scene, index, miSTAGE_TILE),
          buffers_(*scene.buffers),
          sampler_(scene.options->max_samples, scene.options->jitter,
                   (scene.options->motion & 1) != 0 && scene.options->shutter > scene.options->shutter_delay) {}

    void finish() { samples_.finish(); }

    /// False when the render was stopped before the tile was done; what is done of it counts.
    bool render(const Tile& tile, const DataWindow& window, std::vector<LayerImage>& images) {
        buffers_.start(tile.width, tile.height);
        bool complete = true;
        for (int y = 0; y < tile.height; ++y)
            for (int x = 0; x < tile.width; ++x) {
                complete = complete && samplePixel(tile, x, y);
                buffers_.endPixel(x, y);
            }
        buffers_.finish(tile.x - window.x0, tile.y - window.y0, images);
        return complete;
    }

    /// All that its tiles took so far.
    TileCost cost(double seconds) const {
        const RayCounters& rays = samples_.context().counters;
        return {
            rays.eye, rays.secondary, rays.shadow, rays.calls, static_cast<std::uint64_t>(buffers_.droppedSamples()),
            seconds};
    }

private:
    /// False where the render was stopped: a sample that was under way does not count.
    bool samplePixel(const Tile& tile, int tileX, int tileY) {
        const int x = tile.x + tileX, y = tile.y + tileY;
        const std::uint32_t seed = mixSeeds(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
        for (int i = 0; i < sampler_.count(); ++i) {
            const SamplePosition position = sampler_.position(seed, i);
            const miColor result =
                samples_.trace({x + position.x, y + position.y, position.time, seed, static_cast<std::uint32_t>(i)});
            if (abortRequested()) return false;
            const ThreadContext& context = samples_.context();
            buffers_.add(result, context.root->state, context.values, i == sampler_.standing());
        }
        return true;
    }

    EyeSamples samples_;
    TileBuffers buffers_;
    PixelSampler sampler_;
};

}  // namespace

int tileSizeToUse(int setting) { return setting > 0 ? setting : kDefaultTileSize; }

RenderCounts renderTiles(const RenderScene& scene, const DataWindow& window, const Share& share,
                         const TileSettings& settings, std::vector<LayerImage>& images, SavedRender& saved,
                         const std::function<void(const RenderProgress&)>& report) {
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return saved.costBefore().seconds +
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const int size = tileSizeToUse(settings.tileSize);
    const std::vector<Tile> tiles = tilesOf(window, size);
    std::vector<int> own = tilesOfShare(window, size, share);
    RenderProgress progress{0, static_cast<int>(own.size()), 0, 0};
    std::erase_if(own, [&](int tile) { return saved.hasTile(tile); });
    progress.done = progress.total - static_cast<int>(own.size());

    const int threads = threadsToUse(settings.threads);
    std::vector<std::unique_ptr<Worker>> workers(static_cast<std::size_t>(threads));
    std::atomic<std::size_t> next{0};
    std::mutex reporting;
    const auto renderSome = [&](int index) {
        auto& worker = workers[static_cast<std::size_t>(index)];
        worker = std::make_unique<Worker>(scene, static_cast<short>(index));
        for (std::size_t i = next++; i < own.size(); i = next++) {
            const TileCost before = worker->cost(0);
            if (!worker->render(tiles[static_cast<std::size_t>(own[i])], window, images)) break;
            const TileCost cost = worker->cost(elapsed()) - before;
            saved.keepTile(own[i], images, cost);
            const std::lock_guard lock(reporting);
            ++progress.done;
            progress.rays += cost.eyeRays + cost.secondaryRays;
            progress.seconds = elapsed();
            report(progress);
        }
    };
    std::exception_ptr failure;
    try {
        onThreads(threads, renderSome);
    } catch (...) {
        failure = std::current_exception();
    }

    RenderCounts counts;
    counts.cost = saved.costBefore();
    for (const auto& worker : workers) {
        if (!worker) continue;
        worker->finish();
        counts.cost += worker->cost(0);
    }
    if (failure) std::rethrow_exception(failure);
    counts.cost.seconds = elapsed();
    counts.complete = progress.done == progress.total;
    counts.done = static_cast<double>(progress.done) / progress.total;
    return counts;
}

}  // namespace lumorender
