// Directions of secondary rays, and reflection models.
#include "shader.h"
#include "support/quasi_random.h"
#include "tests/host/as_text.h"

namespace lumorender {
namespace {

constexpr double kDegree = M_PI / 180;

miVector polar(double degrees, double turn = 0) {
    return {static_cast<float>(std::sin(degrees * kDegree) * std::cos(turn * kDegree)),
            static_cast<float>(std::sin(degrees * kDegree) * std::sin(turn * kDegree)),
            static_cast<float>(std::cos(degrees * kDegree))};
}

/// A ray that comes in the xz plane at an angle to the surface z = 0.
miState surfaceAt(double degrees) {
    miState state = {};
    seedEyeState(state, 1, 0);
    state.dir = polar(180 - degrees);
    state.normal = state.normal_geom = {0, 0, 1};
    return state;
}

TEST(Directions, MirrorAndSnell) {
    miVector dir, again;
    miState state = surfaceAt(30);
    state.dir = {0.48f, 0.6f, -0.64f};
    mi_reflection_dir(&dir, &state);
    mi_reflection_dir_specular(&again, &state);
    EXPECT_EQ(asText(dir, again), "0.48 0.6 0.64 0.48 0.6 0.64");
    for (const double angle : {0.0, 30.0, 45.0, 80.0}) {
        state = surfaceAt(angle);
        ASSERT_TRUE(mi_refraction_dir(&dir, &state, 1.2f, 1.5f));
        const double x = std::sin(angle * kDegree) / 1.25;
        EXPECT_EQ(asText(dir), asText(x, 0, -std::sqrt(1 - x * x)));
        state.normal = {0, 0, -1};  // a normal that was not turned gives the same ray
        ASSERT_TRUE(mi_refraction_dir(&again, &state, 1.2f, 1.5f));
        EXPECT_EQ(asText(again), asText(dir));
    }
    // From 1.5 to 1 the critical angle is 41.81 degrees.
    state = surfaceAt(41.7);
    EXPECT_TRUE(mi_transmission_dir_specular(&dir, &state, 1.5f, 1));
    state = surfaceAt(41.9);
    dir = {7, 7, 7};
    EXPECT_FALSE(mi_refraction_dir(&dir, &state, 1.5f, 1));
    EXPECT_FALSE(mi_transmission_dir_glossy(&dir, &state, 1.5f, 1, 10));
    EXPECT_FALSE(mi_transmission_dir_anisglossy(&dir, &state, 1.5f, 1, &again, &again, 10, 10));
    EXPECT_EQ(dir.x, 7) << "no result where there is none";
}

TEST(Directions, LobesHaveTheMomentsOfTheirDistributions) {
    // Lobes of exponent n have the mean cosine (n + 1) / (n + 2); narrow ones are Gaussian with variances 1 / n along the
    // tangents, here the diagonals. Diffuse light has the means 2/3 of the cosine and 1/2 of its square.
    const miVector up = {0, 0, 1}, refracted = polar(150), mirror = polar(50);
    miVector u = polar(90, 45), v = polar(90, 135);
    enum Kind { Glossy, Diffuse, Beyond, Through, Streaks, StreaksThrough };
    const struct {
        double angle;
        Kind kind;
        float shiny;
        const miVector& axis;
        int power;
        double expected, tolerance;
    } cases[] = {{50, Glossy, 500, mirror, 1, 501.0 / 502, 1e-4},
                 {0, Glossy, 0, up, 1, 1.0 / 2, 1e-3},
                 {0, Glossy, 1, up, 1, 2.0 / 3, 1e-3},
                 {0, Glossy, 20, up, 1, 21.0 / 22, 1e-3},
                 {60, Diffuse, 0, up, 1, 2.0 / 3, 1e-3},
                 {60, Diffuse, 0, up, 2, 1.0 / 2, 1e-3},
                 {60, Beyond, 0, up, 1, -2.0 / 3, 1e-3},
                 {60, Through, 200, refracted, 1, 201.0 / 202, 1e-4},
                 {0, Streaks, 0, u, 2, 1 / 4000.0, 1e-5},
                 {0, Streaks, 0, v, 2, 1 / 250.0, 1e-4},
                 {0, StreaksThrough, 0, u, 2, 1 / 4000.0, 1e-5},
                 {0, StreaksThrough, 0, v, 2, 1 / 250.0, 1e-4}};
    for (const auto& c : cases) {
        miState s = surfaceAt(c.angle);
        double sum = 0, p[2];
        int counter = 0;
        const miUint n = 16384;
        for (miVector d; mi_sample(p, &counter, &s, 2, &n); sum += std::pow(mi_vector_dot(&d, &c.axis), c.power) / n) {
            if (c.kind == Glossy) mi_reflection_dir_glossy_x(&d, &s, c.shiny, p);
            if (c.kind == Diffuse) mi_reflection_dir_diffuse_x(&d, &s, p);
            if (c.kind == Beyond) mi_transmission_dir_diffuse_x(&d, &s, p);
            if (c.kind == Through) mi_transmission_dir_glossy_x(&d, &s, 1, std::sqrt(3.0f), c.shiny, p);  // to sin 30
            if (c.kind == Streaks) mi_reflection_dir_anisglossy_x(&d, &s, &u, &v, 4000, 250, p);
            if (c.kind == StreaksThrough) mi_transmission_dir_anisglossy_x(&d, &s, 1.4f, 1.4f, &u, &v, 4000, 250, p);
            ASSERT_TRUE(std::abs(mi_vector_norm(&d) - 1) < 1e-5 && (c.kind != StreaksThrough || d.z < 0));
        }
        EXPECT_NEAR(sum, c.expected, c.tolerance) << &c - cases;
    }
}

TEST(Directions, StayOnTheirSideOfTheTrueSurface) {
    miState state = surfaceAt(85);
    state.normal = {0.6f, 0, 0.8f};  // bent so far that the mirror direction of a grazing ray is below the surface
    miVector dirs[6], u = {1, 0, 0}, v = {0, 1, 0};
    mi_reflection_dir(dirs, &state);
    EXPECT_GT(dirs[0].z, 0);
    for (int i = 0; i < 500; ++i) {
        mi_reflection_dir_glossy(dirs, &state, 3);
        mi_reflection_dir_anisglossy(dirs + 1, &state, &u, &v, 1, 30);
        mi_reflection_dir_diffuse(dirs + 2, &state);
        ASSERT_TRUE(mi_transmission_dir_glossy(dirs + 3, &state, 1, 1.3f, 3));
        ASSERT_TRUE(mi_transmission_dir_anisglossy(dirs + 4, &state, 1, 1.3f, &u, &v, 1, 30));
        mi_transmission_dir_diffuse(dirs + 5, &state);
        for (int k = 0; k < 6; ++k) ASSERT_TRUE(k < 3 ? dirs[k].z >= 0 : dirs[k].z <= 0) << k;
    }
}

TEST(ReflectionModels, Fresnel) {
    // At right angles ((n - 1) / (n + 1))^2; elsewhere sin^2 and tan^2 of the difference and the sum of the angles.
    EXPECT_NEAR(mi_fresnel(1, 1.5f, 1, 1), 0.04, 1e-6);
    for (const double degrees : {20.0, 56.0, 80.0}) {
        miState state = surfaceAt(degrees);
        const double in = degrees * kDegree, out = std::asin(std::sin(in) / 1.5);
        const double s = std::sin(in - out) / std::sin(in + out), p = std::tan(in - out) / std::tan(in + out);
        EXPECT_NEAR(mi_fresnel_reflection(&state, 1, 1.5f), (s * s + p * p) / 2, 1e-6);
        EXPECT_EQ(mi_fresnel_reflection(&state, 1.5f, 1) == 1, degrees > 50);
    }
}

TEST(ReflectionModels, FollowTheirFormulas) {
    // Seen at 30 degrees. Each line from the angles of light, viewer, half vector and normal in double precision, Fresnel's
    // part in its own form; in the last one facets shadow each other.
    miState state = surfaceAt(30);
    const miVector in = state.dir, n = state.normal, below = {0, 0, -1}, u = {0.6f, 0.8f, 0}, v = {-0.8f, 0.6f, 0};
    const miColor ior = {1.5f, 1.1f, 3, 0};
    const auto models = [&](const miVector& out) {
        miColor c;
        const bool good = mi_cooktorr_specular(&c, &in, &out, &n, 0.5f, &ior);
        return asText(good, mi_phong_specular(2.5f, &state, &out), mi_blinn_specular(&in, &out, &n, 0.3f, 1.5f), c.r,
                      c.g, c.b, mi_ward_glossy(&in, &out, &n, 5), mi_ward_anisglossy(&in, &out, &n, &u, &v, 5, 2));
    };
    EXPECT_EQ(models(polar(50, 100)), "true 0.16821 0.0029126 0.034506 0.0020007 0.21191 0.015059 0.10756");
    EXPECT_EQ(models(polar(15, 10)), "true 0.91232 0.03332 0.059283 0.0034019 0.36691 0.72309 0.49986");
    EXPECT_EQ(models(polar(85, 40)), "true 0.14122 0.00091246 0.076076 0.008226 0.29937 0.014822 0.011441");
    EXPECT_EQ(models(below), "false 0 0 0 0 0 0 0");
}

}  // namespace
}  // namespace lumorender
