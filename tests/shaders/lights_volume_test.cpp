/* The volume light inside its shapes, and the shape light on the surface that the renderer samples. */
#include <limits>

#include "lights_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

enum Shape : miInteger { kSphere, kBox, kCylinder, kCone };
enum Direction { kOutward, kInward, kAlong };

/* At (1, 2, 3), twice as large as its own space: (x, y, z) there is (1 + 2x, 2 + 2y, 3 + 2z). */
class VolumeLight : public LightShaderTest {
protected:
    miBoolean call(const miVector& inLight) {
        place({1, 2, 3}, {1 + 2 * inLight.x, 2 + 2 * inLight.y, 3 + 2 * inLight.z});
        miScalar* m = renderer().spaces.light.m;
        m[0] = m[5] = m[10] = 0.5f;
        m[12] = -0.5f, m[13] = -1, m[14] = -1.5f;
        return LightShaderTest::call("lumoVexaVolumeLight", shader);
    }

    twin::ShaderInstance<VolumeParameters> shader;
};

TEST_F(VolumeLight, FallsFromTheMiddleToTheBoundary) {
    const struct {
        Shape shape;
        miScalar tip;
        miVector at;
        double depth;
    } cases[] = {
        {kSphere, 0, {0, 0, 0}, 0},
        {kSphere, 0, {0.3f, 0.4f, 0}, .5},
        {kSphere, 0, {0.5f, 0.6f, 0.64f}, 2},
        {kBox, 0, {0.3f, -0.9f, 0.5f}, .9},
        {kBox, 0, {0.99f, 0.99f, 0.99f}, .99},
        {kBox, 0, {0, 0, -1.01f}, 2},
        {kCylinder, 0, {0.3f, 0.4f, 0.2f}, .5},
        {kCylinder, 0, {0.3f, 0.4f, -0.7f}, .7},
        {kCylinder, 0, {0.7f, 0.8f, 0}, 2},
        // The cone's radius is .5 at z = 0 and .75 at -.5; along lines out of the middle the depth grows evenly.
        {kCone, 0, {0.3f, 0, 0}, .6},
        {kCone, 0, {0.15f, 0, 0}, .3},
        {kCone, 0, {0.74f, 0, -0.5f}, .98},  // (.74 - .25) / .5
        {kCone, 0, {0.76f, 0, -0.5f}, 2},
        {kCone, 0, {0.1f, 0, -0.8f}, .8},
        {kCone, 0, {0, 0, 0.9f}, .9},
        {kCone, 0, {0.11f, 0, 0.9f}, 2},
        {kCone, 1, {0.3f, 0.4f, 0.2f}, .5},  // a cylinder
        {kCone, 3, {1.5f, 0, 0.5f}, .5},     // (1.5 - .5) / 2
        {static_cast<Shape>(77), 0, {0, 0.25f, 0}, .25},
    };
    shader->common.color = {1, 0.5f, 0.25f, 0.75f};
    shader->common.intensity = 4;
    for (const auto& c : cases)
        for (const miScalar falloff : {0.0f, 1.0f, 2.0f, 0.5f, -3.0f}) {
            shader->volumeShape = c.shape;
            shader->tipRadius = c.tip;
            shader->volumeFalloff = falloff;
            const bool lit = call(c.at) == miTRUE;
            EXPECT_EQ(lit, c.depth <= 1) << c.shape << " depth " << c.depth;
            const double share = c.depth > 1 ? 0 : std::pow(1 - c.depth, std::fmax(0, static_cast<double>(falloff)));
            EXPECT_NEAR(result.r, 4 * share, 1e-4) << c.shape << " depth " << c.depth << " falloff " << falloff;
            EXPECT_NEAR(result.g, 2 * share, 1e-4);
        }
    shader->volumeShape = kSphere;
    shader->volumeFalloff = 1;
    shader->common.decayRate = 2;
    // The decay is that of the world: half way in the distance is 1, so .5 x 4.
    EXPECT_EQ(call({0.5f, 0, 0}), miTRUE);
    EXPECT_NEAR(result.r, 2, 1e-4);
    EXPECT_EQ(call({0.8f, 0, 0}), miTRUE);  // distance 1.6: .2 x 4 / 2.56
    EXPECT_NEAR(result.r, 0.3125, 1e-4);
}

TEST_F(VolumeLight, ShinesOutwardInwardOrAlong) {
    shader->volumeFalloff = 0;
    shader->common.useRayTraceShadows = 1;
    miVector origin = {}, dir = {};
    double dist = 0;
    renderer().tracing.shadow = [&](miColor*, miState* called) {
        origin = called->org, dir = called->dir, dist = called->dist;
        return miTRUE;
    };
    const struct {
        Shape shape;
        Direction direction;
        miVector at, from, dir;  // in the light's space; the ray goes from there to the point
        double dist;
    } cases[] = {
        {kSphere, kOutward, {0, -0.5f, 0}, {0, 0, 0}, {0, -1, 0}, 1},
        {kSphere, kInward, {0, -0.5f, 0}, {0, -1, 0}, {0, 1, 0}, 1},
        {kBox, kInward, {0, 0.6f, 0.8f}, {0, 0.75f, 1}, {0, -0.6f, -0.8f}, 0.5},
        {kCone, kInward, {0.3f, 0, 0.2f}, {0.3f, 0, 0.2f}, {-0.832050f, 0, -0.554700f}, 1e-6},  // (.3 + .1) / .5 = .8
        {kSphere, kAlong, {0.6f, 0, 0}, {0.6f, 0, 0.8f}, {0, 0, -1}, 1.6},
        {kBox, kAlong, {0.6f, 0, -0.5f}, {0.6f, 0, 1}, {0, 0, -1}, 3},
        {kCylinder, kAlong, {0.6f, 0, -0.5f}, {0.6f, 0, 1}, {0, 0, -1}, 3},
        {kCone, kAlong, {0.25f, 0, -0.5f}, {0.25f, 0, 0.5f}, {0, 0, -1}, 2},
    };
    for (const auto& c : cases) {
        shader->volumeShape = c.shape;
        shader->volumeDirection = c.direction;
        EXPECT_EQ(call(c.at), miTRUE);
        miVector from = c.from;
        double expectedDist = c.dist;
        if (c.shape == kCone && c.direction == kInward) {
            // At depth .8 the boundary lies at 1 / .8 of the way: (.375, 0, .25), .0901388 away, twice that in the
            // world.
            from = {0.375f, 0, 0.25f};
            expectedDist = 0.1802776;
        }
        EXPECT_NEAR(origin.x, 1 + 2 * from.x, 1e-5);
        EXPECT_NEAR(origin.y, 2 + 2 * from.y, 1e-5);
        EXPECT_NEAR(origin.z, 3 + 2 * from.z, 1e-5);
        EXPECT_NEAR(dist, expectedDist, 1e-5) << c.shape << " " << c.direction;
        for (const miVector& each : {dir, light.dir}) {
            EXPECT_NEAR(each.x, c.dir.x, 1e-5);
            EXPECT_NEAR(each.y, c.dir.y, 1e-5);
            EXPECT_NEAR(each.z, c.dir.z, 1e-5);
        }
        EXPECT_NEAR(light.dot_nd, -c.dir.y, 1e-5) << "of the normal (0, 1, 0)";
    }
    // In the very middle inward light has no way.
    shader->volumeDirection = kInward;
    EXPECT_EQ(call({0, 0, 0}), miTRUE);
    EXPECT_EQ(result.r, 1);
}

TEST_F(VolumeLight, SurvivesAnyParameters) {
    const miScalar inf = std::numeric_limits<miScalar>::infinity();
    shader->common.useRayTraceShadows = 1;
    renderer().tracing.shadow = [](miColor*, miState*) { return miFALSE; };
    for (const miScalar number : {std::nanf(""), inf, -inf, 1e30f, 0.0f})
        for (int shape = -1; shape < 5; ++shape)
            for (int direction = -1; direction < 4; ++direction) {
                shader->volumeShape = shape, shader->volumeDirection = direction;
                shader->volumeFalloff = shader->tipRadius = shader->common.lightRadius = number;
                for (const miVector& at : {miVector{0, 0, 0}, miVector{0.5f, 0, 0.5f}, miVector{number, 0, 0}}) {
                    call(at);
                    EXPECT_TRUE(isFinite(result)) << shape << " " << direction << " " << number;
                }
                call({0.5f, 0, 0.5f});
                renderer().spaces.light = twin::Matrix::scale(0, 0, 0);
                LightShaderTest::call("lumoVexaVolumeLight", shader);
                EXPECT_TRUE(isFinite(result));
                EXPECT_TRUE(std::isfinite(light.dot_nd)) << shape << " " << direction << " " << number;
                shader->common.intensity = number, call({0.5f, 0, 0}), shader->common.intensity = 1;
                EXPECT_TRUE(isFinite(result));
            }
}

TEST_F(LightShaderTest, OfAShapeFallsWithTheCosineOfItsSurface) {
    // Three units above the point, which it lights along (0, -1, 0): 18 / 3^2 = 2.
    twin::ShaderInstance<ShapeParameters> shader;
    shader->common.intensity = 18;
    shader->common.decayRate = 2;
    const auto expect = [&](const miVector& normal, bool twoSided, miScalar share) {
        shader->twoSided = twoSided;
        renderer().queries.answer(miQ_LIGHT_NORMAL, normal);
        light.type = miRAY_LIGHT;
        light.dir = {0, -1, 0};
        EXPECT_EQ(call("lumoVexaShapeLight", shader), share > 0 ? miTRUE : miFALSE);
        EXPECT_NEAR(result.r, 2 * share, 1e-5);
        // A ray that looks up at the surface sees the same brightness at any angle.
        light.type = miRAY_EYE;
        light.dir = {0, 1, 0};
        EXPECT_EQ(call("lumoVexaShapeLight", shader), miTRUE);
        EXPECT_COLOR(result, share > 0 ? 18 : 0, share > 0 ? 18 : 0, share > 0 ? 18 : 0, 1);
    };
    const miScalar inf = std::numeric_limits<miScalar>::infinity();
    expect({0, -1, 0}, false, 1);
    expect({0, -3, 4}, false, 0.6f);
    expect({0, 3, 4}, false, 0);
    expect({0, 3, 4}, true, 0.6f);
    expect({1, 0, 0}, false, 0);
    expect({0, 0, 0}, false, 1);
    for (const miScalar number : {std::nanf(""), inf, -inf}) {
        renderer().queries.answer(miQ_LIGHT_NORMAL, miVector{number, number, 0});
        call("lumoVexaShapeLight", shader);
        EXPECT_TRUE(isFinite(result));
    }
    // Where the renderer tells no normal it shines to all sides.
    renderer().queries.forget(miQ_LIGHT_NORMAL);
    light.type = miRAY_LIGHT;
    for (const miScalar side : {1.0f, -1.0f}) {
        light.dir = {0, side, 0};
        EXPECT_EQ(call("lumoVexaShapeLight", shader), miTRUE);
        EXPECT_FLOAT_EQ(result.r, 2);
    }
}

TEST_F(LightShaderTest, OfEachKindNeedsThePerSampleRecord) {
    twin::ShaderInstance<VolumeParameters> shader;
    stage.rendering.entries.set("vexabase", nullptr, 0, miSS_LIFETIME_RECT);
    for (const auto& [name, warning] : {std::pair("lumoVexaSpotLight", "vexa_spotlight(): Internal state error."),
                                        std::pair("lumoVexaVolumeLight", "vexa_volumelight(): Internal state error."),
                                        std::pair("lumoVexaShapeLight", "vexa_shapelight(): Internal state error.")}) {
        EXPECT_EQ(call(name, shader), miFALSE);
        EXPECT_COLOR(result, 9, 9, 9, 9);
        EXPECT_EQ(renderer().messageCount("warning", warning), 1) << name;
    }
}

}  // namespace
