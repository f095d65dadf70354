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
#include <exception>
#include <memory>
#include <mutex>

namespace lumorender {

namespace {

constexpr int kDefaultTileSize = 32;

struct Tile {
    int x = 0, y = 0, width = 0, height = 0;  // pixels of the full image
};

std::vector<Tile> tilesOf(const DataWindow& window, int size) {
    std::vector<Tile> tiles;
    for (int y = window.y0 + window.height; y > window.y0; y -= size)
        for (int x = window.x0; x < window.x0 + window.width; x += size) {
            const int low = std::max(window.y0, y - size);
            tiles.push_back({x, low, std::min(size, window.x0 + window.width - x), y - low});
        }
    return tiles;
}

/// One thread's share of a render: it takes tile after tile until there are none.
class Worker {
public:
    Worker(const RenderScene& scene, short index)
        : samples_(scene, index, miSTAGE_TILE),
          buffers_(*scene.buffers),
          sampler_(scene.options->max_samples, scene.options->jitter,
                   scene.options->shutter > scene.options->shutter_delay) {}

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

    const ThreadContext& context() const { return samples_.context(); }
    long droppedSamples() const { return buffers_.droppedSamples(); }

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
            buffers_.add(result, context().root->state, context().values, i == sampler_.standing());
        }
        return true;
    }

    EyeSamples samples_;
    TileBuffers buffers_;
    PixelSampler sampler_;
};

}  // namespace

RenderCounts renderTiles(const RenderScene& scene, const DataWindow& window, const TileSettings& settings,
                         std::vector<LayerImage>& images, const std::function<void(const RenderProgress&)>& report) {
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const std::vector<Tile> tiles = tilesOf(window, settings.tileSize > 0 ? settings.tileSize : kDefaultTileSize);
    const int threads = threadsToUse(settings.threads);
    std::vector<std::unique_ptr<Worker>> workers(static_cast<std::size_t>(threads));
    std::atomic<std::size_t> next{0};
    std::mutex reporting;
    RenderProgress progress{0, static_cast<int>(tiles.size()), 0, 0};
    const auto renderSome = [&](int index) {
        auto& worker = workers[static_cast<std::size_t>(index)];
        worker = std::make_unique<Worker>(scene, static_cast<short>(index));
        for (std::size_t tile = next++; tile < tiles.size(); tile = next++) {
            const std::uint64_t before = worker->context().counters.eye + worker->context().counters.secondary;
            if (!worker->render(tiles[tile], window, images)) break;
            const std::lock_guard lock(reporting);
            ++progress.done;
            progress.rays += worker->context().counters.eye + worker->context().counters.secondary - before;
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
    for (const auto& worker : workers) {
        if (!worker) continue;
        worker->finish();
        const RayCounters& rays = worker->context().counters;
        counts.rays.eye += rays.eye;
        counts.rays.secondary += rays.secondary;
        counts.rays.shadow += rays.shadow;
        counts.rays.calls += rays.calls;
        counts.droppedSamples += worker->droppedSamples();
    }
    if (failure) std::rethrow_exception(failure);
    counts.seconds = elapsed();
    counts.complete = progress.done == progress.total;
    return counts;
}

}  // namespace lumorender
