#include "shader.h"
#include "support/quasi_random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

namespace {

constexpr double kDegree = std::numbers::pi / 180;

/// A ray that comes in the xz plane at an angle to the surface z = 0.
miState surfaceAt(double degrees) {
    miState state = {};
    lumorender::seedEyeState(state, 1, 0);
    state.dir = {static_cast<float>(std::sin(degrees * kDegree)), 0, static_cast<float>(-std::cos(degrees * kDegree))};
    state.normal = state.normal_geom = {0, 0, 1};
    return state;
}

/// Mean of a function of directions over many points.
double mean(miState& state, const std::function<void(miVector&, double*)>& sampled,
            const std::function<double(const miVector&)>& value) {
    constexpr miUint n = 16384;
    double sum = 0, point[2];
    int counter = 0;
    miVector dir;
    while (mi_sample(point, &counter, &state, 2, &n)) {
        sampled(dir, point);
        EXPECT_NEAR(mi_vector_norm(&dir), 1, 1e-5);
        sum += value(dir);
    }
    return sum / n;
}

TEST(Directions, MirrorAndSnell) {
    miVector dir;
    miState state = surfaceAt(30);
    mi_reflection_dir(&dir, &state);
    EXPECT_NEAR(dir.x, 0.5, 1e-6);
    EXPECT_NEAR(dir.z, std::sqrt(3.0) / 2, 1e-6);
    mi_reflection_dir_specular(&dir, &state);
    EXPECT_NEAR(dir.x, 0.5, 1e-6);

    for (const double angle : {0.0, 30.0, 45.0, 80.0}) {
        state = surfaceAt(angle);
        ASSERT_TRUE(mi_refraction_dir(&dir, &state, 1, 1.5f));
        EXPECT_NEAR(dir.x, std::sin(angle * kDegree) / 1.5, 1e-6) << angle;
        EXPECT_LT(dir.z, 0);
        EXPECT_NEAR(mi_vector_norm(&dir), 1, 1e-6);
        state.normal = {0, 0, -1};  // a normal that was not turned gives the same ray
        miVector again;
        ASSERT_TRUE(mi_refraction_dir(&again, &state, 1, 1.5f));
        EXPECT_NEAR(again.x, dir.x, 1e-6);
        EXPECT_NEAR(again.z, dir.z, 1e-6);
    }

    // From 1.5 to 1 the critical angle is 41.81 degrees.
    dir = {7, 7, 7};
    state = surfaceAt(41.7);
    EXPECT_TRUE(mi_transmission_dir_specular(&dir, &state, 1.5f, 1));
    state = surfaceAt(41.9);
    dir = {7, 7, 7};
    EXPECT_FALSE(mi_refraction_dir(&dir, &state, 1.5f, 1));
    EXPECT_FALSE(mi_transmission_dir_glossy(&dir, &state, 1.5f, 1, 10));
    EXPECT_EQ(dir.x, 7) << "no result where there is none";
}

TEST(Directions, LobesHaveTheMeanCosinesOfTheirDistributions) {
    for (const float shiny : {0.0f, 1.0f, 20.0f, 500.0f}) {
        miState state = surfaceAt(0);
        const double cosine = mean(
            state, [&](miVector& dir, double* point) { mi_reflection_dir_glossy_x(&dir, &state, shiny, point); },
            [](const miVector& dir) { return dir.z; });
        EXPECT_NEAR(cosine, (shiny + 1) / (shiny + 2), 1e-3) << shiny;
    }
    miState state = surfaceAt(60);
    const auto up = [](const miVector& dir) { return double{dir.z}; };
    const auto squaredUp = [](const miVector& dir) { return double{dir.z} * dir.z; };
    const auto diffuse = [&](miVector& dir, double* point) { mi_reflection_dir_diffuse_x(&dir, &state, point); };
    EXPECT_NEAR(mean(state, diffuse, up), 2.0 / 3, 1e-3);
    EXPECT_NEAR(mean(state, diffuse, squaredUp), 1.0 / 2, 1e-3);
    const auto through = [&](miVector& dir, double* point) { mi_transmission_dir_diffuse_x(&dir, &state, point); };
    EXPECT_NEAR(mean(state, through, up), -2.0 / 3, 1e-3);

    // Around a refracted ray that goes down at 30 degrees.
    const miVector ideal = {0.5f, 0, -std::sqrt(0.75f)};
    const auto glossy = [&](miVector& dir, double* point) {
        EXPECT_TRUE(mi_transmission_dir_glossy_x(&dir, &state, 1, std::sqrt(3.0f), 200, point));
    };
    const auto cosine = [&](const miVector& dir) { return double{mi_vector_dot(&dir, &ideal)}; };
    EXPECT_NEAR(mean(state, glossy, cosine), 201.0 / 202, 1e-4);
}

TEST(Directions, AnisotropicLobesSpreadAsTheirExponentsSay) {
    // Narrow lobes are Gaussian with variances 1 / exponent along the tangents.
    miState state = surfaceAt(0);
    miVector u = {1, 1, 0}, v = {-1, 1, 0};
    mi_vector_normalize(&u);
    mi_vector_normalize(&v);
    const auto lobe = [&](miVector& dir, double* point) {
        mi_reflection_dir_anisglossy_x(&dir, &state, &u, &v, 4000, 250, point);
    };
    const auto squaredAlong = [](const miVector& axis) {
        return [&axis](const miVector& dir) { return std::pow(mi_vector_dot(&dir, &axis), 2); };
    };
    EXPECT_NEAR(mean(state, lobe, squaredAlong(u)) * 4000, 1, 0.03);
    EXPECT_NEAR(mean(state, lobe, squaredAlong(v)) * 250, 1, 0.03);
    // Through the surface the same, below it; between equal media the ray goes straight on.
    const auto through = [&](miVector& dir, double* point) {
        EXPECT_TRUE(mi_transmission_dir_anisglossy_x(&dir, &state, 1.4f, 1.4f, &u, &v, 4000, 250, point));
        EXPECT_LT(dir.z, 0);
    };
    EXPECT_NEAR(mean(state, through, squaredAlong(u)) * 4000, 1, 0.03);
    EXPECT_NEAR(mean(state, through, squaredAlong(v)) * 250, 1, 0.03);
}

TEST(Directions, StayOnTheirSideOfTheTrueSurface) {
    miState state = surfaceAt(85);
    state.normal = {0.6f, 0, 0.8f};  // bent so far that the mirror direction of a grazing ray is below the surface
    miVector dir, u = {1, 0, 0}, v = {0, 1, 0};
    mi_reflection_dir(&dir, &state);
    EXPECT_GT(dir.z, 0);
    for (int i = 0; i < 500; ++i) {
        mi_reflection_dir_glossy(&dir, &state, 3);
        ASSERT_GE(dir.z, 0);
        mi_reflection_dir_anisglossy(&dir, &state, &u, &v, 1, 30);
        ASSERT_GE(dir.z, 0);
        mi_reflection_dir_diffuse(&dir, &state);
        ASSERT_GE(dir.z, 0);
        ASSERT_TRUE(mi_transmission_dir_glossy(&dir, &state, 1, 1.3f, 3));
        ASSERT_LE(dir.z, 0);
        ASSERT_TRUE(mi_transmission_dir_anisglossy(&dir, &state, 1, 1.3f, &u, &v, 1, 30));
        ASSERT_LE(dir.z, 0);
        mi_transmission_dir_diffuse(&dir, &state);
        ASSERT_LE(dir.z, 0);
    }
}

TEST(ReflectionModels, FresnelAtNormalIncidenceBrewsterAngleAndBeyondTheCriticalAngle) {
    EXPECT_NEAR(mi_fresnel(1, 1.5f, 1, 1), 0.04, 1e-6);
    // tan(Brewster) = 1.5: only the part across the plane is reflected, ((1 - 2.25) / (1 + 2.25))^2 / 2.
    const float c = 1 / std::sqrt(3.25f), s = 1.5f * c;
    EXPECT_NEAR(mi_fresnel(1, 1.5f, c, s), 0.5 * std::pow(1.25 / 3.25, 2), 1e-6);
    miState state = surfaceAt(std::atan(1.5) / kDegree);
    EXPECT_NEAR(mi_fresnel_reflection(&state, 1, 1.5f), 0.5 * std::pow(1.25 / 3.25, 2), 1e-6);
    state = surfaceAt(60);
    EXPECT_EQ(mi_fresnel_reflection(&state, 1.5f, 1), 1);
}

TEST(ReflectionModels, ValuesAlongTheNormalAndBelow) {
    miState state = surfaceAt(0);
    const miVector in = {0, 0, -1}, out = {0, 0, 1}, below = {0, 0, -1}, sideways = {std::sqrt(0.75f), 0, 0.5f};
    EXPECT_NEAR(mi_phong_specular(2, &state, &sideways), 0.25, 1e-6);
    EXPECT_EQ(mi_phong_specular(0.5f, &state, &below), 0);
    EXPECT_NEAR(mi_blinn_specular(&in, &out, &state.normal, 0.3f, 1.5f), 0.04, 1e-6);
    EXPECT_EQ(mi_blinn_specular(&in, &below, &state.normal, 0.3f, 1.5f), 0);

    miColor color;
    const miColor ior = {1.5f, 1, 3, 0};  // reflect 0.04, 0, 0.25
    EXPECT_TRUE(mi_cooktorr_specular(&color, &in, &out, &state.normal, 0.5f, &ior));
    EXPECT_NEAR(color.r, 0.16 / std::numbers::pi, 1e-6);
    EXPECT_NEAR(color.g, 0, 1e-6);
    EXPECT_NEAR(color.b, 1 / std::numbers::pi, 1e-6);
    EXPECT_FALSE(mi_cooktorr_specular(&color, &in, &below, &state.normal, 0.5f, &ior));
    EXPECT_EQ(color.b, 0);
}

TEST(ReflectionModels, WardsHighlightIsAsWideAsTheGlossyLobe) {
    const miVector in = {0, 0, -1}, normal = {0, 0, 1}, u = {1, 0, 0}, v = {0, 1, 0};
    const auto at = [](double degrees, bool alongU) {
        const auto s = static_cast<float>(std::sin(degrees * kDegree)),
                   c = static_cast<float>(std::cos(degrees * kDegree));
        return alongU ? miVector{s, 0, c} : miVector{0, s, c};
    };
    const miVector top = at(0, true), tiltedU = at(10, true), tiltedV = at(10, false);
    const float peak = mi_ward_glossy(&in, &top, &normal, 50);
    EXPECT_NEAR(peak, 50 / (2 * std::numbers::pi), 1e-4);
    EXPECT_NEAR(mi_ward_glossy(&in, &tiltedU, &normal, 50) / peak, std::pow(std::cos(10 * kDegree), 50), 0.01);

    const float anisotropicPeak = mi_ward_anisglossy(&in, &top, &normal, &u, &v, 50, 8);
    EXPECT_NEAR(anisotropicPeak, 20 / (2 * std::numbers::pi), 1e-4);
    EXPECT_NEAR(mi_ward_anisglossy(&in, &tiltedU, &normal, &u, &v, 50, 8) / anisotropicPeak,
                std::pow(std::cos(10 * kDegree), 50), 0.01);
    EXPECT_NEAR(mi_ward_anisglossy(&in, &tiltedV, &normal, &u, &v, 50, 8) / anisotropicPeak,
                std::pow(std::cos(10 * kDegree), 8), 0.01);
}

}  // namespace
