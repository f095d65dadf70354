/* What makes the directional, the default and the ambient light different. */
#include <cmath>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

class DirectionalLight : public LightShaderTest {
protected:
    miBoolean call(const char* name = "lumoVexaDirectionalLight") { return LightShaderTest::call(name, shader); }

    twin::ShaderInstance<DirectionalParameters> shader;
};

TEST_F(DirectionalLight, IsTheSameAtAllDistances) {
    shader->color = {1, 0.5f, 0.25f, 0.75f};
    shader->intensity = 2;
    shader->lightProfile = 33;
    shader->fogIntensity = 100;
    record[6] = 1;
    shader->shadowColor = {0.1f, 0.2f, 0.3f, 0};
    shader->useRayTraceShadows = 1;
    occlude({0.5f, 0.5f, 0.5f, 1});
    for (const double dist : {0.0, 0.5, 3.0, 1000.0}) {
        light.dist = dist;
        EXPECT_EQ(call(), miTRUE);
        // Half of (2, 1, .5) and of (.1, .2, .3)
        EXPECT_COLOR(result, 1.05f, 0.6f, 0.4f, 0.75f);
        EXPECT_COLOR(data().color, 2, 1, 0.5f, 0.75f);
        EXPECT_EQ(data().ambient, 0);
        EXPECT_EQ(data().diffuse, 1);
    }
    EXPECT_EQ(renderer().lighting.profile.calls(), 0);
}

TEST_F(DirectionalLight, MayBeLimitedToWhatLiesBeforeIt) {
    // The light's own position, in its own space: half a unit from where that is placed, at (0, 3, -5).
    renderer().queries.answer(miQ_LIGHT_ORIGIN, miVector{0, 0.5f, 0});
    const auto lit = [&](miScalar height) {
        light.point = {7, height, 7};
        return call() == miTRUE;
    };
    light.dir = {0, -1, 0};
    EXPECT_TRUE(lit(100));
    shader->useLightPosition = 1;
    EXPECT_TRUE(lit(0));
    EXPECT_TRUE(lit(3.5f)) << "in its plane";
    EXPECT_FALSE(lit(3.6f));
    EXPECT_COLOR(result, 9, 9, 9, 9);
    renderer().queries.refuse(miQ_LIGHT_ORIGIN);
    EXPECT_FALSE(lit(3.4f)) << "a light without a position has that of its space";
    EXPECT_TRUE(lit(2.9f));
}

TEST_F(DirectionalLight, GivesTexturesThePointInItsSpace) {
    miVector coordinates[1] = {{5, 6, 7}}, seen = {};
    miColor textured = {0.25f, 0.5f, 1, 1};
    shader.connect(&shader->color, [&](miState* called) {
        seen = called->tex_list[0];
        return static_cast<void*>(&textured);
    });
    light.tex_list = coordinates;
    place({1, 2, 3}, {11, 22, 33});
    call();
    EXPECT_EQ(seen.x, 10);
    EXPECT_EQ(seen.y, 20);
    EXPECT_EQ(seen.z, 30);
    EXPECT_EQ(coordinates[0].x, 5);
}

class AmbientLight : public LightShaderTest {
protected:
    miBoolean call() { return LightShaderTest::call("lumoVexaAmbientLight", shader); }

    twin::ShaderInstance<AmbientParameters> shader;
};

TEST_F(AmbientLight, FallsTowardsTheSidesThatFaceAway) {
    shader->color = {1, 0.5f, 0.25f, 0.75f};
    shader->intensity = 4;
    const auto expect = [&](miScalar shade, miScalar cosine, miScalar share) {
        shader->ambientShade = shade;
        for (const bool flips : {false, true}) {
            data().flips = flips;
            light.dot_nd = flips ? -cosine : cosine;
            EXPECT_EQ(call(), miTRUE);
            if (share > 0)
                EXPECT_COLOR(result, 4 * share, 2 * share, share, 0.75f);
            else
                EXPECT_COLOR(result, 0, 0, 0, 0);
        }
    };
    // 1 + shade x (cosine - 1)
    expect(0, -1, 1);
    expect(1, 1, 1);
    expect(1, 0.25f, 0.25f);
    expect(1, 0, 0);
    expect(1, -0.5f, 0);
    expect(0.5f, 0.5f, 0.75f);
    expect(0.5f, -1, 0);
    expect(0.25f, -1, 0.5f);
    expect(std::nanf(""), 0.5f, 0);
}

TEST_F(AmbientLight, IsTakenAsAmbientFromNowhere) {
    publish();
    data() = {7, 7, 7, 7, {7, 7, 7, 7}, this, 0, 0};
    light.normal = {0.6f, 0, 0.8f};
    shader->useRayTraceShadows = 1;
    miVector rayDirection = {};
    renderer().tracing.shadow = [&](miColor* ray, miState* called) {
        rayDirection = called->dir;
        ray->r = 0.25f;
        return miTRUE;
    };
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.25f, 1, 1, 1);
    EXPECT_EQ(data().ambient, 1);
    EXPECT_EQ(data().diffuse, 0);
    EXPECT_EQ(data().specular, 0);
    EXPECT_EQ(data().blocked, 0.25f);
    EXPECT_EQ(data().corners, nullptr);
    // The shadow was that of the light's own ray; what the material gets has no direction.
    EXPECT_EQ(rayDirection.y, -1);
    EXPECT_EQ(light.dir.x, 0);
    EXPECT_EQ(light.dir.y, 0);
    EXPECT_EQ(light.dir.z, -1);
    EXPECT_EQ(light.dot_nd, -0.8f);
}

}  // namespace
