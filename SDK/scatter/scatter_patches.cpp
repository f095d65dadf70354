#include "SDK/scatter/scatter_patches.h"

#include "SDK/surface/lobes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumo {
namespace {

/* As many lines as samples fit in: the box around an object is mostly larger than the object. */
constexpr miUint kLines = 32768;
/* Some tens of samples for each, so that their areas come out even. */
constexpr double kWantedPatches = 2048;

struct Ball {
    miVector center = {0, 0, 0};
    double radius = 0;
};

/* Around the box of the instance's object; empty when it has none. */
Ball ballAround(miState* state) {
    Ball ball;
    miTag item = miNULLTAG;
    if (!mi_query(miQ_INST_ITEM, state, state->instance, &item) || mi_db_type(item) != miSCENE_OBJECT) return ball;
    const auto* object = static_cast<const miObject*>(mi_db_access(item));
    if (!object) return ball;
    miVector low = object->bbox_min, high = object->bbox_max;
    mi_db_unpin(item);

    miVector corners[8];
    for (int i = 0; i < 8; ++i) {
        corners[i] = {i & 1 ? low.x : high.x, i & 2 ? low.y : high.y, i & 4 ? low.z : high.z};
        mi_point_from_object(state, &corners[i], &corners[i]);
    }
    mi_vector_add(&ball.center, &corners[0], &corners[7]);
    mi_vector_mul(&ball.center, 0.5f);
    for (const miVector& corner : corners)
        ball.radius = std::max(ball.radius, static_cast<double>(mi_vector_dist(&corner, &ball.center)) * 1.001);
    return ball;
}

/* Four coordinates that fill the unit cube evenly (Roberts 2018): powers of the root of x^5 = x + 1, inverted. */
double evenly(miUint index, int dimension) {
    constexpr double steps[] = {0.8566748838545029, 0.7338918566271260, 0.6287067210378087, 0.5385972572236101};
    const double value = 0.5 + (index + 1) * steps[dimension];
    return value - std::floor(value);
}

struct Line {
    miVector start, dir;
};

/* All lines through the ball are equally likely. */
Line lineThrough(const Ball& ball, miUint index) {
    const double z = 2 * evenly(index, 0) - 1, s = std::sqrt(1 - z * z), turn = 2 * std::numbers::pi * evenly(index, 1);
    const miVector dir = {static_cast<miScalar>(s * std::cos(turn)), static_cast<miScalar>(s * std::sin(turn)),
                          static_cast<miScalar>(z)};
    miVector u, v;
    tangentsOf(dir, u, v);
    const double r = ball.radius * std::sqrt(evenly(index, 2)), angle = 2 * std::numbers::pi * evenly(index, 3);
    const auto a = static_cast<miScalar>(r * std::cos(angle)), b = static_cast<miScalar>(r * std::sin(angle));
    const auto back = static_cast<miScalar>(ball.radius);
    const miVector& c = ball.center;
    return {{c.x + a * u.x + b * v.x - back * dir.x, c.y + a * u.y + b * v.y - back * dir.y,
             c.z + a * u.z + b * v.z - back * dir.z},
            dir};
}

/* Every third bit, from the lowest. */
std::uint64_t spread(std::uint64_t x) {
    x &= 0xFFFFF;
    x = (x | x << 32) & 0x1F00000000FFFF;
    x = (x | x << 16) & 0x1F0000FF0000FF;
    x = (x | x << 8) & 0x100F00F00F00F00F;
    x = (x | x << 4) & 0x10C30C30C30C30C3;
    return (x | x << 2) & 0x1249249249249249;
}

/* Of the six sides of a cube the one that the normal points to: patches on both sides of a sheet are kept apart. */
std::uint64_t facing(const miVector& n) {
    const miScalar x = std::fabs(n.x), y = std::fabs(n.y), z = std::fabs(n.z);
    if (x >= y && x >= z) return n.x < 0;
    return y >= z ? 2 + (n.y < 0) : 4 + (n.z < 0);
}

/* Digits of place, interleaved: numbers that begin alike lie in the same cube. */
std::uint64_t keyOf(const EntryPoint& entry, const Ball& ball, double cell) {
    const auto place = [&](miScalar value, miScalar center) {
        const double steps = (static_cast<double>(value) - static_cast<double>(center) + ball.radius) / cell;
        return spread(static_cast<std::uint64_t>(std::clamp(steps, 0.0, 1048575.0)));
    };
    const miVector &p = entry.point, &c = ball.center;
    return (place(p.x, c.x) | place(p.y, c.y) << 1 | place(p.z, c.z) << 2) << 3 | facing(entry.geometric);
}

class Cutter {
public:
    Cutter(miState* state, const ScatterSurface& surface, const EntryScope& lights, ScatterWorkspace& work)
        : state_(state), surface_(surface), lights_(lights), work_(work), ball_(ballAround(state)) {}

    ScatterPatches run() {
        ScatterPatches patches = {0, 0, 0};
        if (!(ball_.radius > 0) || !std::isfinite(ball_.radius)) return patches;
        findSamples();
        if (samples_ == 0) return patches;
        patches.patchSize = patchSize_ = std::sqrt(samples_ * sampleArea_ / kWantedPatches);
        sortSamples();
        makePatches();
        patches.firstRoot = groupPatches();
        patches.count = nodes_;
        return patches;
    }

private:
    /* A line meets a surface of area S within a ball of radius R S / (2 pi R^2) times on average, anywhere on the
     * surface with equal chances. */
    void findSamples() {
        miUint lines = 0;
        while (lines < kLines && samples_ < ScatterWorkspace::kMostSamples) {
            const Line line = lineThrough(ball_, lines++);
            probeSurface(state_, surface_, line.start, line.dir, 2 * ball_.radius, [this](const miState& hit) {
                if (samples_ < ScatterWorkspace::kMostSamples) {
                    work_.samples[samples_] = {0, samples_, surface_.entryAt(hit)};
                    ++samples_;
                }
            });
        }
        sampleArea_ = 2 * std::numbers::pi * ball_.radius * ball_.radius / lines;
    }

    void sortSamples() {
        ScatterWorkspace::Sample* const first = work_.samples;
        for (miUint i = 0; i < samples_; ++i) first[i].key = keyOf(first[i].entry, ball_, patchSize_);
        std::sort(first, first + samples_,
                  [](const auto& a, const auto& b) { return a.key != b.key ? a.key < b.key : a.number < b.number; });
    }

    /* Samples with the same key are a patch; the first one asks the lights. */
    void makePatches() {
        for (miUint begin = 0, end; begin < samples_; begin = end) {
            const ScatterWorkspace::Sample& one = work_.samples[begin];
            double sum[3] = {0, 0, 0};
            for (end = begin; end < samples_ && work_.samples[end].key == one.key; ++end) {
                const miVector& p = work_.samples[end].entry.point;
                sum[0] += static_cast<double>(p.x);
                sum[1] += static_cast<double>(p.y);
                sum[2] += static_cast<double>(p.z);
            }
            const double n = end - begin;
            const miColor light = lights_.lightAt(one.entry);
            work_.keys[nodes_] = one.key;
            work_.nodes[nodes_++] = {{static_cast<miScalar>(sum[0] / n), static_cast<miScalar>(sum[1] / n),
                                      static_cast<miScalar>(sum[2] / n)},
                                     static_cast<miScalar>(n * sampleArea_),
                                     static_cast<miScalar>(patchSize_),
                                     {light.r, light.g, light.b},
                                     0,
                                     0};
        }
    }

    /* Level by level until one group is left, or there is no place for more. Returns where the top level begins. */
    miUint groupPatches() {
        miUint begin = 0;
        double size = patchSize_;
        while (nodes_ - begin > 1 && 2 * nodes_ - begin <= ScatterWorkspace::kMostNodes) {
            const miUint end = nodes_;
            for (miUint first = begin, last; first < end; first = last) {
                const std::uint64_t key = work_.keys[first] >> 3;
                for (last = first + 1; last < end && work_.keys[last] >> 3 == key;) ++last;
                addGroup(first, last, key, size);
            }
            begin = end;
            size *= 2;
        }
        return begin;
    }

    void addGroup(miUint first, miUint last, std::uint64_t key, double size) {
        work_.keys[nodes_] = key;
        ScatterNode& group = work_.nodes[nodes_++];
        group = work_.nodes[first];
        if (last - first == 1) return;  // one child is no group: it moves up itself
        double area = 0, sums[6] = {};
        for (miUint i = first; i < last; ++i) {
            const ScatterNode& child = work_.nodes[i];
            const miScalar values[6] = {child.point.x,  child.point.y,  child.point.z,
                                        child.light[0], child.light[1], child.light[2]};
            area += static_cast<double>(child.area);
            for (int k = 0; k < 6; ++k) sums[k] += static_cast<double>(child.area) * static_cast<double>(values[k]);
        }
        const auto mean = [&](int k) { return static_cast<miScalar>(sums[k] / area); };
        group = {{mean(0), mean(1), mean(2)},
                 static_cast<miScalar>(area),
                 static_cast<miScalar>(size),
                 {mean(3), mean(4), mean(5)},
                 first,
                 last - first};
    }

    miState* const state_;
    const ScatterSurface& surface_;
    const EntryScope& lights_;
    ScatterWorkspace& work_;
    const Ball ball_;
    miUint samples_ = 0, nodes_ = 0;
    double sampleArea_ = 0, patchSize_ = 0;
};

}  // namespace

ScatterPatches cutSurface(miState* state, const ScatterSurface& surface, const EntryScope& lights,
                          ScatterWorkspace& work) {
    return Cutter(state, surface, lights, work).run();
}

}  // namespace lumo
