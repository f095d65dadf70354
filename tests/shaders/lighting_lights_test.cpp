/* The point light, step by step: color, records, shadows; everything that the other lights share. */
#include <cmath>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

class PointLight : public LightShaderTest {
protected:
    miBoolean call() { return LightShaderTest::call("lumoVexaPointLight", shader); }

    /* Two passes: one plain with shadows, one that records blocked light. */
    void publishTwo() {
        setEntries({kShadowed, kShadowed | kInverted});
        publish();
    }
    /* A ray that looks at the light, from above or from below it. */
    void look(const miVector& dir) {
        light.type = miRAY_EYE;
        light.dir = dir;
    }
    void answerArea(miLight_area area, const miVector& u, const miVector& v) {
        renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(area));
        renderer().queries.answer(miQ_LIGHT_AREA_R_EDGE_U, u);
        renderer().queries.answer(miQ_LIGHT_AREA_R_EDGE_V, v);
        renderer().queries.answer(miQ_LIGHT_AREA_D_NORMAL, u);
    }

    twin::ShaderInstance<PointParameters> shader;
};

TEST_F(PointLight, FallsWithTheDistanceByItsRate) {
    shader->color = {1, 0.5f, 0, 0.25f};
    shader->intensity = 30;
    const auto expect = [&](miInteger rate, miScalar distance, double intensity) {
        shader->decayRate = rate;
        place({0, distance, -5}, {0, 0, -5});
        EXPECT_EQ(call(), miTRUE);
        EXPECT_FLOAT_EQ(result.r, static_cast<miScalar>(intensity)) << rate << " at " << distance;
        EXPECT_FLOAT_EQ(result.g, static_cast<miScalar>(intensity / 2)) << rate << " at " << distance;
        EXPECT_EQ(result.b, 0);
        EXPECT_EQ(result.a, 0.25f);
    };
    for (const miScalar distance : {1.0f, 0.5f, 0.0f, 2.0f, 7.5f})
        for (const miInteger rate : {-1, 0, 1, 2, 3, 4, 1000000})
            expect(rate, distance, distance > 1 && rate > 0 && rate < 4 ? 30 / std::pow(distance, rate) : 30);
}

TEST_F(PointLight, TellsTheMaterialAboutTheSample) {
    shader->color = {0.5f, 1, 2, 0.25f};
    shader->intensity = 6;
    shader->decayRate = 1;
    publishTwo();
    data() = {7, 7, 7, 7, {7, 7, 7, 7}, this, 7, 0};
    EXPECT_EQ(call(), miTRUE);
    // 6 / 3 = 2
    EXPECT_COLOR(result, 1, 2, 4, 0.25f);
    EXPECT_COLOR(data().color, 1, 2, 4, 0.25f);
    EXPECT_EQ(data().ambient, 0);
    EXPECT_EQ(data().diffuse, 1);
    EXPECT_EQ(data().specular, 1);
    EXPECT_EQ(data().blocked, 0);
    EXPECT_EQ(data().corners, nullptr);
    EXPECT_EQ(data().flips, 7);
    EXPECT_COLOR(published(0).lightValue, 1, 2, 4, 1);
    EXPECT_COLOR(published(1).lightValue, 0, 0, 0, 1);
    EXPECT_EQ(published(0).flags, kShadowed | kContributes);

    shader->emitDiffuse = shader->emitSpecular = 0;
    call();
    EXPECT_EQ(data().diffuse, 0);
    EXPECT_EQ(data().specular, 0);
}

TEST_F(PointLight, SeenByOtherRaysIsOpaqueAndLeavesTheSampleAlone) {
    look({0, 0, -1});
    shader->color = {0.5f, 1, 2, 0.25f};
    shader->useRayTraceShadows = 1;
    data() = {7, 7, 7, 7, {7, 7, 7, 7}, this, 7, 7};
    std::memset(record + 24, 0x11, 48);
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.5f, 1, 2, 1);
    EXPECT_EQ(data().ambient, 7);
    EXPECT_EQ(data().blocked, 7);
    EXPECT_EQ(data().corners, this);
    EXPECT_COLOR(recordColor(24), 0, 0, 0, 0);
    EXPECT_COLOR(recordColor(28), 1, 1, 1, 1);
    EXPECT_COLOR(recordColor(32), 0, 0, 0, 0);
    EXPECT_EQ(renderer().tracing.shadow.calls(), 0);
}

TEST_F(PointLight, ShadowIsTheMixOfLightAndShadowColor) {
    shader->color = {0.8f, 0.6f, 0.4f, 0.5f};
    shader->shadowColor = {0.1f, 0.2f, 0.3f, 0.25f};
    shader->useRayTraceShadows = 1;
    publishTwo();
    // Half way: (.45, .4, .35); what the passes get is the same, and L - that = (.35, .2, .05).
    occlude({0.5f, 0.5f, 0.5f, 0.5f});
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.45f, 0.4f, 0.35f, 0.5f);
    EXPECT_COLOR(published(0).lightValue, 0.45f, 0.4f, 0.35f, 1);
    EXPECT_FLOAT_EQ(published(1).lightValue.r, 0.35f);
    EXPECT_NEAR(published(1).lightValue.b, 0.05, 1e-7);
    EXPECT_FLOAT_EQ(data().blocked, 0.5f);
    EXPECT_COLOR(data().color, 0.8f, 0.6f, 0.4f, 0.5f);

    // By channel: .2 x .8 + .8 x .1 = .24, the green of the light, the blue of the shadow. 1 - 1.2 / 3 = .6.
    occlude({0.2f, 1, 0, 1});
    call();
    EXPECT_COLOR(result, 0.24f, 0.6f, 0.3f, 0.5f);
    EXPECT_FLOAT_EQ(data().blocked, 0.6f);

    // Blocked: the shadow color, its alpha too.
    occlude({0.2f, 1, 0, 1}, false);
    call();
    EXPECT_COLOR(result, 0.1f, 0.2f, 0.3f, 0.25f);
    EXPECT_EQ(data().blocked, 1);
}

TEST_F(PointLight, ShadowMapsServeAllPassesAndScaleTheShadowColor) {
    shader->color = {1, 1, 1, 1};
    shader->intensity = 4;
    shader->shadowColor = {0.1f, 0.2f, 0.3f, 0.25f};
    shader->useDepthMapShadows = shader->useRayTraceShadows = 1;
    shader->rayDepthLimit = 0;  // for rays only
    stage.options.use_shadow_maps = 1;
    publishTwo();
    renderer().tracing.shadow = [&](miColor* ray, miState*) {
        ray->r = 0.5f;  // and the passes' values stay 1: only this one result counts
        return miTRUE;
    };
    EXPECT_EQ(call(), miTRUE);
    // r: .5 x 4 + .5 x (.1 x 4) = 2.2. 1 - 2.5 / 3.
    EXPECT_COLOR(result, 2.2f, 4, 4, 1);
    EXPECT_COLOR(published(0).lightValue, 2.2f, 4, 4, 1);
    EXPECT_COLOR(published(1).shadowValue, 2.2f, 4, 4, 1);
    EXPECT_FLOAT_EQ(data().blocked, 0.5f / 3);

    occlude({0, 0, 0, 0}, false);
    call();
    EXPECT_COLOR(result, 0.4f, 0.8f, 1.2f, 0.25f);
    EXPECT_COLOR(published(0).lightValue, 0.4f, 0.8f, 1.2f, 1);

    // Where the scene has no shadow maps the rays come into play: there the color is not scaled.
    stage.options.use_shadow_maps = 0;
    shader->rayDepthLimit = 1;
    call();
    EXPECT_COLOR(result, 0.1f, 0.2f, 0.3f, 0.25f);
}

TEST_F(PointLight, TracesNoShadowThatNobodySees) {
    shader->useRayTraceShadows = 1;
    shader->rayDepthLimit = 2;
    publishTwo();
    int expected = 0;
    const auto expect = [&](bool traced, const char* what) {
        expected += traced;
        published(0).lightValue = {9, 9, 9, 9};
        EXPECT_EQ(call(), miTRUE) << what;
        EXPECT_EQ(renderer().tracing.shadow.calls(), expected) << what;
        EXPECT_FLOAT_EQ(result.r, traced ? 0 : 1) << what;
        EXPECT_FLOAT_EQ(published(0).lightValue.r, traced ? 0 : 1) << what;
        EXPECT_FLOAT_EQ(data().blocked, traced ? 1 : 0) << what;
    };
    occlude({0, 0, 0, 0}, false);
    expect(true, "as set up");

    shader->useRayTraceShadows = 0, expect(false, "switched off");
    shader->useRayTraceShadows = 1;
    shader->shadowRays = 0, expect(false, "no rays");
    shader->shadowRays = -1, expect(true, "a negative number of rays is one");
    shader->shadowRays = 1;
    stage.options.trace = 0, expect(false, "no ray tracing in the scene");
    stage.options.trace = 1;

    light.reflection_level = 1, expect(true, "second level of two");
    light.refraction_level = 1, expect(false, "third level of two");
    shader->rayDepthLimit = 3, expect(true, "third level of three");
    record[5] = 2, expect(false, "limit of the whole scene");
    record[5] = 1000;
    light.reflection_level = light.refraction_level = 0;

    data().withoutShadows = 1, expect(false, "the material wants none");
    data().withoutShadows = 0;
    state->type = miRAY_SHADOW, expect(false, "for an occluder");
    state->type = miRAY_EYE;

    // The largest weight against the lower threshold.
    setScalar(140, 0.2f), setScalar(141, 0.3f), setScalar(142, 0.1f);
    setScalar(7, 0.3f), expect(false, "weight at the threshold");
    setScalar(7, 0.29f), expect(true, "weight above the threshold");
    setScalar(7, std::nanf("")), expect(false, "no threshold at all");
    setScalar(7, -1);
    light.parent = nullptr, expect(true, "without a parent");
}

TEST_F(PointLight, GivesTexturesTheDirectionAroundIt) {
    miVector coordinates[1] = {{5, 6, 7}};
    miVector seen = {};
    miColor textured = {0.25f, 0.5f, 1, 1};
    shader.connect(&shader->color, [&](miState* called) {
        seen = called->tex_list[0];
        return static_cast<void*>(&textured);
    });
    const auto expect = [&](const miVector& point, double u, double v) {
        place({0, 0, 0}, point);
        call();
        EXPECT_NEAR(seen.x, u, 1e-6);
        EXPECT_NEAR(seen.y, v, 1e-6);
        EXPECT_EQ(seen.z, point.z);
    };
    light.tex_list = coordinates;
    expect({0, 0, 2}, 0.5, 0.5);
    expect({2, 0, 2}, 0.625, 0.5);    // an eighth of a turn
    expect({-2, 0, -2}, 0.125, 0.5);  // three eighths the other way
    expect({0, 2, 2}, 0.5, 0.75);     // half way up
    expect({0, -2, 2}, 0.5, 0.25);
    expect({3, 0, 0.5e-5f}, 0.5, 0.5);  // next to z = 0 the longitude is the front's, though 0.75 would be right
    expect({3, 3, 0}, 0.5, 0.75);
    expect({0, 4, 0}, 0.5, 0.5);  // straight up there is neither
    EXPECT_COLOR(result, 0.25f, 0.5f, 1, 1);
    EXPECT_EQ(coordinates[0].x, 5);
    EXPECT_EQ(coordinates[0].z, 7);

    light.tex_list = nullptr;
    expect({0, 2, 2}, 0.5, 0.75);
    EXPECT_EQ(light.tex_list, nullptr);
}

TEST_F(PointLight, FogFollowsItsType) {
    const miUint on = 1;
    record[6] = on;
    shader->fogRadius = 2;
    shader->fogIntensity = 3;
    shader->intensity = 5;
    const auto expect = [&](double parentDist, miInteger type, miInteger rate, double f) {
        state->dist = parentDist;
        shader->fogType = type;
        shader->decayRate = rate;
        EXPECT_EQ(call(), miTRUE);
        EXPECT_NEAR(result.r, 15 * f, 1e-5) << "type " << type << " rate " << rate;
    };
    // h = 1: f = 1 / (4 + 2 - 1) = .2. Types 1 and 2 with 1 - f = .8.
    expect(2, 0, 0, 0.2);
    expect(2, 0, 2, 0.04);
    expect(2, 0, 3, 0.008);
    expect(2, 1, 1, 0.04);
    expect(2, 1, 3, std::pow(1 - std::cbrt(0.8), 2));
    expect(2, 2, 0, std::pow(1 - std::sqrt(0.8), 2));
    expect(2, 2, 2, std::pow(1 - std::pow(0.8, 0.25), 2));
    expect(2, 3, 2, 0.2);
    expect(4, 0, 0, 1);  // h = 2, on the radius: 2 / (4 + 2 - 4) = 1
    expect(5, 0, 2, 1);  // past it
    expect(0, 0, 2, 0);
    shader->fogRadius = 0;
    expect(0, 0, 2, 0);
    light.parent = nullptr;
    expect(4, 0, 2, 0);
}

TEST_F(PointLight, ProfilesScaleTheIntensity) {
    shader->lightProfile = 33;
    renderer().lighting.profile = [&](miState* called, miTag profile, miBoolean relative) {
        EXPECT_EQ(called, &light);
        EXPECT_EQ(profile, 33u);
        EXPECT_EQ(relative, miTRUE);
        return 0.25f;
    };
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.25f, 0.25f, 0.25f, 1);
}

TEST_F(PointLight, FlatShapesShineToTheSideOfTheirNormal) {
    // The light hangs above the point. x cross z points down, z cross x points up.
    const miVector x = {1, 0, 0}, up = {0, 1, 0}, z = {0, 0, 1}, down = {0, -1, 0};
    const auto expect = [&](bool lit) {
        light.type = miRAY_LIGHT;
        light.dir = down;
        EXPECT_EQ(call(), lit ? miTRUE : miFALSE);
        EXPECT_EQ(result.r, lit ? 1 : 0);
        // A ray that looks up at it sees the same side; looking down it sees the other one.
        look(up);
        EXPECT_EQ(call(), miTRUE);
        EXPECT_COLOR(result, lit, lit, lit, 1);
        look(down);
        EXPECT_EQ(call(), miTRUE);
        EXPECT_COLOR(result, !lit, !lit, !lit, 1);
    };
    answerArea(miLIGHT_RECTANGLE, x, z), expect(true);
    answerArea(miLIGHT_RECTANGLE, z, x), expect(false);
    answerArea(miLIGHT_DISC, down, {}), expect(true);
    answerArea(miLIGHT_DISC, up, {}), expect(false);
    // The normal is of the light's space: half a turn about z.
    renderer().spaces.light = twin::Matrix::scale(-1, -1, 1);
    expect(true);

    // Other shapes, and a rectangle that is none, shine everywhere.
    for (const miLight_area area : {miLIGHT_SPHERE, miLIGHT_NONE, miLIGHT_RECTANGLE}) {
        answerArea(area, x, x);
        for (const miVector& dir : {up, down}) {
            light.type = miRAY_LIGHT;
            light.dir = dir;
            EXPECT_EQ(call(), miTRUE);
            EXPECT_EQ(result.r, 1);
        }
    }
}

}  // namespace
