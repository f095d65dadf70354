/* Shadows: which lights trace them, where the rays of soft ones go, and what surfaces let through. */
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::Block;
using twin::renderer;

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN();

struct Ray {
    miVector org, dir;
    double dist;
    miVector end() const { return twin::vector(org.x + dist * dir.x, org.y + dist * dir.y, org.z + dist * dir.z); }
};

class LightShadows : public LightShaderTest {
protected:
    LightShadows() {
        renderer().tracing.shadow = [this](miColor* ray, miState* called) {
            rays.push_back({called->org, called->dir, called->dist});
            return occluder ? occluder(ray, called) : miTRUE;
        };
    }
    const std::vector<Ray>& trace() {
        rays.clear();
        call(point);
        return rays;
    }
    void setWeight(miScalar weight) { setScalar(140, .2f), setScalar(141, weight), setScalar(142, .1f); }

    std::function<miBoolean(miColor*, miState*)> occluder;
    std::vector<Ray> rays;
    Block point{"lumoVexaPointLight",
                "color .8 .6 .4 .5, shadowColor .1 .2 .3 .25, useRayTraceShadows on, lightRadius .5, shadowRays 16"};
};

TEST_F(LightShadows, AreNotTracedWhereNobodySeesThem) {
    setEntries({kShadowed});
    occluder = [this](miColor*, miState* called) { return occlude({0, 0, 0, 0}, called); };
    miInteger &count = point.at<miInteger>("shadowRays"), &limit = point.at<miInteger>("rayDepthLimit");
    limit = 2;
    setWeight(.3f);
    // Each change stays; the largest weight is compared with the lower threshold, and a negative number of rays is one.
    const auto expect = [&](bool traced) {
        EXPECT_EQ(trace().empty(), !traced);
        EXPECT_COLOR(result, traced ? .1f : .8f, traced ? .2f : .6f, traced ? .3f : .4f, traced ? .25f : .5f);
        EXPECT_FLOAT_EQ(entries[0].lightValue.r, traced ? .1f : .8f);
        EXPECT_EQ(data().blocked, traced ? 1 : 0);
    };
    expect(true);
    count = 0, expect(false), count = -1, expect(true);
    stage.options.trace = 0, expect(false), stage.options.trace = 1;
    light.reflection_level = 1, expect(true), light.refraction_level = 1, expect(false), limit = 3, expect(true);
    record[5] = 2, expect(false), record[5] = 3, expect(true);  // levels of the whole scene
    data().withoutShadows = 1, expect(false), data().withoutShadows = 0;
    state->type = miRAY_SHADOW, expect(false);
    light.parent = nullptr, expect(true);
    setScalar(7, .3f), expect(false), setScalar(7, .29f), expect(true), setScalar(7, kNaN), expect(false);
}

TEST_F(LightShadows, MapsServeAllPassesAndScaleTheShadowColor) {
    point.at("intensity") = 4;
    point.at<miBoolean>("useDepthMapShadows") = 1;
    point.at<miInteger>("rayDepthLimit") = 0;  // for rays only
    stage.options.use_shadow_maps = 1;
    setEntries({kShadowed, kShadowed | kInverted});
    // Passes' values stay 1: only this one result counts. r: .5 x 3.2 + .5 x (.1 x 4) = 1.8. 1 - 2.5 / 3.
    renderer().tracing.shadow = [](miColor* ray, miState*) { return ray->r = .5f, miTRUE; };
    call(point);
    EXPECT_COLOR(result, 1.8f, 2.4f, 1.6f, .5f);
    EXPECT_COLOR(entries[0].lightValue, 1.8f, 2.4f, 1.6f, 1);
    EXPECT_COLOR(entries[1].shadowValue, 1.8f, 2.4f, 1.6f, 1);
    EXPECT_FLOAT_EQ(data().blocked, .5f / 3);
    shadow({0, 0, 0, 0}, miFALSE);
    call(point);
    EXPECT_COLOR(result, .4f, .8f, 1.2f, .25f);
    stage.options.use_shadow_maps = 0;
    call(point);
    EXPECT_COLOR(result, 3.2f, 2.4f, 1.6f, .5f);
}

TEST_F(LightShadows, ComeFromADiscThatFacesThePoint) {
    place({1, 2, 3}, {4, 6, 3});  // distance 5 along (.6, .8, 0)
    const miState before = light;
    double farthest = 0;
    EXPECT_EQ(trace().size(), 16u);
    for (const Ray& ray : rays) {
        const double x = ray.org.x - 1, y = ray.org.y - 2, z = ray.org.z - 3, radius = std::hypot(x, y, z);
        farthest = std::max(farthest, radius);
        EXPECT_NEAR(.6 * x + .8 * y, 0, 1e-6);
        EXPECT_NEAR(twin::apart(ray.end(), {4, 6, 3}), 0, 1e-5);
        EXPECT_NEAR(ray.dist * ray.dist, 25 + radius * radius, 1e-4);
    }
    EXPECT_LE(farthest, .5 + 1e-6);
    EXPECT_GE(farthest, .4);
    EXPECT_EQ(twin::apart(light.org, before.org) + twin::apart(light.dir, before.dir) + light.dist, before.dist);

    // Of distant lights from directions within the angle, as far away as the light says; no further than to the side.
    place({0, 3, -5}, {0, 0, -5});
    light.dist = 0;  // infinitely far
    Block distant("lumoVexaDirectionalLight", "useRayTraceShadows on, shadowRays 64");
    for (const miScalar angle : {.2f, 10.0f}) {
        distant.at("lightAngle") = angle;
        rays.clear();
        call(distant);
        EXPECT_EQ(rays.size(), 64u);
        double widest = 0;
        for (const Ray& ray : rays) {
            EXPECT_EQ(ray.dist, 0);
            widest = std::max(widest, std::acos(-static_cast<double>(ray.dir.y)));
            EXPECT_NEAR(std::hypot(ray.org.x + 3 * ray.dir.x, ray.org.y + 3 * ray.dir.y), 0, 1e-5);
        }
        EXPECT_NEAR(widest, angle == .2f ? .095 : 1.55, angle == .2f ? .0051 : .01);
    }
    // Without a size one hard ray, as between final gathering's rays; no number of them is endless.
    for (const miScalar radius : {0.0f, -1.0f, kNaN, std::numeric_limits<miScalar>::infinity()}) {
        point.at("lightRadius") = radius;
        EXPECT_EQ(trace().size(), 1u);
        EXPECT_EQ(rays[0].org.y, 3);
    }
    point.at("lightRadius") = 1e30f;
    point.at<miInteger>("shadowRays") = 2147483647;
    EXPECT_EQ(trace().size(), 65536u);
    EXPECT_TRUE(std::isfinite(rays[9].dir.x + rays[9].dir.y));
    renderer().queries.answer(miQ_FINALGATHER_STATE, 1);
    EXPECT_EQ(trace().size(), 1u);
}

/* Of each ray's place on a shape two numbers are spread evenly from 0 to 1. The light's space is turned, stretched and
 * shifted, its center is not its origin, and the point is at (1.25, .25, 0) from there. */
TEST_F(LightShadows, ComeFromAllOverTheShapeThatThePointSees) {
    const miMatrix toLight = {0, .5f, 0, 0, -.5f, 0, 0, 0, 0, 0, 1, 0, 1.5f, 0, 5, 1};
    std::memcpy(renderer().spaces.light.m, toLight, sizeof toLight);
    light.point.x = .5f;
    const double x = 1.25, y = .25, way = std::hypot(x, y), rim = std::sqrt(1 - .36 / way / way),
                 edge = std::asin(.4 / way);
    const std::pair<miQ_type, miVector> vectors[] = {{miQ_LIGHT_ORIGIN, {.25f, 0, 0}},
                                                     {miQ_LIGHT_AREA_R_EDGE_U, {0, .5f, 0}},
                                                     {miQ_LIGHT_AREA_R_EDGE_V, {0, 0, 1}},
                                                     {miQ_LIGHT_AREA_D_NORMAL, {3, 0, 0}},
                                                     {miQ_LIGHT_AREA_C_AXIS, {0, 0, 2}}};
    for (const auto& [code, vector] : vectors) renderer().queries.answer(code, vector);
    for (const bool inside : {false, true})
        for (const miLight_area area : {miLIGHT_RECTANGLE, miLIGHT_DISC, miLIGHT_SPHERE, miLIGHT_CYLINDER}) {
            SCOPED_TRACE(twin::text(area, inside));
            renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(area));
            renderer().queries.answer(miQ_LIGHT_AREA_D_RADIUS, .5f);
            renderer().queries.answer(miQ_LIGHT_AREA_S_RADIUS, inside ? -50.0f : -.6f);
            renderer().queries.answer(miQ_LIGHT_AREA_C_RADIUS, inside ? 50.0f : .4f);
            Block shader("lumoVexaAreaLight", "useRayTraceShadows on, shadowRays 512");
            rays.clear();
            shader.init(&light);
            call(shader);
            shader.exit(&light);
            EXPECT_EQ(rays.size(), 512u);
            std::array<int, 16> cells{};  // a quarter of u by a quarter of v
            for (const Ray& ray : rays) {
                EXPECT_NEAR(twin::apart(ray.end(), light.point), 0, 1e-4);
                miVector p = twin::transformPoint(ray.org, toLight);
                p.x -= .25f;
                // From the point, along the way to the center and across it, where the disc and the cone are turned.
                const double along = ((x - p.x) * x + (y - p.y) * y) / way,
                             across = ((x - p.x) * y - (y - p.y) * x) / way;
                double off = p.x, u = p.z + .5, v = p.y * 2 + .5;
                if (area == miLIGHT_DISC) {
                    u = (p.y * p.y + p.z * p.z) * 4;
                    v = std::atan2(p.y, p.z) / (2 * M_PI) + .5;
                } else if (area == miLIGHT_SPHERE) {
                    off = std::hypot(p.x, p.y, p.z) - (inside ? 50 : .6);
                    u = inside ? p.x / 100 + .5 : (1 - along / std::hypot(along, across, p.z)) / (1 - rim);
                    v = std::atan2(inside ? p.y : across, p.z) / (2 * M_PI) + .5;
                } else if (area == miLIGHT_CYLINDER) {
                    off = std::hypot(p.x, p.y) - (inside ? 50 : .4);
                    u = inside ? std::atan2(p.x, p.y) / (2 * M_PI) + .5 : std::atan2(across, along) / (2 * edge) + .5;
                    v = p.z / 2 + .5;
                }
                EXPECT_NEAR(off, 0, inside ? 1e-3 : 1e-5);
                const auto quarter = [](double at) { return static_cast<std::size_t>(std::clamp(at, 0., .999) * 4); };
                ++cells[quarter(u) * 4 + quarter(v)];
            }
            for (const int each : cells) EXPECT_NEAR(each, 32, 5);
        }
}

/* Sixteen samples of a pixel, numbered by the renderer, with one ray each: as many on each side of the light's middle
 * as of sixteen rays of one sample. Of no order they would be split 8 to 8 both ways one time in 25. Points that the
 * eye ray did not meet, of which a sample has many, are independent; so are pixels, times and lights, for each of which the renderer draws another number. Tags
 * say nothing: the same scene may be read with others. */
TEST_F(LightShadows, OfThePixelsSamplesCoverTheLightTogether) {
    place({0, 5, 0}, {0, 0, 0});
    miState lit{};
    lit.type = miRAY_EYE, lit.org = {0, 0, 10}, lit.dir = {0, 0, -1}, lit.dist = 10;
    light.parent = &lit;
    point.at<miInteger>("shadowRays") = 1;
    for (const miScalar eye : {10.0f, 9.0f}) {
        lit.org.z = eye;
        int even = 0;
        for (int pixel = 0; pixel < 64; ++pixel) {
            int right = 0, far = 0;
            for (light.qmc_instance = 16; light.qmc_instance < 32; ++light.qmc_instance) {
                light.raster_x = static_cast<miScalar>(pixel) + static_cast<miScalar>(light.qmc_instance) / 64;
                trace();
                right += rays[0].org.x > 0, far += rays[0].org.z > 0;
            }
            even += right == 8 && far == 8;
        }
        EXPECT_TRUE(eye == 10 ? even == 64 : even < 16) << even;
    }
    light.qmc_instance = 0;
    point.at<miInteger>("shadowRays") = 16;
    const std::vector<Ray> first = trace();
    const miState before = light;
    for (int change = 0; change < 6; ++change) {
        light = before;
        (change == 0   ? light.raster_x
         : change == 1 ? light.raster_y
         : change == 2 ? light.point.y
                       : light.time) += change < 4;
        if (change == 4) ++light.count;
        if (change == 5) ++light.pad;
        trace();
        int same = 0;
        for (std::size_t i = 0; i < 16; ++i) same += twin::apart(first[i].org, rays[i].org) < .025;
        EXPECT_LE(same, 3) << change;
    }
    light = before;
    light.light_instance = renderer().database.addInstance(miNULLTAG);
    trace();
    for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(twin::apart(first[i].org, rays[i].org), 0);
}

TEST_F(LightShadows, MeansGoToThePictureAndToThePasses) {
    setEntries({kShadowed, kShadowed | kInverted, 0});
    point.at<miInteger>("shadowRays") = 4;
    // One ray of four passes whole, one half; two are blocked, and what such a ray's color says does not count.
    int next = 0;
    occluder = [&](miColor* ray, miState* called) {
        const miScalar through[] = {1, 0, .5f, 0}, t = through[next++ % 4], seen = t == 0 ? 7 : t;
        *ray = {seen, seen, seen, 1};
        occlude({t, t, t, 1}, called);
        return t == 0 ? miFALSE : miTRUE;
    };
    trace();
    // t = .375: .375 x (.8, .6, .4) + .625 x (.1, .2, .3) = (.3625, .35, .3375)
    EXPECT_COLOR(result, .3625f, .35f, .3375f, .5f);
    EXPECT_FLOAT_EQ(data().blocked, .625f);
    EXPECT_COLOR(entries[0].lightValue, .3625f, .35f, .3375f, 1);
    EXPECT_COLOR(entries[1].lightValue, .4375f, .25f, .0625f, 1);
    EXPECT_COLOR(entries[2].lightValue, .8f, .6f, .4f, .5f);
    // With nothing in the way no rounding is left over, whatever the number.
    occluder = nullptr;
    for (miInteger n = 1; n <= 100; ++n) {
        point.at<miInteger>("shadowRays") = n;
        trace();
        EXPECT_TRUE(data().blocked == 0 && result.r == .8f && entries[0].lightValue.r == .8f) << n;
    }
    // 1 ray at .2, 9 at .6: 1 + 8 x (w - .2) / .4, truncated.
    point.at<miInteger>("shadowRays") = 9;
    setScalar(7, .2f), setScalar(8, .6f);
    const std::array<miScalar, 2> counts[] = {{.7f, 9},  {.6f, 9},  {.59f, 8}, {.41f, 5},
                                              {.31f, 3}, {.21f, 1}, {kNaN, 0}};
    for (const auto& [weight, expected] : counts) {
        setWeight(weight);
        EXPECT_EQ(trace().size(), static_cast<std::size_t>(expected)) << weight;
    }
}

/* What surfaces let through; tints, angles and ways inside are seen in pictures. */
TEST_F(LightingTest, ShadowShadersGoOnWhileThereIsLightSomewhere) {
    miUint* const record = stage.placeVexabase();
    const std::vector<miUint> before(record + 127, record + 133);
    state->type = miRAY_SHADOW;
    Block shader("lumoVexaShadow"), fast("lumoVexaFastShadow");
    miColor result = {}, transparency = {.8f, .6f, .4f, .5f};
    const auto call = [&](Block& block, void* argument = nullptr) {
        result = {1, .5f, 1, .75f};
        return block.call(state, &result, argument);
    };
    // Networks see a tiny footprint.
    shader.connect("transparency", [&](miState*) {
        const miScalar expected[6] = {1e-8f, 1e-8f, 0, 1e-8f, 1e-8f, 0};
        EXPECT_EQ(std::memcmp(record + 127, expected, sizeof expected), 0);
        return static_cast<void*>(&transparency);
    });
    // Segments go on first, unless whoever hands over an argument does that. Those of no length report whether there is
    // light.
    stage.options.shadow = 's';
    state->volume = 2, state->refraction_volume = 6;
    renderer().tracing.shadowSegment = [](miColor* color, miState* called) {
        return color->r *= .5f + static_cast<miScalar>(called->refraction_volume), miTRUE;
    };
    setEntries({kContributes | kShadowed, kContributes | kShadowed});
    EXPECT_EQ(call(shader), miTRUE);
    EXPECT_COLOR(result, 2, .3f, .4f, .75f);
    EXPECT_COLOR(entries[0].shadowValue, 7.2f, 5.4f, 3.6f, 4.5f);
    EXPECT_EQ(std::vector<miUint>(record + 127, record + 133), before);
    call(shader, this);
    EXPECT_COLOR(result, .8f, .3f, .4f, .75f);
    state->dist = 0;
    call(shader);
    EXPECT_COLOR(result, .5f, .5f, 1, .75f);
    renderer().tracing.shadowSegment = [](miColor* color, miState*) { return *color = {.9e-5f, 0, 0, 1}, miTRUE; };
    EXPECT_EQ(call(shader), miFALSE);
    stage.options.shadow = 1;
    EXPECT_EQ(call(shader), miTRUE);

    // The object counts in pass 1 only; in all; then there are no passes at all.
    state->dist = 2;
    transparency = {.9e-6f, 0, 0, 0};
    for (Block* each : {&shader, &fast}) {
        setEntries({kContributes | kShadowed, kContributes | kShadowed});
        state->instance = maskedInstance("2");
        EXPECT_EQ(call(*each), miTRUE);
        EXPECT_COLOR(result, 0, 0, 0, 0);
        EXPECT_EQ(entries[0].shadowValue.g, 9);
        EXPECT_EQ(entries[1].shadowValue.g, 0);
        state->instance = maskedInstance("1");
        EXPECT_EQ(call(*each), miFALSE);
        setEntries({});
        EXPECT_EQ(call(*each), miFALSE);
    }
    // They need nothing of the library's own.
    Block plain("lumoVexaShadow", "transparency .8 .6 .4 .5");
    stage.rendering.entries.set("vexabase", nullptr, 0, miSS_LIFETIME_RECT);
    EXPECT_EQ(call(plain), miTRUE);
    EXPECT_COLOR(result, .8f, .3f, .4f, .75f);
}

}  // namespace
