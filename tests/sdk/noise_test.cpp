/* The noises against sums over lattice neighbours in double, and the numbers that they are made of. */
#include <algorithm>
#include <climits>
#include <cmath>
#include <dlfcn.h>
#include <random>
#include <thread>

#include "scene.h"

namespace {

using twin::renderer;

/* The renderer's random sequence, and its seed. */
std::mt19937 sequence;
long lastSeed = -1;

}  // namespace

extern "C" {
void mi_srandom(long seed) { sequence.seed(static_cast<unsigned>(lastSeed = seed)); }
miScalar mi_random(void) { return static_cast<miScalar>(sequence() >> 8) * 0x1p-24f; }
}

namespace {

TEST(NoiseTable, HoldsThePublishedValuesAndWraps) {
    const float published[] = {-0.51077f, -0.89259f, 0.32458f, 0.51401f, 0.67639f, 0.96362f};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(library::noise_table_scalar(i), published[i]);

    constexpr long kCount = 65535;
    const auto value = [](long i) { return library::noise_table_scalar(static_cast<int>(i % kCount)); };
    for (const int i : {0, 65530, 65533, 65534, 65535, 65536, 1000000, INT_MAX, -1, -2, -3, -65535, INT_MIN}) {
        EXPECT_EQ(library::noise_table_scalar(i), value(std::abs(static_cast<long>(i)))) << i;
        const long first = i == -1 || i == -2 ? kCount + i : static_cast<long>(static_cast<unsigned>(i));
        miVector v;
        ASSERT_EQ(library::noise_table_vector(&v, i), &v);
        EXPECT_EQ(v.x, value(first)) << i;
        EXPECT_EQ(v.y, value(first + 1)) << i;
        EXPECT_EQ(v.z, value(first + 2)) << i;
    }
}

TEST(NoiseGenerator, RunsThroughAllSeedsInTheKnownOrder) {
    miUint single = 0xFFFFFFFF, other = 0xFFFFFFFF;  // high bits of a seed have no say
    std::vector<bool> seen(65536);
    unsigned long long expected = 0xFFFFFFFF;
    for (int i = 0; i < 65536; ++i) {
        expected = (expected * 25173 + 13849) % 65536;
        ASSERT_EQ(library::noise_drand(&other), static_cast<double>(expected) / 65535.0);
        ASSERT_EQ(library::noise_frand(&single), static_cast<float>(expected) / 65535.0f);
        ASSERT_FALSE(seen[single]);
        seen[single] = true;
    }
}

/* Of the table's values, the constants by which noises are scaled, and float coordinates; the rest is in double. */
constexpr double kTolerance = 2e-6;

/* Cell and place in the cell. */
struct Place {
    Place(double x, double cells) {
        const double single = std::abs(x) <= 1e9 ? static_cast<float>(x) : 0;
        const float scaled = static_cast<float>(single - std::floor(single)) * static_cast<float>(cells);
        cell = static_cast<int>(scaled);
        t = scaled - static_cast<float>(cell);
    }

    /* The three functions of the quadratic B-spline that are not 0 here. */
    double basis(int e) const { return e < 0 ? (1 - t) * (1 - t) / 2 : e == 0 ? 0.5 + t - t * t : t * t / 2; }

    int cell;
    double t;
};

/* Sum over the cells around a point in two or three dimensions: products of basis functions, times what becomes of the
 * table's entry. */
template <class Value>
double blend(const std::vector<Place>& point, Value value) {
    double sum = 0;
    for (int n = 0; n < (point.size() == 2 ? 9 : 27); ++n) {
        double weight = 1;
        int index = 0, rest = n, stride = 1;
        for (const Place& axis : point) {
            weight *= axis.basis(rest % 3 - 1);
            index += stride * ((axis.cell + rest % 3 + 31) % 32);
            rest /= 3, stride *= 32;
        }
        sum += weight * value(library::noise_table_scalar(index));
    }
    return sum;
}

constexpr auto kAsItIs = [](double value) { return value; };

/* Not periodic: no value lies before the first cell, which is the second one's parabola drawn out. */
double reference1(double x) {
    Place place(x, 32);
    if (place.cell == 0) place.cell = 1, place.t -= 1;
    double sum = 0;
    for (int e = -1; e <= 1; ++e) sum += place.basis(e) * library::noise_table_scalar(place.cell + e);
    return sum / 2;
}

double reference4(const std::vector<Place>& point, double w, int n) {
    const Place time(w, std::min(n, 60000));
    return blend(point, [&](double value) {
        double sum = 0;
        for (int e = 0; e < 3; ++e) {
            const float speed = (library::noise_table_scalar(time.cell + e) + 1) * 21568.16f;
            const float product = (static_cast<float>(value) + 2) * speed;  // its fraction depends on the rounding
            sum += time.basis(e - 1) * std::fmod(product, 1.0f);
        }
        return 2 * sum - 1;
    });
}

/* Twice the slopes per cell in x and y; z is the spline with 4 (b - a) where it has 2 (b - a), half of it. */
miVector referenceSlopes(const Place& x, const Place& y) {
    const double slopeX[] = {x.t - 1, 1 - 2 * x.t, x.t}, slopeY[] = {y.t - 1, 1 - 2 * y.t, y.t};
    const double odd[] = {1 - 4 * y.t + y.t * y.t, 1 + 4 * y.t - 2 * y.t * y.t, y.t * y.t};
    double sum[3] = {};
    for (int n = 0; n < 9; ++n) {
        const int i = n % 3, j = n / 3;
        const double entry = library::noise_table_scalar((x.cell + i + 31) % 32 + 32 * ((y.cell + j + 31) % 32));
        sum[0] += 2 * slopeX[i] * y.basis(j - 1) * entry;
        sum[1] += 2 * x.basis(i - 1) * slopeY[j] * entry;
        sum[2] += 0.5 * x.basis(i - 1) * odd[j] * entry;
    }
    return {static_cast<miScalar>(sum[0]), static_cast<miScalar>(sum[1]), static_cast<miScalar>(sum[2])};
}

/* Ordinary places, lattice points and places next to them, and what is far out. */
double coordinate(std::mt19937& random) {
    const double x = std::uniform_real_distribution<double>(-3, 3)(random);
    const double special[] = {0, -0.0, -1e-30, 1e9, -1e9, 1e9 + 1, -2e9, 1e40, INFINITY, -INFINITY, 999999999, NAN};
    switch (random() % 8) {
        case 0: return std::round(x * 32) / 32;
        case 1: return std::nextafter(static_cast<float>(std::round(x * 32) / 32), random() % 2 ? 9.0f : -9.0f);
        case 2: return x * 1e4;
        case 3: return special[random() % std::size(special)];
        default: return x;
    }
}

TEST(ValueNoise, AgreesWithTheBasisFunctions) {
    std::mt19937 random(11);
    for (int n = 0; n < 20000; ++n) {
        const double x = coordinate(random), y = coordinate(random), z = coordinate(random), w = coordinate(random);
        SCOPED_TRACE(testing::Message() << x << ' ' << y << ' ' << z << ' ' << w);
        const std::vector<Place> plane = {{x, 32}, {y, 32}}, space = {{x, 32}, {y, 32}, {z, 32}};
        ASSERT_NEAR(library::noise_scalar_1d(x), reference1(x), kTolerance);
        ASSERT_NEAR(library::noise_scalar_2d(x, y), blend(plane, kAsItIs), kTolerance);
        ASSERT_NEAR(library::noise_scalar_3d(x, y, z), blend(space, kAsItIs), kTolerance);
        const int count = std::array{0, 1, 7, 100, 60000, 60001, INT_MAX}[static_cast<unsigned>(n) % 7];
        ASSERT_NEAR(library::noise_scalar_4d(x, y, z, w, count), reference4(space, w, count), 2 * kTolerance) << count;
        ASSERT_TRUE(std::isfinite(library::noise_scalar_4d(x, y, z, w, n % 2 ? INT_MIN : -n)));

        // From inside the cell, a place that float and double have in common.
        miVector got;
        const Place &u = plane[0], &v = plane[1];
        const miVector slopes = referenceSlopes(u, v);
        ASSERT_EQ(library::noise_vector_2d(&got, (u.cell + u.t) / 32, (v.cell + v.t) / 32), &got);
        ASSERT_LT(mi_vector_dist(&got, &slopes), 2 * kTolerance);
    }
}

/* By the definition: eight corners, each weighted by products of fades. */
class ReferenceGradients {
public:
    ReferenceGradients() {
        std::mt19937 random(1);
        const auto draw = [&] { return static_cast<double>(random() >> 8) * 0x1p-24; };
        for (auto& gradient : gradients_) {
            const double z = 1 - 2 * draw(), angle = 2 * M_PI * draw();
            gradient = {std::cos(angle) * std::sqrt(1 - z * z), std::sin(angle) * std::sqrt(1 - z * z), z};
        }
    }

    double noise(const std::array<float, 3>& point) const {
        double sum = 0;
        for (int corner = 0; corner < 8; ++corner) {
            double from[3], weight = 1, product = 0;
            long hash = 0;
            for (std::size_t axis : {2u, 1u, 0u}) {
                const double x = std::abs(point[axis]) <= 1e9f ? point[axis] : 0, floor = std::floor(x);
                const int far = corner >> axis & 1;
                const double f = x - floor, s = (3 - 2 * f) * f * f;
                hash = permutation_[(hash + static_cast<long>(floor) + far) & 255];
                weight *= far ? s : 1 - s;
                from[axis] = f - far;
            }
            for (std::size_t axis = 0; axis < 3; ++axis) product += gradients_[hash][axis] * from[axis];
            sum += weight * product;
        }
        return sum;
    }

private:
    std::array<std::array<double, 3>, 256> gradients_;
    static constexpr int permutation_[256] = {
#include "SDK/noise/permutation_table.inc"
    };
};

/* In an instance of the library of its own: its table stays for the life of the process. It is made once, under the
 * lock, and without memory not at all. */
class GradientNoise : public twin::LibraryTest {
protected:
    template <class Signature>
    Signature* function(const char* name) {
        return reinterpret_cast<Signature*>(dlsym(module_, name));
    }

private:
    void* const module_ = twin::loadFreshLibrary();
};

TEST_F(GradientNoise, AgreesWithTheDefinition) {
    auto* const noise = function<decltype(noise_gradient_3d)>("noise_gradient_3d");
    auto* const init = function<decltype(noise_gradient_init)>("noise_gradient_init");
    function<decltype(miSetModuleHandle)>("miSetModuleHandle")(dlopen(nullptr, RTLD_NOW));

    EXPECT_EQ(noise(0.3f, 0.4f, 0.5f), 0) << "the table is not there yet";
    renderer().memory.fails = [](const twin::Allocation&) { return true; };
    init(state);
    EXPECT_EQ(noise(0.3f, 0.4f, 0.5f), 0) << "without memory";
    renderer().memory.fails = nullptr;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            init(state);
            EXPECT_NE(noise(0.3f, 0.4f, 0.5f), 0);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(renderer().timesLocked, 5);
    EXPECT_EQ(lastSeed, 1);
    expectedAllocations = 1;

    const ReferenceGradients reference;
    std::mt19937 random(3);
    const float special[] = {0, -1, 7, 255, 256, -256, 1e9f, -1e9f, 2e9f, INFINITY, NAN, -1e-20f};
    for (int n = 0; n < 20000; ++n) {
        std::array<float, 3> p;
        for (float& x : p) {
            x = std::uniform_real_distribution<float>(-300, 300)(random);
            if (random() % 8 == 0) x = special[random() % std::size(special)];
        }
        ASSERT_NEAR(noise(p[0], p[1], p[2]), reference.noise(p), 1e-6) << p[0] << ' ' << p[1] << ' ' << p[2];
    }
}

}  // namespace
