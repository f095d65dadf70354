/* Gradient noise, in an instance of the library of its own: its table stays for the life of the process. */
#include <array>
#include <cmath>
#include <dlfcn.h>
#include <random>
#include <thread>
#include <vector>

#include "scene.h"

namespace {

/* The renderer's random sequence, and its seed. */
std::mt19937 sequence;
long lastSeed = -1;

}  // namespace

extern "C" {
void mi_srandom(long seed) {
    lastSeed = seed;
    sequence.seed(static_cast<unsigned>(seed));
}
miScalar mi_random(void) { return static_cast<miScalar>(sequence() >> 8) * 0x1p-24f; }
}

namespace {

using twin::renderer;

class GradientNoise : public twin::LibraryTest {
protected:
    GradientNoise() { symbol<decltype(miSetModuleHandle)>("miSetModuleHandle")(dlopen(nullptr, RTLD_NOW)); }

    template <class Function>
    Function* symbol(const char* name) {
        return reinterpret_cast<Function*>(dlsym(library_, name));
    }

    void* const library_ = twin::loadFreshLibrary();
    decltype(noise_gradient_3d)* const noise = symbol<decltype(noise_gradient_3d)>("noise_gradient_3d");
    decltype(noise_gradient_init)* const init = symbol<decltype(noise_gradient_init)>("noise_gradient_init");
};

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
            double product = 0, weight = 1;
            long hash = 0;
            for (int axis = 2; axis >= 0; --axis) {
                const double x = std::abs(point[axis]) <= 1e9f ? point[axis] : 0, floor = std::floor(x);
                const int far = corner >> axis & 1;
                const double f = x - floor, s = (3 - 2 * f) * f * f;
                hash = permutation_[(hash + static_cast<long>(floor) + far) & 255];
                weight *= far ? s : 1 - s;
            }
            for (int axis = 0; axis < 3; ++axis) {
                const double x = std::abs(point[axis]) <= 1e9f ? point[axis] : 0;
                product +=
                    gradients_[static_cast<std::size_t>(hash)][axis] * (x - std::floor(x) - (corner >> axis & 1));
            }
            sum += weight * product;
        }
        return sum;
    }

private:
    std::array<std::array<double, 3>, 256> gradients_;
    static constexpr std::array<int, 256> permutation_ = {
#include "SDK/noise/permutation_table.inc"
    };
};

TEST_F(GradientNoise, AgreesWithTheDefinition) {
    expectedAllocations = 1;
    EXPECT_EQ(noise(0.3f, 0.4f, 0.5f), 0) << "the table is not there yet";
    init(state);
    EXPECT_EQ(lastSeed, 1);

    const ReferenceGradients reference;
    std::mt19937 random(3);
    const float special[] = {0, -1, 7, 255, 256, -256, 1e9f, -1e9f, 2e9f, INFINITY, NAN, -1e-20f};
    double sum = 0, most = 0;
    for (int n = 0; n < 20000; ++n) {
        std::array<float, 3> p;
        for (float& x : p) {
            x = std::uniform_real_distribution<float>(-300, 300)(random);
            if (random() % 8 == 0) x = special[random() % std::size(special)];
        }
        const double value = noise(p[0], p[1], p[2]);
        ASSERT_NEAR(value, reference.noise(p), 1e-6) << p[0] << ' ' << p[1] << ' ' << p[2];
        sum += value;
        most = std::max(most, std::abs(value));
    }
    EXPECT_NEAR(sum / 20000, 0, 0.01);
    EXPECT_LT(most, 1);
    for (int x = -3; x < 300; x += 7)
        EXPECT_EQ(noise(static_cast<float>(x), 5, -static_cast<float>(x)), 0) << "lattice point";
    EXPECT_EQ(noise(0.25f, 0.5f, 3.75f), noise(256.25f, -255.5f, 259.75f));
}

TEST_F(GradientNoise, TableIsMadeOnceUnderTheLock) {
    expectedAllocations = 1;
    renderer().memory.fails = [](const twin::Allocation&) { return true; };
    init(state);
    EXPECT_EQ(noise(0.3f, 0.4f, 0.5f), 0) << "without memory";
    renderer().memory.fails = nullptr;
    renderer().memory.allocations.clear();
    EXPECT_EQ(renderer().timesLocked, 1);

    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            init(state);
            EXPECT_NE(noise(0.3f, 0.4f, 0.5f), 0);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(renderer().timesLocked, 5);
    ASSERT_EQ(renderer().memory.allocations.size(), 1u);
    EXPECT_EQ(renderer().memory.allocations[0].file, "SDK/lumoNoise");
    EXPECT_EQ(renderer().memory.allocations[0].line, 104);
    EXPECT_EQ(renderer().memory.allocations[0].size, 65535u * 3 * sizeof(float));
}

}  // namespace
