#include "render/tiles.h"

#include "gathering/final_gather_points.h"
#include "mi/camera.h"
#include "mi/options.h"
#include "render/sample_grid.h"
#include "render/sampling.h"
#include "support/abort.h"
#include "support/quasi_random.h"
#include "support/threads.h"
#include "tracing/eye_samples.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

namespace lumorender {

namespace {

constexpr int kDefaultTileSize = 32;
constexpr float kFarthest = std::numeric_limits<float>::infinity();
constexpr std::size_t kBytesOfSamples = std::size_t{64} << 20;  // that a thread keeps at once

bool shutterOpens(const miOptions& options) {
    return (options.motion & 1) != 0 && options.shutter > options.shutter_delay;
}

/// One thread's share of a render: it takes tile after tile until there are none.
class Worker {
public:
    Worker(const RenderScene& scene, const std::vector<PassStep>& passes, short index)
        : samples_(scene, index, miSTAGE_TILE),
          buffers_(*scene.buffers),
          passes_(passes, samples_.context()),
          masks_(scene.camera->pass_mask != 0),
          sampler_(scene.options->max_samples, scene.options->jitter, shutterOpens(*scene.options)) {
        samples_.context().pixelLight = &pixelLight_;
        if (!usesGrid(*scene.options, !passes.empty())) return;
        grid_.emplace(*scene.options, sampler_.edge(), scene.camera->x_resolution, scene.camera->y_resolution);
        sampler_.numberByLevels(scene.options->min_samples);
        if (grid_->filter().clips()) buffers_.clip();
    }

    void finish() { samples_.finish(); }

    /// False when the render was stopped before the tile was done; what is done of it counts.
    bool render(const Tile& tile, const DataWindow& window, std::vector<LayerImage>& images) {
        buffers_.start(tile.width, tile.height);
        const bool complete = grid_ ? renderAdaptively(tile) : renderPixels(tile);
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
    /// Every pixel has all its samples.
    bool renderPixels(const Tile& tile) {
        bool complete = true;
        for (int y = 0; y < tile.height; ++y) {
            if (complete && passes_.isNeeded()) passes_.startRow(tile.x, tile.y + y, tile.width);
            row_ = {tile.x, tile.x + tile.width, tile.y + y};
            for (int x = 0; x < tile.width; ++x) {
                complete = complete && samplePixel(tile.x + x);
                buffers_.endPixel(x, y);
            }
            if (complete && passes_.isNeeded()) passes_.endRow();
        }
        return complete;
    }

    /// Piece by piece, as many pixels at once as their samples may take memory.
    bool renderAdaptively(const Tile& tile) {
        const std::size_t samples = kBytesOfSamples / (buffers_.bytesPerSample() + sizeof(GridSample));
        const int edge = std::max(static_cast<int>(std::sqrt(static_cast<double>(samples))) / sampler_.edge(), 1);
        bool complete = true;
        for (int y = tile.y; y < tile.y + tile.height; y += edge)
            for (int x = tile.x; x < tile.x + tile.width; x += edge) {
                const Tile piece{x, y, std::min(edge, tile.x + tile.width - x),
                                 std::min(edge, tile.y + tile.height - y)};
                complete = complete && takeSamples(piece);
                for (int row = y; row < y + piece.height; ++row)
                    for (int column = x; column < x + piece.width; ++column) {
                        if (complete) gatherPixel(column, row);
                        buffers_.endPixel(column - tile.x, row - tile.y);
                    }
            }
        return complete;
    }

    bool takeSamples(const Tile& piece) {
        buffers_.forgetSamples();
        cells_.samples.clear();
        cells_.rays.clear();
        const auto take = [this](const SampleGrid::Cell& cell, int foreseen, GridSample& sample) {
            return takeSample(cell, foreseen, sample);
        };
        if (!samples_.foresees()) return grid_->fill(piece, take);
        return grid_->fill(piece, take, [this](std::span<const SampleGrid::Cell> cells) { return foresee(cells); });
    }

    EyeSample sampleOf(const SampleGrid::Cell& cell) const {
        const int edge = sampler_.edge();
        const int x = cell.x / edge, y = cell.y / edge;
        return sampleAt(x, y, seedOf(x, y), cell.y % edge * edge + cell.x % edge, kFarthest);
    }

    int foresee(std::span<const SampleGrid::Cell> cells) {
        const std::size_t first = cells_.samples.size();
        for (const SampleGrid::Cell& cell : cells) cells_.samples.push_back(sampleOf(cell));
        cells_.rays.resize(cells_.samples.size());
        samples_.foresee(std::span(cells_.samples).subspan(first), &cells_.rays[first]);
        return static_cast<int>(first);
    }

    bool takeSample(const SampleGrid::Cell& cell, int foreseen, GridSample& sample) {
        const auto number = static_cast<std::size_t>(foreseen);
        sample.color =
            foreseen < 0 ? samples_.trace(sampleOf(cell)) : samples_.trace(cells_.samples[number], cells_.rays[number]);
        if (abortRequested()) return false;
        const ThreadContext& context = samples_.context();
        sample.moves = context.sampleMoves;
        buffers_.keep(sample.color, context.root->state, context.values);
        return true;
    }

    void gatherPixel(int x, int y) {
        for (const SampleGrid::Part& part : grid_->partsOf(x, y)) buffers_.addPart(part.sample, part.weight);
        buffers_.letStand(grid_->standing(x, y));
    }

    static std::uint32_t seedOf(int x, int y) {
        return mixSeeds(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
    }

    /// @param seed of the pixel
    EyeSample sampleAt(int x, int y, std::uint32_t seed, int cell, float farthest) const {
        const SamplePosition position = sampler_.position(seed, cell);
        return {x + position.x,        y + position.y,     position.time, seed,
                sampler_.number(cell), sampler_.ordered(), farthest};
    }

    /// False where the render was stopped: a sample that was under way does not count.
    bool samplePixel(int x) {
        pixelLight_.clear();
        for (int i = 0; i < sampler_.count(); ++i) {
            const miColor result = traceNext();
            if (abortRequested()) return false;
            add(result, x, i);
        }
        return true;
    }

    miColor traceNext() {
        if (row_.taken == row_.foreseen) foresee();
        const std::size_t next = row_.taken++;
        return samples_.trace(row_.samples[next], row_.rays[next]);
    }

    void foresee() {
        std::size_t count = 0;
        std::uint32_t seed = seedOf(row_.x, row_.y);
        while (count < row_.samples.size() && row_.x < row_.end) {
            const float farthest = masks_ ? passes_.nearestInFiles(row_.x, row_.cell) : kFarthest;
            row_.samples[count++] = sampleAt(row_.x, row_.y, seed, row_.cell, farthest);
            if (++row_.cell < sampler_.count()) continue;
            row_.cell = 0;
            seed = seedOf(++row_.x, row_.y);
        }
        samples_.foresee({row_.samples.data(), count}, row_.rays.data());
        row_.foreseen = count;
        row_.taken = 0;
    }

    void add(const miColor& result, int x, int number) {
        const ThreadContext& context = samples_.context();
        if (!passes_.isNeeded())
            return buffers_.add(result, context.root->state, context.values, number == sampler_.standing());
        buffers_.takeSample(result, context.root->state, context.values, sample_);
        passes_.apply(sample_, x, number);
        buffers_.add(sample_, number == sampler_.standing());
    }

    /// The samples of a row of pixels, one after the other; those that come next have been looked for together.
    struct Row {
        int x = 0, end = 0, y = 0, cell = 0;  ///< first sample that has not been looked for
        std::array<EyeSample, EyeSamples::kTogether> samples = {};
        std::array<EyeRay, EyeSamples::kTogether> rays = {};
        std::size_t foreseen = 0, taken = 0;  ///< of these
    };
    /// Of cells of the grid, those that have been looked for.
    struct Cells {
        std::vector<EyeSample> samples;
        std::vector<EyeRay> rays;
    };

    EyeSamples samples_;
    Row row_;
    Cells cells_;
    std::vector<GatherPoint> pixelLight_;
    TileBuffers buffers_;
    PassWork passes_;
    BufferSample sample_;
    const bool masks_;
    PixelSampler sampler_;
    std::optional<SampleGrid> grid_;  ///< where pixels share samples, or take no fixed number of them
};

/// What the threads of a render share: the tiles that are left, and what is done.
class TileLoop {
public:
    TileLoop(const RenderScene& scene, const std::vector<PassStep>& passes, const DataWindow& window,
             const Share& share, const TileSettings& settings, std::vector<LayerImage>& images, SavedRender& saved,
             const std::function<void(const RenderProgress&)>& report)
        : scene_(scene),
          passes_(passes),
          window_(window),
          images_(images),
          saved_(saved),
          report_(report),
          tiles_(tilesOf(window, tileSizeToUse(settings.tileSize))),
          left_(tilesOfShare(window, tileSizeToUse(settings.tileSize), share)),
          workers_(static_cast<std::size_t>(threadsToUse(settings.threads))) {
        progress_.total = static_cast<int>(left_.size());
        std::erase_if(left_, [&](int tile) { return saved_.hasTile(tile); });
        progress_.done = progress_.total - static_cast<int>(left_.size());
    }

    int threads() const { return static_cast<int>(workers_.size()); }

    /// A thread's share of the tiles. Each thread calls it once.
    void run(int thread) {
        auto& worker = workers_[static_cast<std::size_t>(thread)];
        worker = std::make_unique<Worker>(scene_, passes_, static_cast<short>(thread));
        for (std::size_t i = next_++; i < left_.size(); i = next_++) {
            const TileCost before = worker->cost(0);
            if (!renderTile(*worker, left_[i])) break;
            const TileCost cost = worker->cost(elapsed()) - before;
            saved_.keepTile(left_[i], images_, cost);
            const std::lock_guard lock(reporting_);
            ++progress_.done;
            progress_.rays += cost.eyeRays + cost.secondaryRays;
            progress_.seconds = elapsed();
            report_(progress_);
        }
    }

    /// When all threads have ended, however they did.
    RenderCounts finish() {
        RenderCounts counts;
        counts.cost = saved_.costBefore();
        for (const auto& worker : workers_) {
            if (!worker) continue;
            worker->finish();
            counts.cost += worker->cost(0);
        }
        counts.cost.seconds = elapsed();
        counts.complete = progress_.done == progress_.total;
        counts.done = static_cast<double>(progress_.done) / progress_.total;
        return counts;
    }

private:
    bool renderTile(Worker& worker, int number) {
        bool complete = false;
        {
            const auto geometry = scene_.geometry->inUse();
            complete = worker.render(tiles_[static_cast<std::size_t>(number)], window_, images_);
        }
        scene_.geometry->makeRoom();
        return complete;
    }

    double elapsed() const {
        const std::chrono::duration<double> here = std::chrono::steady_clock::now() - start_;
        return saved_.costBefore().seconds + here.count();
    }

    const RenderScene& scene_;
    const std::vector<PassStep>& passes_;
    const DataWindow& window_;
    std::vector<LayerImage>& images_;
    SavedRender& saved_;
    const std::function<void(const RenderProgress&)>& report_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    const std::vector<Tile> tiles_;
    std::vector<int> left_;  ///< by number, those that no former run has made
    std::vector<std::unique_ptr<Worker>> workers_;
    std::atomic<std::size_t> next_{0};
    std::mutex reporting_;
    RenderProgress progress_;
};

}  // namespace

bool usesGrid(const miOptions& options, bool hasPasses) {
    if (hasPasses) return false;  // samples of files belong to samples of pixels
    return options.min_samples < options.max_samples || options.max_samples < 0 ||
           !PixelFilter(options, 1).isMeanOfPixel();
}

int tileSizeToUse(int setting) { return setting > 0 ? setting : kDefaultTileSize; }

RenderCounts renderTiles(const RenderScene& scene, const std::vector<PassStep>& passes, const DataWindow& window,
                         const Share& share, const TileSettings& settings, std::vector<LayerImage>& images,
                         SavedRender& saved, const std::function<void(const RenderProgress&)>& report) {
    TileLoop loop(scene, passes, window, share, settings, images, saved, report);
    std::exception_ptr failure;
    try {
        // Profilers that count from where a thread enters its tiles go by this lambda's name.
        onThreads(loop.threads(), [&loop](int thread) { loop.run(thread); });
    } catch (...) {
        failure = std::current_exception();
    }
    const RenderCounts counts = loop.finish();
    if (failure) std::rethrow_exception(failure);
    return counts;
}

}  // namespace lumorender
