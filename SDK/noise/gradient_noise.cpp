/* Gradient noise in three dimensions. */
#include "SDK/lumo.h"

#include "binding/renderer.h"
#include "SDK/noise/noise_lattice.h"
#include "SDK/noise/noise_tables.h"

#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

namespace lumo {
namespace {

struct Gradient {
    float x, y, z;
};

/* As many are drawn as the table of the values has entries. Corners are numbered by 8 bits: they take the first 256. */
constexpr int kGradientCount = kNoiseValueCount, kCornerGradients = 256;

/* Behind those, in place of gradients that no corner takes: the gradient of each place of the permutation, which so is
 * not looked up when shading. It is the address of this that is kept. */
std::atomic<const Gradient*> gradientTable{nullptr};

/* Random numbers in [0, 1) from the renderer's sequence 1; our own generator where the renderer has none. */
class RandomSequence {
public:
    RandomSequence() { mi_srandom(1); }

    double next() { return mi_random.exists() ? mi_random() : noise_drand(&seed_); }

private:
    miUint seed_ = 1;
};

/* Evenly over the sphere: height and angle are independent (Archimedes). */
void fill(Gradient* table) {
    RandomSequence random;
    for (int i = 0; i < kGradientCount; ++i) {
        const double z = 1 - 2 * random.next();
        const double radius = std::sqrt(1 - z * z);
        const double angle = random.next() * 2 * std::numbers::pi;
        table[i] = {static_cast<float>(std::cos(angle) * radius), static_cast<float>(std::sin(angle) * radius),
                    static_cast<float>(z)};
    }
    for (std::size_t i = 0; i < kNoisePermutation.size(); ++i)
        table[kCornerGradients + i] = table[kNoisePermutation[i]];
}

/* Null when there is no memory. */
const Gradient* makeTable() {
    auto* const table =
        static_cast<Gradient*>(mi_mem_int_allocate("SDK/lumoNoise", 104, kGradientCount * sizeof(Gradient)));
    if (!table) return nullptr;
    fill(table);
    return table + kCornerGradients;
}

/* The permutation, counted in floats of the gradients. */
constexpr std::array<std::uint16_t, kNoisePermutation.size()> kTriples = [] {
    std::array<std::uint16_t, kNoisePermutation.size()> triples{};
    for (std::size_t i = 0; i < triples.size(); ++i) triples[i] = static_cast<std::uint16_t>(3 * kNoisePermutation[i]);
    return triples;
}();

/* Element-wise product with the offset from the corner, added up, of the gradients at four places. */
Float4 cornerValues(const float* gradients, const std::size_t (&place)[4], Float4 x, Float4 y, Float4 z) {
    // The fourth element belongs to the next gradient; there is always one.
    const Float4 g0 = load4(gradients + place[0]), g1 = load4(gradients + place[1]);
    const Float4 g2 = load4(gradients + place[2]), g3 = load4(gradients + place[3]);
    const Float4 low01 = __builtin_shufflevector(g0, g1, 0, 4, 1, 5);
    const Float4 low23 = __builtin_shufflevector(g2, g3, 0, 4, 1, 5);
    const Float4 high01 = __builtin_shufflevector(g0, g1, 2, 6, 3, 7);
    const Float4 high23 = __builtin_shufflevector(g2, g3, 2, 6, 3, 7);
    return __builtin_shufflevector(low01, low23, 0, 1, 4, 5) * x +
           __builtin_shufflevector(low01, low23, 2, 3, 6, 7) * y +
           __builtin_shufflevector(high01, high23, 0, 1, 4, 5) * z;
}

template <class Value>
Value between(Value a, Value b, Value s) {
    return a + (b - a) * s;
}

float gradientNoise(const Gradient* gradients, Float4 point) {
    const Float4 f = fraction4(point);
    const Float4 s = (Float4{3, 3, 3, 0} - (f + f)) * f * f;
    const Int4 truncated = truncate4(point);
    const Int4 below = toFloat4(truncated) > point;  // a true comparison is -1
    const Int4 cell = (truncated + below) & 255;
    const auto axis = [cell](int number) { return static_cast<std::uint32_t>(cell[number]); };

    // Four edges along x, at y, z = 00, 01, 10, 11: the places of their beginnings. The permutation is there twice in a
    // row: sums of two numbers of 8 bits, and the places beside them, need not be wrapped.
    std::size_t place[4];
    for (unsigned edge = 0; edge < 4; ++edge)
        place[edge] = kTriples[kNoisePermutation[axis(2) + edge % 2] + axis(1) + edge / 2];
    const float* const begin = &gradients[axis(0)].x;
    const float* const end = begin + 3;
    const Float4 x = broadcast4(f[0]), y = broadcast4(f[1]) - Float4{0, 0, 1, 1},
                 z = broadcast4(f[2]) - Float4{0, 1, 0, 1};
    const Float4 edges =
        between(cornerValues(begin, place, x, y, z), cornerValues(end, place, x - 1, y, z), broadcast4(s[0]));
    const Float4 atY1 = __builtin_shufflevector(edges, edges, 2, 3, 2, 3);
    const Float4 planes = between(edges, atY1, broadcast4(s[1]));
    return between(planes[0], planes[1], s[2]);
}

}  // namespace
}  // namespace lumo

void noise_gradient_init(miState* state) {
    const miLock lock = state->global_lock;
    lumo::mi_lock(lock);
    if (!lumo::gradientTable.load(std::memory_order_relaxed))
        lumo::gradientTable.store(lumo::makeTable(), std::memory_order_release);
    lumo::mi_unlock(lock);
}

miScalar noise_gradient_3d(miScalar x, miScalar y, miScalar z) {
    using namespace lumo;
    const Float4 point = placeable4(Float4{x, y, z, 0});
    const Gradient* const gradients = gradientTable.load(std::memory_order_acquire);
    return gradients ? gradientNoise(gradients, point) : 0;
}
