/* Quadrilateral lights in closed form, and against a search along their edges. */
#include <array>
#include <cmath>
#include <random>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

using Corners = std::array<miVector, 4>;

/* A rectangle at this height that faces down: seen from below its corners run counterclockwise. */
Corners ceiling(miScalar x, miScalar z, miScalar halfWidth, miScalar halfDepth, miScalar height) {
    return {{{x - halfWidth, height, z - halfDepth},
             {x - halfWidth, height, z + halfDepth},
             {x + halfWidth, height, z + halfDepth},
             {x + halfWidth, height, z - halfDepth}}};
}

class AreaLight : public LightingTest {
protected:
    const miVector origin = {0, 0, 0}, up = {0, 1, 0};

    miScalar irradiance(const miVector& normal, const Corners& corners) {
        return library::arealight_lambertian_reflect(&origin, &normal, corners.data());
    }
};

TEST_F(AreaLight, IrradianceIsTheContourIntegral) {
    // Form factor of a rectangle a x b, parallel to the surface at distance 1, one corner above the point:
    //   F = 1 / (2 pi) (a / A atan(b / A) + b / B atan(a / B)),  A = sqrt(1 + a^2), B = sqrt(1 + b^2).
    // Four of them make the whole; the contour integral gives 2 pi F, times 5 instead of 1 / (2 pi).
    const auto quarter = [](double a, double b) {
        const double A = std::sqrt(1 + a * a), B = std::sqrt(1 + b * b);
        return a / A * std::atan(b / A) + b / B * std::atan(a / B);
    };
    for (const auto& [a, b] : {std::pair(1.0, 1.0), std::pair(0.3, 2.0), std::pair(5.0, 0.01)}) {
        const double expected = 5 * 4 * quarter(a, b);
        const auto corners = ceiling(0, 0, static_cast<miScalar>(a), static_cast<miScalar>(b), 1);
        EXPECT_NEAR(irradiance(up, corners), expected, 1e-5 * expected);
        // From below the surface, and edge on to a light that is symmetric about it.
        EXPECT_NEAR(irradiance({0, -1, 0}, corners), -expected, 1e-5 * expected);
        EXPECT_NEAR(irradiance({1, 0, 0}, corners), 0, 1e-5 * expected);
    }
}

TEST_F(AreaLight, IrradianceOfSmallLightsIsSmooth) {
    // Far away a light is a point: 2 x 5 x area x cosine x cosine / distance^2 with the factor for 1 / (2 pi).
    // At (3, 4, 0) both cosines are 4 / 5.
    for (const double size : {1e-2, 1e-3, 1e-4}) {
        const double expected = 10 * 4 * size * size * 0.64 / 25;
        const miScalar half = static_cast<miScalar>(size);
        EXPECT_NEAR(irradiance(up, ceiling(3, 0, half, half, 4)), expected, 0.01 * expected) << size;
    }
}

TEST_F(AreaLight, IrradianceSurvivesBrokenCorners) {
    EXPECT_EQ(irradiance(up, Corners{}), 0) << "all corners at the point";
    // Two corners in the same place: a triangle, half of the square.
    Corners corners = ceiling(0, 0, 1, 1, 1);
    const miScalar whole = irradiance(up, corners);
    corners[3] = corners[2];
    const miScalar one = irradiance(up, corners);
    corners = ceiling(0, 0, 1, 1, 1);
    corners[1] = corners[0];
    EXPECT_NEAR(one + irradiance(up, corners), whole, 1e-4);
}

class AreaHighlight : public AreaLight {
protected:
    AreaHighlight() { lightInstance(); }

    /* The square from -1 to 1, two units above and turned to face down: y of the world is -z of the light. */
    void lightInstance() {
        light = renderer().database.addInstance(miNULLTAG);
        const miMatrix toLight = {1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 2, 1};
        std::memcpy(renderer().database.record<miInstance>(light).tf.global_to_local, toLight, sizeof toLight);
    }

    miScalar closest(const miVector& reflection) {
        return library::arealight_max_phong_spec_dir(&origin, &reflection, corners.data(), light, &direction);
    }

    /* The best cosine, and its direction, of many points along the edges. */
    double search(const miVector& r, std::array<double, 3>& best) const {
        double cosine = -2;
        for (std::size_t i = 0; i < 4; ++i)
            for (int step = 0; step <= 2000; ++step) {
                const double t = step / 2000.0;
                const miVector &a = corners[i], &b = corners[(i + 1) % 4];
                const double p[3] = {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
                const double size = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
                const double c = (p[0] * r.x + p[1] * r.y + p[2] * r.z) / size;
                if (c > cosine) {
                    cosine = c;
                    best = {p[0] / size, p[1] / size, p[2] / size};
                }
            }
        return cosine;
    }

    const Corners corners = ceiling(0, 0, 1, 1, 2);
    miTag light = miNULLTAG;
    miVector direction = {9, 9, 9};
};

TEST_F(AreaHighlight, InsideTheLightIsTheReflectionItself) {
    // (0.3, 1, -0.4) reaches the plane at (.6, 2, -.8), inside; its length is sqrt(1.25).
    const double size = std::sqrt(1.25);
    for (const miScalar scale : {1.0f, 4.0f}) {
        EXPECT_EQ(closest({0.3f * scale, scale, -0.4f * scale}), 1);
        EXPECT_NEAR(direction.x, 0.3 / size, 1e-6);
        EXPECT_NEAR(direction.y, 1 / size, 1e-6);
        EXPECT_NEAR(direction.z, -0.4 / size, 1e-6);
    }
}

TEST_F(AreaHighlight, OutsideItIsTheClosestPointOfTheEdges) {
    std::mt19937 random(1);
    std::uniform_real_distribution<miScalar> number(-1, 1);
    int outside = 0;
    while (outside < 200) {
        miVector r = {number(random), number(random) / 2 + 0.4f, number(random)};
        const miScalar size = std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z);
        r = {r.x / size, r.y / size, r.z / size};
        if (r.y > 0 && std::fabs(2 * r.x / r.y) < 1.001f && std::fabs(2 * r.z / r.y) < 1.001f) continue;
        std::array<double, 3> best{};
        const double cosine = search(r, best);
        if (cosine < 0) continue;  // which point is closest means little for what lies behind
        ++outside;
        EXPECT_NEAR(closest(r), cosine, 1e-5);
        EXPECT_NEAR(direction.x, best[0], 2e-3);
        EXPECT_NEAR(direction.y, best[1], 2e-3);
        EXPECT_NEAR(direction.z, best[2], 2e-3);
    }
}

TEST_F(AreaHighlight, SurvivesWhatIsNoLight) {
    for (const miTag tag : {miTag{0}, renderer().database.addString("light")}) {
        light = tag;
        // Without a light space only edges are left: the closest is straight up along one, 2 / sqrt(5).
        EXPECT_NEAR(closest({0, 1, 0}), 2 / std::sqrt(5.0), 1e-5);
    }
    lightInstance();
    EXPECT_EQ(closest({0, -1, 0}), 0) << "away from the light";
}

}  // namespace
