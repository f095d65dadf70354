#include "gathering/point_grids.h"

#include "gathering/found_points.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/messages.h"
#include "support/quasi_random.h"
#include "support/stage_progress.h"
#include "support/threads.h"
#include "tracing/camera.h"
#include "tracing/context.h"
#include "tracing/eye_samples.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>

namespace lumorender {

namespace {

constexpr int kMostGrids = 5;
constexpr long kWorthwhile = 200;  // a grid that finds less than one new place in so many is the last
constexpr long kBlock = 16;        // places that a thread takes at once

/// Places over the image, at equal distances, in the middle of equal cells.
struct Grid {
    Grid(const DataWindow& itsWindow, double spacing, int itsLevel)
        : window(itsWindow),
          columns(cells(itsWindow.width, spacing)),
          rows(cells(itsWindow.height, spacing)),
          level(itsLevel) {}

    long places() const { return columns * rows; }

    EyeSample sample(long place) const {
        EyeSample result;
        result.x =
            window.x0 + (static_cast<double>(place % columns) + 0.5) * window.width / static_cast<double>(columns);
        result.y = window.y0 + (static_cast<double>(place / columns) + 0.5) * window.height / static_cast<double>(rows);
        result.time = 0.5;
        result.seed = mixSeeds(static_cast<std::uint32_t>(place), 0xF6000000U + static_cast<std::uint32_t>(level));
        return result;
    }

    DataWindow window;
    long columns, rows;
    int level;

private:
    static long cells(int pixels, double spacing) { return std::max(1L, std::lround(std::ceil(pixels / spacing))); }
};

/// One thread's share of the stage.
class Collector {
public:
    Collector(const RenderScene& scene, const PointStage& stage, short index)
        : samples_(scene, index, stage.stage), made_(samples_.context().*stage.newPoints) {
        made_.points = &found_.entries;
    }
    void finish() { samples_.finish(); }

    void visit(const Grid& grid, long place) {
        const std::size_t before = found_.entries.size();
        made_.first = before;
        samples_.trace(grid.sample(place));
        found_.endRun(static_cast<std::uint64_t>(place), before);
    }

    FoundPoints& found() { return found_; }
    std::uint64_t rays() const { return samples_.context().counters.secondary; }

private:
    FoundPoints found_;
    EyeSamples samples_;
    NewPoints& made_;
};

using Collectors = std::vector<std::unique_ptr<Collector>>;

/// All that the threads found, in the order of the grid's places.
std::vector<GatherPoint> inOrder(const Collectors& collectors) {
    std::vector<GatherPoint> points;
    for (const auto& run : runsInOrder<GatherPoint>(collectors))
        points.insert(points.end(), run.entries.begin(), run.entries.end());
    return points;
}

/// A block of the grid, from a former run or by its own rays.
void visitBlock(const Grid& grid, long block, std::uint32_t number, const SavedPoints& saved, Collector& collector) {
    if (const SavedPoints::Bytes* bytes = saved.find(number); bytes && unpackBlock(*bytes, block, collector.found()))
        return;
    const std::size_t runs = collector.found().runs.size();
    for (long place = block; place < std::min(block + kBlock, grid.places()); ++place) {
        if (abortRequested()) return;
        collector.visit(grid, place);
    }
    // A place whose rays were cut short is not finished.
    if (saved.keeps() && !abortRequested()) saved.keep(number, packBlock(collector.found(), runs, block));
}

void visitGrid(const RenderScene& scene, const PointStage& stage, const Grid& grid, const SavedPoints& saved,
               Collectors& collectors) {
    std::atomic<long> next{0};
    StageProgress progress(fmt::format("{}, grid of {} x {}", stage.name, grid.columns, grid.rows), grid.places());
    const bool isOcclusion = stage.stage == miSTAGE_AMBOCCL;
    onThreads(static_cast<int>(collectors.size()), [&](int index) {
        auto& collector = collectors[static_cast<std::size_t>(index)];
        if (!collector) collector = std::make_unique<Collector>(scene, stage, static_cast<short>(index));
        for (long block = next.fetch_add(kBlock); block < grid.places() && !abortRequested();
             block = next.fetch_add(kBlock)) {
            visitBlock(grid, block, SavedPoints::numberOf(isOcclusion, grid.level, block / kBlock), saved, *collector);
            progress.step(kBlock);
        }
    });
}

}  // namespace

void collectPoints(const RenderScene& scene, const PointStage& stage, GatherPoints& points, const DataWindow& window,
                   const SavedPoints& saved, int threads) {
    const auto start = std::chrono::steady_clock::now();
    Collectors collectors(static_cast<std::size_t>(threads));
    double spacing = stage.spacing;
    for (int level = 0; level < kMostGrids && !abortRequested(); ++level) {
        const Grid grid(window, spacing, level);
        visitGrid(scene, stage, grid, saved, collectors);
        const std::vector<GatherPoint> found = inOrder(collectors);
        if (!found.empty()) {
            points.add(found);
            points.clampToNeighbours();
        }
        for (auto& collector : collectors)
            if (collector) collector->found().clear();
        info("RC", "{}: grid of {} x {} places, {} new points", stage.name, grid.columns, grid.rows, found.size());
        if (spacing <= stage.finest || static_cast<long>(found.size()) * kWorthwhile < grid.places()) break;
        spacing = std::max(spacing / 2, stage.finest);
    }
    std::uint64_t rays = 0;
    for (const auto& collector : collectors)
        if (collector) {
            rays += collector->rays();
            collector->finish();
        }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    info("RC", "{}: {} points, {} rays in {:.2f} s", stage.name, points.all().size(), rays, seconds);
}

PointReach::PointReach(const RenderScene& scene, double density, double steps)
    : projection_(*scene.projection), steps_(steps) {
    constexpr double kPixels = 8;  // between points, at density 1
    if (density > 0) spacing_ = std::max(kPixels / std::sqrt(density), 1.0);
    miVector low, high;
    scene.geometry->bounds(low, high);
    sceneSize_ = length(high - low);
}

double PointReach::pixelSize(const miVector& position) const {
    return projection_.pixelSize(length(wide(position) - row(projection_.placement().localToWorld, 3)));
}

float PointReach::radius(const miVector& position, double meanDistance, const RadiusLimits& limits) const {
    constexpr double kLeast = 1.5;  // pixels
    const auto pixel = static_cast<float>(pixelSize(position));
    float least = limits.least, most = limits.most;
    if (limits.inPixels) {
        least *= pixel;
        most *= pixel;
    }
    if (!(most > 0)) {
        most = std::max(std::min(static_cast<float>(steps_ * spacing_) * pixel, sceneSize_ / 10), least);
        if (!(least > 0)) least = static_cast<float>(kLeast) * pixel;
    }
    if (!(least > 0)) least = most / 10;
    most = std::max(most, 1e-12F);
    const auto half = static_cast<float>(std::min(meanDistance / 2, 1e30));
    return std::clamp(half, std::clamp(least, 1e-12F, most), most);
}

}  // namespace lumorender
