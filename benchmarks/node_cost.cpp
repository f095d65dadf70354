// What the parts that texture nodes are made of cost: noises and ramp look-ups of the built module, per call. With
// libnoise (Debian: libnoise-dev) its gradient noise runs along, as the unit to compare with: machines differ.
//
//     node_cost [--benchmark_filter=...]
#include "small_renderer.h"

#include <benchmark/benchmark.h>
#if LUMO_HAS_LIBNOISE
#include <libnoise/noisegen.h>
#endif

#include <algorithm>
#include <array>
#include <random>
#include <vector>

namespace {

/// Points all over several periods, more than branch prediction can learn.
struct Points {
    static constexpr std::size_t kCount = 8192;
    std::array<std::array<double, 4>, kCount> at;

    Points() {
        std::mt19937 random(1);
        std::uniform_real_distribution<double> coordinate(-20, 20);
        for (auto& point : at)
            for (double& x : point) x = coordinate(random);
    }
};

template <class Call>
void perPoint(benchmark::State& run, Call call) {
    static const Points points;
    std::size_t i = 0;
    for (auto _ : run) {
        auto result = call(points.at[i]);
        benchmark::DoNotOptimize(result);
        i = (i + 1) % Points::kCount;
    }
}

using Point = std::array<double, 4>;

#if LUMO_HAS_LIBNOISE
void unit_libnoise_gradient_3d(benchmark::State& run) {
    perPoint(run,
             [](const Point& p) { return noise::GradientCoherentNoise3D(p[0], p[1], p[2], 0, noise::QUALITY_STD); });
}
BENCHMARK(unit_libnoise_gradient_3d);
#endif

void noise_1d(benchmark::State& run) {
    const auto noise = libraryFunction<decltype(noise_scalar_1d)>("noise_scalar_1d");
    perPoint(run, [noise](const Point& p) { return noise(p[0]); });
}
BENCHMARK(noise_1d);

void noise_2d(benchmark::State& run) {
    const auto noise = libraryFunction<decltype(noise_scalar_2d)>("noise_scalar_2d");
    perPoint(run, [noise](const Point& p) { return noise(p[0], p[1]); });
}
BENCHMARK(noise_2d);

void noise_slopes_2d(benchmark::State& run) {
    const auto noise = libraryFunction<decltype(noise_vector_2d)>("noise_vector_2d");
    perPoint(run, [noise](const Point& p) {
        miVector result;
        noise(&result, p[0], p[1]);
        return result;
    });
}
BENCHMARK(noise_slopes_2d);

void noise_3d(benchmark::State& run) {
    const auto noise = libraryFunction<decltype(noise_scalar_3d)>("noise_scalar_3d");
    perPoint(run, [noise](const Point& p) { return noise(p[0], p[1], p[2]); });
}
BENCHMARK(noise_3d);

void noise_gradient(benchmark::State& run) {
    const auto noise = libraryFunction<decltype(noise_gradient_3d)>("noise_gradient_3d");
    miState state{};
    libraryFunction<decltype(noise_gradient_init)>("noise_gradient_init")(&state);
    perPoint(run, [noise](const Point& p) {
        return noise(static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2]));
    });
}
BENCHMARK(noise_gradient);

void noise_4d(benchmark::State& run) {
    const auto noise = libraryFunction<decltype(noise_scalar_4d)>("noise_scalar_4d");
    perPoint(run, [noise](const Point& p) { return noise(p[0], p[1], p[2], p[3], 100); });
}
BENCHMARK(noise_4d);

/// Evenly spaced entries; shuffled, or in order.
LumoRamp rampOf(int count, int interpolation, bool shuffled, miUint kind) {
    std::vector<int> order(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
    std::mt19937 random(7);
    if (shuffled) std::shuffle(order.begin(), order.end(), random);

    LumoRamp ramp{};
    ramp.kind = kind;
    ramp.count = count;
    for (int i = 0; i < count; ++i) {
        const float position = static_cast<float>(order[static_cast<std::size_t>(i)]) / static_cast<float>(count - 1);
        ramp.positions[i] = position;
        ramp.values[i] = {position, 1 - position, 0.5F, 1};
        ramp.interpolations[i] = interpolation;
    }
    return ramp;
}

/// Arguments: number of entries, interpolation, whether they are out of order.
void ramp_scalar(benchmark::State& run) {
    const auto look = libraryFunction<decltype(ramp_get_interp_float)>("ramp_get_interp_float");
    const LumoRamp ramp = rampOf(static_cast<int>(run.range(0)), static_cast<int>(run.range(1)), run.range(2) != 0, 0);
    perPoint(run, [&](const Point& p) { return look(&ramp, static_cast<float>(p[0] / 40 + 0.5)); });
}

void ramp_color(benchmark::State& run) {
    const auto look = libraryFunction<decltype(ramp_get_interp_color)>("ramp_get_interp_color");
    const LumoRamp ramp = rampOf(static_cast<int>(run.range(0)), static_cast<int>(run.range(1)), run.range(2) != 0, 1);
    perPoint(run, [&](const Point& p) {
        miColor color = {0, 0, 0, 1};
        look(&ramp, static_cast<float>(p[0] / 40 + 0.5), &color);
        return color;
    });
}

void rampCases(benchmark::internal::Benchmark* cases) {
    for (const int interpolation : {kRampLinear, kRampSmooth, kRampSpline}) cases->Args({8, interpolation, 1});
    for (const int count : {3, 8, 50}) cases->Args({count, kRampLinear, 0});
}
BENCHMARK(ramp_scalar)->Apply(rampCases);
BENCHMARK(ramp_color)->Apply(rampCases);

}  // namespace

BENCHMARK_MAIN();
