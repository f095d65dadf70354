/* Soft shadows: where their rays go, and how many there are. */
#include <algorithm>
#include <array>
#include <cmath>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

struct Ray {
    miVector org, dir;
    double dist;
};

class SoftShadow : public LightShaderTest {
protected:
    SoftShadow() {
        point->useRayTraceShadows = directional->useRayTraceShadows = 1;
        point->lightRadius = 0.5f;
        point->shadowRays = 16;
        renderer().tracing.shadow = [this](miColor* ray, miState* called) {
            rays.push_back({called->org, called->dir, called->dist});
            return occluder ? occluder(ray, called) : miTRUE;
        };
    }

    const std::vector<Ray>& trace() {
        rays.clear();
        call("lumoVexaPointLight", point);
        return rays;
    }

    /* Positions of the rays on a light straight above the point, in units of its radius. */
    std::vector<std::pair<double, double>> disc(double radius) {
        std::vector<std::pair<double, double>> points;
        for (const Ray& ray : trace()) points.emplace_back(ray.org.x / radius, (ray.org.z + 5) / radius);
        return points;
    }

    std::function<miBoolean(miColor*, miState*)> occluder;
    std::vector<Ray> rays;
    twin::ShaderInstance<PointParameters> point;
    twin::ShaderInstance<DirectionalParameters> directional;
};

TEST_F(SoftShadow, RaysComeFromADiscThatFacesThePoint) {
    place({1, 2, 3}, {4, 6, 3});  // distance 5 along (.6, .8, 0)
    const miState before = light;
    EXPECT_EQ(trace().size(), 16u);
    for (const Ray& ray : rays) {
        const double x = ray.org.x - 1, y = ray.org.y - 2, z = ray.org.z - 3;
        EXPECT_LE(std::sqrt(x * x + y * y + z * z), 0.5 + 1e-6);
        EXPECT_NEAR(0.6 * x + 0.8 * y, 0, 1e-6);
        // Each leads to the point.
        EXPECT_NEAR(ray.org.x + ray.dir.x * ray.dist, 4, 1e-5);
        EXPECT_NEAR(ray.org.y + ray.dir.y * ray.dist, 6, 1e-5);
        EXPECT_NEAR(ray.org.z + ray.dir.z * ray.dist, 3, 1e-5);
        EXPECT_NEAR(ray.dist * ray.dist, 25 + x * x + y * y + z * z, 1e-4);
    }
    EXPECT_EQ(std::memcmp(&light.org, &before.org, sizeof light.org), 0);
    EXPECT_EQ(std::memcmp(&light.dir, &before.dir, sizeof light.dir), 0);
    EXPECT_EQ(light.dist, before.dist);
}

// Sixteen samples of a pixel, numbered by the renderer, with one ray each: as many on each side of any line through the
// middle of the light along x or z, as of sixteen rays of one sample. Sixteen of no order would be split 8 to 8 one time
// in five. Points that the eye ray did not meet, of which a sample has many, are independent.
TEST_F(SoftShadow, SamplesOfAPixelCoverTheLightTogether) {
    place({0, 5, 0}, {0, 0, 0});
    miState lit{};
    lit.type = miRAY_EYE;
    lit.org = {0, 0, 10}, lit.dir = {0, 0, -1}, lit.dist = 10;
    light.parent = &lit;
    point->shadowRays = 1;
    const auto evenPixels = [&] {
        int even = 0;
        for (int pixel = 0; pixel < 64; ++pixel) {
            std::array<int, 2> above{};
            for (miUint sample = 16; sample < 32; ++sample) {
                light.qmc_instance = sample;
                light.raster_x = static_cast<miScalar>(pixel) + static_cast<miScalar>(sample) / 64;
                const Ray ray = trace().at(0);
                above[0] += ray.org.x > 0, above[1] += ray.org.z > 0;
            }
            even += above == std::array{8, 8};
        }
        return even;
    };
    EXPECT_EQ(evenPixels(), 64);
    lit.org = {0, 0, 9};
    EXPECT_LT(evenPixels(), 16);
}

TEST_F(SoftShadow, OfDistantLightsSpansTheirAngle) {
    directional->lightAngle = 0.2f;
    directional->shadowRays = 64;
    light.dist = 0;  // infinitely far
    call("lumoVexaDirectionalLight", directional);
    EXPECT_EQ(rays.size(), 64u);
    double widest = 0;
    for (const Ray& ray : rays) {
        EXPECT_EQ(ray.dist, 0);
        widest = std::max(widest, std::acos(std::min(1.0, -static_cast<double>(ray.dir.y))));
        EXPECT_NEAR(ray.org.x + 3 * ray.dir.x, 0, 1e-5);
        EXPECT_NEAR(ray.org.y + 3 * ray.dir.y, 0, 1e-5);
    }
    EXPECT_LE(widest, 0.1 + 1e-4);
    EXPECT_GT(widest, 0.08);
    directional->lightAngle = 10;  // more than all around
    call("lumoVexaDirectionalLight", directional);
    for (const Ray& ray : rays) EXPECT_LT(ray.dir.y, 0);
}

TEST_F(SoftShadow, MeansGoToThePictureAndToThePasses) {
    setEntries({kShadowed, kShadowed | kInverted, 0});
    publish();
    point->color = {0.8f, 0.6f, 0.4f, 0.5f};
    point->shadowColor = {0.1f, 0.2f, 0.3f, 0.25f};
    point->shadowRays = 4;
    // One ray of four passes whole, one half; two are blocked, and what such a ray's color says does not count.
    int next = 0;
    occluder = [&](miColor* ray, miState* called) {
        const miScalar through[] = {1, 0, 0.5f, 0};
        const miScalar t = through[next++ % 4];
        const miColor transparency = {t, t, t, 1};
        *ray = {t == 0 ? 7 : t, t == 0 ? 7 : t, t == 0 ? 7 : t, 1};
        library::applyShadowTransparencyToFrameBuffers(count(), &published(0), &transparency, 0, called);
        return t == 0 ? miFALSE : miTRUE;
    };
    trace();
    // t = .375: .375 x (.8, .6, .4) + .625 x (.1, .2, .3) = (.3625, .35, .3375)
    EXPECT_COLOR(result, 0.3625f, 0.35f, 0.3375f, 0.5f);
    EXPECT_FLOAT_EQ(data().blocked, 0.625f);
    EXPECT_COLOR(published(0).lightValue, 0.3625f, 0.35f, 0.3375f, 1);
    EXPECT_COLOR(published(1).lightValue, 0.4375f, 0.25f, 0.0625f, 1);
    EXPECT_COLOR(published(2).lightValue, 0.8f, 0.6f, 0.4f, 0.5f);

    // With nothing in the way no rounding is left over, whatever the number.
    occluder = nullptr;
    for (miInteger n = 1; n <= 100; ++n) {
        point->shadowRays = n;
        trace();
        EXPECT_EQ(data().blocked, 0) << n;
        EXPECT_EQ(result.r, 0.8f) << n;
        EXPECT_EQ(published(0).lightValue.r, 0.8f) << n;
    }

    occluder = [](miColor*, miState*) { return miFALSE; };
    trace();
    EXPECT_COLOR(result, 0.1f, 0.2f, 0.3f, 0.25f);
    EXPECT_EQ(data().blocked, 1);
}

TEST_F(SoftShadow, RaysFallWithTheWeightOfTheSample) {
    const auto expect = [&](miScalar weight, std::size_t count) {
        setScalar(140, 0), setScalar(141, weight), setScalar(142, 0);
        EXPECT_EQ(trace().size(), count) << weight;
    };
    point->shadowRays = 9;
    setScalar(7, 0.2f), setScalar(8, 0.6f);
    expect(0.7f, 9);
    expect(0.6f, 9);
    // 1 at .2, 9 at .6: 1 + 8 x (w - .2) / .4, truncated
    expect(0.59f, 8);
    expect(0.41f, 5);
    expect(0.31f, 3);
    expect(0.21f, 1);
    expect(std::nanf(""), 0);
    // Between final gathering's rays one hard ray does.
    expect(1, 9);
    renderer().queries.answer(miQ_FINALGATHER_STATE, 1);
    expect(1, 1);
    EXPECT_EQ(rays[0].org.x, 0);
    EXPECT_EQ(rays[0].dist, 3);
}

TEST_F(SoftShadow, WithoutASizeIsHard) {
    for (const miScalar radius : {0.0f, -1.0f, std::nanf(""), std::numeric_limits<miScalar>::infinity()}) {
        point->lightRadius = radius;
        EXPECT_EQ(trace().size(), 1u);
        EXPECT_EQ(rays[0].org.y, 3);
    }
    point->lightRadius = 1e30f;
    for (const Ray& ray : trace())
        EXPECT_TRUE(std::isfinite(ray.dir.x) && std::isfinite(ray.dir.y) && std::isfinite(ray.dir.z));
    // An endless number of rays ends.
    point->lightRadius = 1;
    point->shadowRays = 2147483647;
    EXPECT_EQ(trace().size(), 65536u);
}

TEST_F(SoftShadow, DiffersFromPixelToPixelAndLightToLight) {
    const auto first = disc(0.5);
    const auto expectOther = [&](auto change, const char* what) {
        const miState before = light;
        change();
        const auto other = disc(0.5);
        light = before;
        int same = 0;
        for (std::size_t i = 0; i < first.size(); ++i)
            same += std::hypot(first[i].first - other[i].first, first[i].second - other[i].second) < 0.05;
        EXPECT_LE(same, 3) << what;
    };
    expectOther([&] { light.raster_x += 1; }, "pixel");
    expectOther([&] { light.raster_y += 1; }, "row");
    expectOther([&] { light.light_instance = renderer().database.addInstance(miNULLTAG); }, "light");
    expectOther([&] { light.count = 1; }, "sample of an area light");
    expectOther([&] { light.time = 0.5f; }, "time");
    EXPECT_EQ(disc(0.5), first);
}

}  // namespace
