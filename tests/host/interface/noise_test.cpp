#include "shader.h"
#include "support/quasi_random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

/// A scattered point, far enough from the origin to see other cells, both signs.
miVector place(std::uint32_t i) {
    const auto coordinate = [i](std::uint32_t k) {
        return static_cast<float>(lumorender::hashedUnit(i, k) - 0.5) * 200;
    };
    return {coordinate(0), coordinate(1), coordinate(2)};
}

TEST(Noise, FillsItsRangeAndStaysWithin) {
    float highest[3] = {}, lowest[3] = {}, sum[3] = {};
    constexpr std::uint32_t kCount = 200000;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        miVector p = place(i);
        const float values[3] = {mi_noise_1d(p.x), mi_noise_2d(p.x, p.y), mi_noise_3d(&p)};
        for (int d = 0; d < 3; ++d) {
            highest[d] = std::max(highest[d], values[d]);
            lowest[d] = std::min(lowest[d], values[d]);
            sum[d] += values[d];
        }
    }
    for (int d = 0; d < 3; ++d) {
        EXPECT_LE(highest[d], 1) << d;
        EXPECT_GE(lowest[d], -1) << d;
        EXPECT_GT(highest[d], 0.75f) << d;
        EXPECT_LT(lowest[d], -0.75f) << d;
        EXPECT_NEAR(sum[d] / kCount, 0, 0.02) << d;
    }
}

TEST(Noise, GradientsAreThoseOfTheValues) {
    constexpr float h = 0x1p-7f;
    for (std::uint32_t i = 0; i < 200; ++i) {
        miVector p = place(i), slope;
        EXPECT_EQ(mi_noise_3d_grad(&p, &slope), mi_noise_3d(&p));
        const float differences[3] = {[&] {
                                          miVector a = {p.x - h, p.y, p.z}, b = {p.x + h, p.y, p.z};
                                          return mi_noise_3d(&b) - mi_noise_3d(&a);
                                      }(),
                                      [&] {
                                          miVector a = {p.x, p.y - h, p.z}, b = {p.x, p.y + h, p.z};
                                          return mi_noise_3d(&b) - mi_noise_3d(&a);
                                      }(),
                                      [&] {
                                          miVector a = {p.x, p.y, p.z - h}, b = {p.x, p.y, p.z + h};
                                          return mi_noise_3d(&b) - mi_noise_3d(&a);
                                      }()};
        EXPECT_NEAR(slope.x, differences[0] / (2 * h), 0.02);
        EXPECT_NEAR(slope.y, differences[1] / (2 * h), 0.02);
        EXPECT_NEAR(slope.z, differences[2] / (2 * h), 0.02);

        float u, v;
        EXPECT_EQ(mi_unoise_2d_grad(p.x, p.y, &u, &v), 0.5f + 0.5f * mi_noise_2d(p.x, p.y));
        EXPECT_NEAR(u, (mi_unoise_2d(p.x + h, p.y) - mi_unoise_2d(p.x - h, p.y)) / (2 * h), 0.02);
        EXPECT_NEAR(v, (mi_unoise_2d(p.x, p.y + h) - mi_unoise_2d(p.x, p.y - h)) / (2 * h), 0.02);
        mi_noise_1d_grad(p.x, &u);
        EXPECT_NEAR(u, (mi_noise_1d(p.x + h) - mi_noise_1d(p.x - h)) / (2 * h), 0.02);
    }
}

TEST(Noise, IsZeroAtLatticePointsAndForNonsense) {
    for (const float x : {-3.0f, 0.0f, 17.0f, 1e20f, std::numeric_limits<float>::infinity(), std::nanf("")}) {
        miVector p = {x, 2, -5};
        EXPECT_EQ(mi_noise_1d(x), 0) << x;
        EXPECT_EQ(mi_noise_2d(x, 4), 0) << x;
        EXPECT_EQ(mi_noise_3d(&p), 0) << x;
    }
}

TEST(Math, SplinePassesThroughItsValues) {
    const miScalar values[] = {1, 5, -2, 0};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(mi_spline(static_cast<float>(i) / 3, 4, values), values[i], 1e-5);
    // Half way between 5 and -2 with neighbours 1 and 0: (-1 + 9 * 5 + 9 * -2 - 0) / 16.
    EXPECT_NEAR(mi_spline(0.5f, 4, values), 26.0 / 16, 1e-5);
    const miScalar line[] = {0, 2, 4};
    for (const float t : {0.1f, 0.45f, 0.9f}) EXPECT_NEAR(mi_spline(t, 3, line), 4 * t, 1e-6);
    EXPECT_EQ(mi_spline(-1, 4, values), 1);
    EXPECT_EQ(mi_spline(2, 4, values), 0);
    EXPECT_EQ(mi_spline(0.5f, 1, values), 1);
    EXPECT_EQ(mi_spline(0.5f, 0, nullptr), 0);
}

TEST(Math, LuminanceUsesTheWeightsOfTheOptions) {
    miOptions options = {};
    miState state = {};
    state.options = &options;
    miColor color = {1, 2, 3, 9};
    EXPECT_NEAR(mi_luminance(&state, &color), 0.299 + 2 * 0.587 + 3 * 0.114, 1e-6);
    options.luminance_weight = {0.5f, 0.25f, 0, 0};
    EXPECT_EQ(mi_luminance(&state, &color), 1);
}

}  // namespace
