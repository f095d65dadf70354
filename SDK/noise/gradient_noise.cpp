/* Gradient noise in three dimensions. */
#include "SDK/lumo.h"

#include "binding/renderer.h"
#include "SDK/noise/noise_lattice.h"
#include "SDK/noise/noise_tables.h"

#include <atomic>
#include <cmath>
#include <numbers>

namespace lumo {
namespace {

struct Gradient {
    float x, y, z;
};

/* Corners are numbered by 8 bits, but the table has as many entries as that of the values. */
constexpr int kGradientCount = kNoiseValueCount;

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
}

/* Null when there is no memory. */
const Gradient* makeTable() {
    void* memory = mi_mem_int_allocate("SDK/lumoNoise", 104, kGradientCount * sizeof(Gradient));
    if (memory) fill(static_cast<Gradient*>(memory));
    return static_cast<const Gradient*>(memory);
}

int permuted(int i) { return kNoisePermutation[static_cast<unsigned>(i) & 255]; }

/* Element-wise product with the offset from the corner, added up, of four gradients. */
Float4 cornerValues(const Gradient* table, const int (&corner)[4], Float4 x, Float4 y, Float4 z) {
    // The fourth element belongs to the next gradient; there is always one.
    const Float4 g0 = load4(&table[corner[0]].x), g1 = load4(&table[corner[1]].x);
    const Float4 g2 = load4(&table[corner[2]].x), g3 = load4(&table[corner[3]].x);
    const Float4 low01 = __builtin_shufflevector(g0, g1, 0, 4, 1, 5);
    const Float4 low23 = __builtin_shufflevector(g2, g3, 0, 4, 1, 5);
    const Float4 high01 = __builtin_shufflevector(g0, g1, 2, 6, 3, 7);
    const Float4 high23 = __builtin_shufflevector(g2, g3, 2, 6, 3, 7);
    return __builtin_shufflevector(low01, low23, 0, 1, 4, 5) * x +
           __builtin_shufflevector(low01, low23, 2, 3, 6, 7) * y +
           __builtin_shufflevector(high01, high23, 0, 1, 4, 5) * z;
}

template <class Value, class Parameter>
Value between(Value a, Value b, Parameter s) {
    return a + (b - a) * s;
}

float gradientNoise(const Gradient* table, Float4 point) {
    const Float4 f = fraction4(point);
    const Float4 s = (3 - 2 * f) * f * f;
    const Int4 truncated = truncate4(point);
    const Int4 cell = truncated + (toFloat4(truncated) > point);  // a true comparison is -1

    // Four edges along x, at y, z = 00, 10, 01, 11: the corners at their beginnings and ends.
    int begin[4], end[4];
    for (int edge = 0; edge < 4; ++edge) {
        const int row = permuted(permuted(cell[2] + edge / 2) + cell[1] + edge % 2) + cell[0];
        begin[edge] = permuted(row);
        end[edge] = permuted(row + 1);
    }
    const Float4 x = broadcast4(f[0]), y = Float4{0, 1, 0, 1}, z = Float4{0, 0, 1, 1};
    const Float4 fromY = f[1] - y, fromZ = f[2] - z;
    const Float4 edges =
        between(cornerValues(table, begin, x, fromY, fromZ), cornerValues(table, end, x - 1, fromY, fromZ), s[0]);
    const float near = between(edges[0], edges[1], s[1]), far = between(edges[2], edges[3], s[1]);
    return between(near, far, s[2]);
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
    const Gradient* table = gradientTable.load(std::memory_order_acquire);
    return table ? gradientNoise(table, Float4{placeable(x), placeable(y), placeable(z), 0}) : 0;
}
