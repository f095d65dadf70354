#include "SDK/scatter/scatter_sites.h"

#include "SDK/surface/lobes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace lumo {
namespace {

/* Some tens of samples for each, so that their areas come out even. */
constexpr double kWantedSites = 2048;

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

/* Of the six sides of a cube the one that the normal points to: sites on both sides of a sheet are kept apart. */
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

struct SortedSample {
    std::uint64_t key;
    miUint number;
    const LineBlock::Sample* sample;
};

/* In the order of the lines. Returns how many. */
miUint listSamples(const SharedPart<LineBlock> (&blocks)[kLineBlocks], SortedSample* list) {
    miUint count = 0;
    for (miUint i = 0; i < kLineBlocks && count < kMostSamples; ++i) {
        const LineBlock& block = *blocks[i].known();
        for (miUint k = 0; k < block.count && count < kMostSamples; ++k, ++count)
            list[count] = {0, count, &block.samples[k]};
    }
    return count;
}

/* Samples with the same key, from `first` to before `end`; the first one asks the lights. */
ScatterSite siteOf(const SortedSample* first, const SortedSample* end, double sampleArea) {
    double sum[3] = {0, 0, 0};
    for (const SortedSample* one = first; one < end; ++one) {
        const miVector& p = one->sample->entry.point;
        sum[0] += static_cast<double>(p.x);
        sum[1] += static_cast<double>(p.y);
        sum[2] += static_cast<double>(p.z);
    }
    const auto n = static_cast<double>(end - first);
    const auto mean = [&](int k) { return static_cast<miScalar>(sum[k] / n); };
    return {first->key, first->sample->entry, {mean(0), mean(1), mean(2)}, static_cast<miScalar>(n * sampleArea)};
}

/* Sorts the list. */
ScatterSites* cut(const Ball& ball, SortedSample* list, miUint count) {
    // A line meets a surface of area S within a ball of radius R S / (2 pi R^2) times on average, anywhere on the
    // surface with equal chances.
    const miUint lines = count == kMostSamples ? list[count - 1].sample->line + 1 : kLineBlocks * LineBlock::kLines;
    const double sampleArea = 2 * std::numbers::pi * ball.radius * ball.radius / lines;
    const double size = std::sqrt(count * sampleArea / kWantedSites);
    for (miUint i = 0; i < count; ++i) list[i].key = keyOf(list[i].sample->entry, ball, size);
    std::sort(list, list + count,
              [](const auto& a, const auto& b) { return a.key != b.key ? a.key < b.key : a.number < b.number; });

    miUint groups = 0;
    for (miUint i = 0; i < count; ++i) groups += i == 0 || list[i].key != list[i - 1].key;
    auto* const sites = allocateBlock<ScatterSites>(offsetof(ScatterSites, sites) + groups * sizeof(ScatterSite));
    if (!sites) return nullptr;
    sites->size = size;
    const SortedSample *first = list, *const last = list + count;
    while (first < last) {
        const SortedSample* end = first;
        while (end < last && end->key == first->key) ++end;
        sites->sites[sites->count++] = siteOf(first, end, sampleArea);
        first = end;
    }
    return sites;
}

}  // namespace

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

LineBlock* followLines(miState* state, const ScatterSurface& surface, const Ball& ball, miUint block) {
    auto* const met = allocateBlock<LineBlock>();
    if (!met) return nullptr;
    for (miUint i = 0; i < LineBlock::kLines; ++i) {
        const miUint number = block * LineBlock::kLines + i;
        const Line line = lineThrough(ball, number);
        probeSurface(state, surface, line.start, line.dir, 2 * ball.radius,
                     [&](const miState& hit) { met->samples[met->count++] = {surface.entryAt(hit), number}; });
    }
    return shrunk(met, offsetof(LineBlock, samples) + met->count * sizeof(LineBlock::Sample));
}

ScatterSites* cutIntoSites(const Ball& ball, const SharedPart<LineBlock> (&blocks)[kLineBlocks]) {
    auto* const list = allocateBlock<SortedSample>(kMostSamples * sizeof(SortedSample));
    if (!list) return nullptr;
    ScatterSites* const sites = cut(ball, list, listSamples(blocks, list));
    releaseBlock(list);
    return sites;
}

}  // namespace lumo
