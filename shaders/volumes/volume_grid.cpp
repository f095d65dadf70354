#include "shaders/volumes/volume_grid.h"

#include "SDK/color/color.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace lumo {
namespace {

/* Cells along an edge of a brick. */
constexpr int kBrick = 8;
constexpr int kLargestSize = 1 << 14;

/* The elements of an array parameter; null where there are none. `fits` becomes false when they do not lie in the
 * block, or when there are some but not as many as voxels. */
template <class Value>
const Value* elementsOf(const VolumeGridBlock& block, std::size_t bytes, const ParameterArray<Value>& array,
                        std::int64_t voxels, bool& fits) {
    if (array.count == 0) return nullptr;
    const auto before = reinterpret_cast<const char*>(array.elements) - reinterpret_cast<const char*>(&block);
    fits = fits && array.count == voxels &&
           fitsBytes(static_cast<std::int64_t>(bytes) - before, sizeof(Value), array.start, array.count);
    return fits ? array.elements + array.start : nullptr;
}

/* The value between 0 and `last`. What is no number becomes 0: it is an index soon. */
double upTo(double last, double value) { return std::min(std::max(0.0, value), last); }

}  // namespace

VolumeGrid::~VolumeGrid() {
    if (tag_ != miNULLTAG) mi_db_unpin(tag_);
}

const char* VolumeGrid::open(miTag tag) {
    const Pinned<miUserdata> data(tag, miSCENE_USERDATA);
    if (!data) return "has no grid";
    const auto bytes = static_cast<std::size_t>(std::max(data->parameter_size, 0));
    if (bytes < sizeof(VolumeGridBlock)) return "has a grid of too few bytes";
    const void* parameters = data->parameters;
    const char* complaint = take(*static_cast<const VolumeGridBlock*>(parameters), bytes);
    if (complaint) return complaint;
    if (!makeBricks()) return "has a grid for which there is no memory";
    mi_db_access(tag);
    tag_ = tag;
    return nullptr;
}

const char* VolumeGrid::take(const VolumeGridBlock& block, std::size_t bytes) {
    if (block.magic == __builtin_bswap32(kVolumeGridMagic)) return "has a grid of the other byte order";
    if (block.magic != kVolumeGridMagic) return "has user data that is no grid";
    size_[0] = block.width;
    size_[1] = block.height;
    size_[2] = block.depth;
    std::int64_t voxels = 1;
    for (const int size : size_) {
        if (size < 1 || size > kLargestSize) return "has a grid of impossible size";
        voxels *= size;
    }
    bool fits = block.density.count != 0;
    densities_ = elementsOf(block, bytes, block.density, voxels, fits);
    temperatures_ = elementsOf(block, bytes, block.temperature, voxels, fits);
    colors_ = elementsOf(block, bytes, block.color, voxels, fits);
    return fits ? nullptr : "has a grid whose arrays do not fit its size";
}

bool VolumeGrid::makeBricks() {
    for (int i = 0; i < 3; ++i) bricks_[i] = (size_[i] + kBrick - 1) / kBrick;
    const auto size = [](int n) { return static_cast<std::size_t>(n); };
    const auto count = [size](const int* n) { return size(n[0]) * size(n[1]) * size(n[2]); };
    if (!largest_.allocate(count(bricks_))) return false;
    // A voxel on the face between two bricks belongs to both: values between it and its neighbours lie in either.
    const miScalar* value = densities_;
    for (int z = 0; z < size_[2]; ++z)
        for (int y = 0; y < size_[1]; ++y)
            for (int x = 0; x < size_[0]; ++x, ++value) {
                if (!(*value > 0)) continue;
                const auto lower = [](int i) { return std::max(i - 1, 0) / kBrick; };
                for (int k = lower(z); k <= z / kBrick; ++k)
                    for (int j = lower(y); j <= y / kBrick; ++j)
                        for (int i = lower(x); i <= x / kBrick; ++i) {
                            const std::size_t row = size(k) * size(bricks_[1]) + size(j);
                            miScalar& largest = largest_[row * size(bricks_[0]) + size(i)];
                            largest = std::max(largest, *value);
                        }
            }
    return true;
}

/* Of the eight voxels around a point, weighted by how near they are. */
template <class Value>
Value VolumeGrid::between(const Value* values, const DoubleVector& p) const {
    const double place[3] = {p.x, p.y, p.z};
    std::size_t low[3], high[3];
    miScalar share[3];
    for (int i = 0; i < 3; ++i) {
        const double at = upTo(size_[i] - 1.0, (place[i] + 1) * 0.5 * size_[i] - 0.5);
        const int cell = static_cast<int>(at);
        low[i] = static_cast<std::size_t>(cell);
        high[i] = static_cast<std::size_t>(std::min(cell + 1, size_[i] - 1));
        share[i] = static_cast<miScalar>(at - cell);
    }
    const auto width = static_cast<std::size_t>(size_[0]), height = static_cast<std::size_t>(size_[1]);
    // As a + (b - a) s, so that equal neighbours give exactly their value.
    const auto mix = [](const Value& a, const Value& b, miScalar s) { return a + (b - a) * s; };
    const auto alongX = [&](std::size_t y, std::size_t z) {
        const Value* row = values + (z * height + y) * width;
        return mix(row[low[0]], row[high[0]], share[0]);
    };
    const auto alongY = [&](std::size_t z) { return mix(alongX(low[1], z), alongX(high[1], z), share[1]); };
    return mix(alongY(low[2]), alongY(high[2]), share[2]);
}

miScalar VolumeGrid::density(const DoubleVector& p) const {
    const miScalar value = between(densities_, p);
    return value > 0 ? value : 0;
}

miScalar VolumeGrid::temperature(const DoubleVector& p) const { return temperatures_ ? between(temperatures_, p) : 0; }

miColor VolumeGrid::color(const DoubleVector& p) const { return colors_ ? between(colors_, p) : miColor{1, 1, 1, 1}; }

/* From the box of -1 to 1 to voxels. */
DoubleVector VolumeGrid::scale() const { return {0.5 * size_[0], 0.5 * size_[1], 0.5 * size_[2]}; }

double VolumeGrid::voxelLength(const VolumeRay& ray) const {
    const DoubleVector s = scale();
    return 1 / length(DoubleVector(ray.dir.x * s.x, ray.dir.y * s.y, ray.dir.z * s.z));
}

/* The brick around a place, counted in voxels' middles, and its bounds; the outermost bricks have none outside. */
std::size_t VolumeGrid::brickOf(const DoubleVector& voxel, DoubleVector& low, DoubleVector& high) const {
    constexpr double kFar = std::numeric_limits<double>::infinity();
    const double at[3] = {voxel.x, voxel.y, voxel.z};
    double lows[3], highs[3];
    std::size_t number = 0;
    for (int i = 2; i >= 0; --i) {
        const int last = bricks_[i] - 1;
        const int brick = static_cast<int>(upTo(last, at[i] / kBrick));
        lows[i] = brick == 0 ? -kFar : brick * kBrick;
        highs[i] = brick == last ? kFar : (brick + 1) * kBrick;
        number = number * static_cast<std::size_t>(bricks_[i]) + static_cast<std::size_t>(brick);
    }
    low = {lows[0], lows[1], lows[2]};
    high = {highs[0], highs[1], highs[2]};
    return number;
}

double VolumeGrid::clearUntil(const VolumeRay& ray, double t, double end) const {
    const DoubleVector s = scale();
    const DoubleVector org((ray.org.x + 1) * s.x - 0.5, (ray.org.y + 1) * s.y - 0.5, (ray.org.z + 1) * s.z - 0.5);
    const DoubleVector dir(ray.dir.x * s.x, ray.dir.y * s.y, ray.dir.z * s.z);
    const double nudge = 1e-6 / length(dir);
    const auto leaves = [](double o, double d, double low, double high) {
        return d == 0 ? std::numeric_limits<double>::infinity() : ((d > 0 ? high : low) - o) / d;
    };
    while (t < end) {
        DoubleVector low, high;
        if (largest_[brickOf(org + dir * (t + nudge), low, high)] > 0) return t;
        const double exit = std::min({leaves(org.x, dir.x, low.x, high.x), leaves(org.y, dir.y, low.y, high.y),
                                      leaves(org.z, dir.z, low.z, high.z)});
        t = std::max(exit, t + nudge);
    }
    return end;
}

}  // namespace lumo
