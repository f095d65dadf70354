#include "render/contours.h"

#include "mi/options.h"
#include "render/tiles.h"
#include "saving/share.h"
#include "support/abort.h"
#include "support/quasi_random.h"
#include "support/threads.h"
#include "tracing/contour_sample.h"
#include "tracing/eye_samples.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <utility>

namespace lumorender {

namespace {

using Way = std::pair<int, int>;  // reflections and refractions

struct Sample {
    double x = 0, y = 0;  ///< raster
    ContourSample infos;
};

/// One end of a line, on one edge of the grid.
struct Crossing {
    Way way;
    miContour_endpoint end;
};
using Crossings = std::vector<Crossing>;

/// Edges by where they begin: to the right, and up.
enum Direction { Right, Up };

/// A thread's share of the search.
class ContourFinder {
public:
    ContourFinder(const RenderScene& scene, int density, short thread)
        : samples_(scene, thread, miSTAGE_TILE), scene_(scene), density_(density) {}

    void finish() { samples_.finish(); }

    /// Cells of the grid whose lower left corner lies in the tile.
    std::vector<ContourLine> search(const Tile& tile) {
        begin(tile);
        for (int y = 0; y < rows_; ++y)
            for (int x = 0; x < columns_; ++x) {
                if (abortRequested()) return {};
                take(at(x, y), tile.x + (x + .5) / density_, tile.y + (y + .5) / density_);
            }
        for (int y = 0; y < rows_; ++y)
            for (int x = 0; x < columns_; ++x) {
                if (x + 1 < columns_) cross(at(x, y), at(x + 1, y), edge(x, y, Right));
                if (y + 1 < rows_) cross(at(x, y), at(x, y + 1), edge(x, y, Up));
            }
        std::vector<ContourLine> lines;
        for (int y = 0; y + 1 < rows_; ++y)
            for (int x = 0; x + 1 < columns_; ++x) addLines(x, y, lines);
        return lines;
    }

private:
    /// Neighbouring tiles share their outermost samples.
    void begin(const Tile& tile) {
        columns_ = tile.width * density_ + 1;
        rows_ = tile.height * density_ + 1;
        const auto count = static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_);
        grid_.assign(count, {});
        edges_.assign(2 * count, {});
    }

    std::size_t index(int x, int y) const { return static_cast<std::size_t>(y * columns_ + x); }
    Sample& at(int x, int y) { return grid_[index(x, y)]; }
    Crossings& edge(int x, int y, Direction direction) { return edges_[2 * index(x, y) + direction]; }

    void take(Sample& sample, double x, double y) {
        sample = {x, y, {}};
        ThreadContext& context = samples_.context();
        context.contours = &sample.infos;
        const std::uint32_t seed =
            mixSeeds(static_cast<std::uint32_t>(x * density_), static_cast<std::uint32_t>(y * density_));
        samples_.trace({x, y, 0, seed, 0});
        context.contours = nullptr;
    }

    bool differ(const Sample& a, const Sample& b, Way way) {
        return seesContour(samples_.context(), scene_.contours.contrast, a.infos.find(way.first, way.second),
                           b.infos.find(way.first, way.second), way.first + way.second);
    }

    void cross(const Sample& a, const Sample& b, Crossings& crossings) {
        std::set<Way> ways;
        for (const Sample* sample : {&a, &b})
            for (const ContourInfo& info : sample->infos.infos()) ways.insert({info.reflections, info.refractions});
        for (const Way& way : ways)
            if (differ(a, b, way)) addCrossing(a, b, way, crossings);
    }

    /// The contour lies where samples on the way from a to b stop to be like a.
    void addCrossing(Sample a, Sample b, Way way, Crossings& crossings) {
        constexpr int kHalvings = 3;
        for (int i = 0; i < kHalvings && !abortRequested(); ++i) {
            Sample middle;
            take(middle, (a.x + b.x) / 2, (a.y + b.y) / 2);
            const bool isBefore = differ(a, middle, way);
            // A difference that grows slowly has no place of its own.
            if (!isBefore && !differ(middle, b, way)) break;
            std::swap(isBefore ? b : a, middle);
        }
        const ContourInfo* near = a.infos.find(way.first, way.second);
        const ContourInfo* far = b.infos.find(way.first, way.second);
        if (!near || (far && isNearer(*far, *near))) std::swap(near, far);
        if (!near) return;
        Crossing crossing{way, {}};
        if (!contourEnd(samples_.context(), *near, far, crossing.end)) return;
        crossing.end.point = {static_cast<float>((a.x + b.x) / 2), static_cast<float>((a.y + b.y) / 2), near->depth};
        crossings.push_back(crossing);
    }

    /// At an edge of two faces both are as near: it belongs to the one that is seen more, along its whole length.
    static bool isNearer(const ContourInfo& a, const ContourInfo& b) {
        constexpr float kAsNear = .01f;
        if (std::abs(a.depth - b.depth) > kAsNear * std::abs(b.depth)) return a.depth < b.depth;
        return a.state.dot_nd < b.state.dot_nd;
    }

    static miContour_endpoint meanOf(const std::vector<const miContour_endpoint*>& ends) {
        miContour_endpoint mean = {};
        const float share = 1 / static_cast<float>(ends.size());
        constexpr std::size_t kNumbers = sizeof mean / sizeof(float);
        for (const miContour_endpoint* end : ends)
            for (std::size_t i = 0; i < kNumbers; ++i)
                reinterpret_cast<float*>(&mean)[i] += share * reinterpret_cast<const float*>(end)[i];
        return mean;
    }

    /// Two crossings of a cell are joined; others meet in its middle.
    void addLines(int x, int y, std::vector<ContourLine>& lines) {
        Crossings* const around[] = {&edge(x, y, Right), &edge(x + 1, y, Up), &edge(x, y + 1, Right), &edge(x, y, Up)};
        std::set<Way> ways;
        for (const Crossings* crossings : around)
            for (const Crossing& crossing : *crossings) ways.insert(crossing.way);
        for (const Way& way : ways) {
            std::vector<const miContour_endpoint*> ends;
            for (const Crossings* crossings : around)
                for (const Crossing& crossing : *crossings)
                    if (crossing.way == way) ends.push_back(&crossing.end);
            if (ends.size() == 2) {
                lines.push_back({*ends[0], *ends[1]});
                continue;
            }
            miContour_endpoint middle = meanOf(ends);
            if (ends.size() == 1) {
                const Sample& corner = at(x, y);
                middle.point.x = static_cast<float>(corner.x + .5 / density_);
                middle.point.y = static_cast<float>(corner.y + .5 / density_);
            }
            for (const miContour_endpoint* end : ends) lines.push_back({*end, middle});
        }
    }

    EyeSamples samples_;
    const RenderScene& scene_;
    const int density_;
    int columns_ = 0, rows_ = 0;
    std::vector<Sample> grid_;
    std::vector<Crossings> edges_;
};

/// Samples across a pixel.
int densityOf(const miOptions& options) { return options.max_samples > 0 ? 2 : 1; }

}  // namespace

std::vector<ContourLine> findContours(const RenderScene& scene, const DataWindow& window, int threads) {
    const std::vector<Tile> tiles = tilesOf(window, tileSizeToUse(0));
    std::vector<std::vector<ContourLine>> found(tiles.size());
    std::vector<std::unique_ptr<ContourFinder>> finders(static_cast<std::size_t>(threads));
    std::atomic<std::size_t> next{0};
    onThreads(threads, [&](int thread) {
        auto& finder = finders[static_cast<std::size_t>(thread)];
        finder = std::make_unique<ContourFinder>(scene, densityOf(*scene.options), static_cast<short>(thread));
        for (std::size_t i = next++; i < tiles.size() && !abortRequested(); i = next++)
            found[i] = finder->search(tiles[i]);
    });
    for (const auto& finder : finders)
        if (finder) finder->finish();
    std::vector<ContourLine> lines;
    for (const auto& ofTile : found) lines.insert(lines.end(), ofTile.begin(), ofTile.end());
    return abortRequested() ? std::vector<ContourLine>{} : lines;
}

}  // namespace lumorender
