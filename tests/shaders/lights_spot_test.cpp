/* The spot light: cone, soft edge, barn doors, regions, fog. Numbers are worked by hand from tables of cosines. */
#include <limits>

#include "lights_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

/* At the origin, its space is the internal one: it looks down -z. */
class SpotLight : public LightShaderTest {
protected:
    miBoolean call() { return LightShaderTest::call("lumoVexaSpotLight", shader); }

    /* The share of the light that leaves at this angle from the axis, on all sides; 0 where it is told that there is
     * none. */
    double share(double degrees, double dist = 1) {
        double first = -1;
        for (const double side : {0.0, 100.0, 250.0}) {
            const double sine = std::sin(degrees * kDegree) * dist, cosine = std::cos(degrees * kDegree) * dist;
            place({0, 0, 0}, {static_cast<miScalar>(sine * std::cos(side * kDegree)),
                              static_cast<miScalar>(sine * std::sin(side * kDegree)), static_cast<miScalar>(-cosine)});
            const bool lit = call() == miTRUE;
            EXPECT_EQ(lit, result.r != 0) << degrees;
            if (first >= 0) {
                EXPECT_NEAR(result.r, first, 1e-4) << degrees;
            }
            first = static_cast<double>(result.r);
        }
        return first;
    }

    twin::ShaderInstance<SpotParameters> shader;
};

TEST_F(SpotLight, FallsFromTheAxisAsConePenumbraAndDropoffSay) {
    // cos 20, 25, 30, 35, 40 = .9396926, .9063078, .8660254, .8191520, .7660444
    const struct {
        double cone, penumbra, dropoff, angle, expected;
    } cases[] = {
        {60, 0, 0, 0, 1},
        {60, 0, 0, 29.9, 1},
        {60, 0, 0, 30.1, 0},
        {60, 10, 0, 29.9, 1},
        {60, 10, 0, 35, .5311769},  // (.8191520 - .7660444) / (.8660254 - .7660444)
        {60, 10, 0, 40.1, 0},
        {60, -10, 0, 19.9, 1},
        {60, -10, 0, 25, .5468159},  // (.9063078 - .8660254) / (.9396926 - .8660254)
        {60, -10, 0, 30.1, 0},
        {160, 0, 2, 60, .25},
        {160, 0, .5, 60, .7071068},
        {160, 0, -1, 60, 2},
        {60, -10, 8, 25, .2489233},  // .5468159 x .9063078^8, which is .4552236
        {0, 0, 0, 0.1, 0},
        {0, 60, 0, 30, .7320508},  // all penumbra: (.8660254 - .5) / (1 - .5)
        // Past the horizon a cone without penumbra fades, -.1736482 of 0 to -.5; with a dropoff there is nothing.
        {240, 0, 0, 89.9, 1},
        {240, 0, 0, 100, .6527036},
        {240, 0, 0.5, 100, 0},
        {240, 10, 0, 100, 1},
        {240, 10, 0, 130.1, 0},
    };
    for (const auto& c : cases) {
        shader->coneAngle = static_cast<miScalar>(c.cone * kDegree);
        shader->penumbraAngle = static_cast<miScalar>(c.penumbra * kDegree);
        shader->dropoff = static_cast<miScalar>(c.dropoff);
        EXPECT_NEAR(share(c.angle), c.expected, 1e-4)
            << c.cone << " " << c.penumbra << " " << c.dropoff << " " << c.angle;
    }
}

TEST_F(SpotLight, FollowsItsSpace) {
    // Turned to look down: down in the world is -z of the light, toward the eye is up. Twice as large, too.
    const auto look = [&](const miVector& point) {
        place({0, 3, -5}, point);
        renderer().spaces.light.m[0] = renderer().spaces.light.m[6] = 0.5f, renderer().spaces.light.m[9] = -0.5f;
        renderer().spaces.light.m[5] = renderer().spaces.light.m[10] = 0;
        renderer().spaces.light.m[12] = 0, renderer().spaces.light.m[13] = -2.5f, renderer().spaces.light.m[14] = -1.5f;
        return call() == miTRUE;
    };
    shader->coneAngle = static_cast<miScalar>(60 * kDegree);  // 3 x tan 30 = 1.732
    EXPECT_TRUE(look({0, 0, -5}));
    EXPECT_TRUE(look({1.7f, 0, -5}));
    EXPECT_FALSE(look({1.75f, 0, -5}));
    shader->barnDoors = 1;
    shader->leftBarnDoor = shader->rightBarnDoor = shader->bottomBarnDoor = 1;  // and the top one along the axis
    EXPECT_TRUE(look({0, 0, -4.5f}));
    EXPECT_FALSE(look({0, 0, -5.5f}));
}

TEST_F(SpotLight, BarnDoorsCutTheConeOff) {
    shader->coneAngle = 3;
    shader->leftBarnDoor = 0.1f, shader->rightBarnDoor = 0.2f;
    shader->bottomBarnDoor = 0.3f, shader->topBarnDoor = 0.4f;
    const auto expect = [&](double right, double up, bool lit) {
        place({0, 0, 0}, {static_cast<miScalar>(std::tan(right)), static_cast<miScalar>(std::tan(up)), -1});
        EXPECT_EQ(call(), lit ? miTRUE : miFALSE) << right << " " << up;
        EXPECT_EQ(result.r, lit ? 1 : 0);
    };
    expect(-0.9, 0.9, true);
    shader->barnDoors = 1;
    for (const double up : {-0.29, 0.0, 0.39}) {
        expect(-0.11, up, false), expect(-0.09, up, true), expect(0.19, up, true), expect(0.21, up, false);
    }
    for (const double right : {-0.09, 0.0, 0.19}) {
        expect(right, -0.31, false), expect(right, -0.29, true), expect(right, 0.39, true), expect(right, 0.41, false);
    }
    shader->leftBarnDoor = -0.05f;  // swung past the axis
    expect(0, 0, false), expect(0.06, 0, true);
    shader->leftBarnDoor = std::nanf("");
    expect(0.06, 0, false);
}

TEST_F(SpotLight, ShinesInItsRegionsOnly) {
    shader->startDistance1 = 1, shader->endDistance1 = 2;
    shader->startDistance2 = 4, shader->endDistance2 = 3;  // none
    shader->startDistance3 = 5, shader->endDistance3 = 8;
    shader->common.decayRate = 1;
    const double distances[] = {0.5, 1.01, 1.99, 2.01, 3.5, 4.99, 5.01, 7.99, 8.01};
    for (const bool on : {false, true}) {
        shader->decayRegions = on;
        for (const double dist : distances)
            for (const double angle : {0.0, 20.0}) {
                const bool lit = !on || (dist > 1 && dist < 2) || (dist > 5 && dist < 8);
                EXPECT_NEAR(share(angle, dist), lit ? 1 / std::fmax(dist, 1) : 0, 1e-4) << dist;
            }
    }
}

TEST_F(SpotLight, FogFillsTheCone) {
    record[6] = 1;
    state->dist = 2;
    shader->coneAngle = static_cast<miScalar>(60 * kDegree);
    shader->penumbraAngle = static_cast<miScalar>(20 * kDegree);
    shader->common.fogRadius = 2, shader->common.fogIntensity = 3, shader->common.intensity = 5;
    shader->common.decayRate = 2;
    // On the axis as of a point light: h = 1, (1 / (4 + 2 - 1))^2 x 15 = .6. At 20 degrees the cone is filled to
    // (.9396926 - .8660254) / (1 - .8660254) = .5498597, to the power of 1 / spread. None in the outer penumbra.
    const struct {
        miScalar spread;
        double angle, expected;
    } cases[] = {{1, 0, .6},
                 {1, 20, .6 * .5498597},
                 {2, 20, .6 * .7415253},
                 {0.5f, 20, .6 * .3023457},
                 {1e6f, 20, .6},
                 {1, 31, 0},
                 {0, 20, 0},
                 {-1, 20, 0},
                 {std::nanf(""), 20, 0}};
    for (const auto& c : cases) {
        shader->fogSpread = c.spread;
        EXPECT_NEAR(share(c.angle), c.expected, 1e-4) << c.spread << " at " << c.angle;
    }
}

TEST_F(SpotLight, SharesTheRestWithThePointLight) {
    setEntries({kShadowed, kShadowed | kInverted});
    publish();
    shader->common.color = {0.8f, 0.6f, 0.4f, 0.5f};
    shader->common.intensity = 4, shader->common.decayRate = 1, shader->common.lightProfile = 33;
    shader->common.emitSpecular = 0, shader->common.useRayTraceShadows = 1;
    renderer().lighting.profile = [](miState*, miTag profile, miBoolean) { return profile == 33 ? 0.5f : 9; };
    occlude({0.25f, 0.5f, 1, 1});
    place({0, 0, 0}, {0, 0, -2});
    EXPECT_EQ(call(), miTRUE);
    // 4 / 2 x .5 = 1, so the color itself; a quarter and a half of it in the shadow.
    EXPECT_COLOR(data().color, 0.8f, 0.6f, 0.4f, 0.5f);
    EXPECT_COLOR(result, 0.2f, 0.3f, 0.4f, 0.5f);
    EXPECT_COLOR(published(0).lightValue, 0.2f, 0.3f, 0.4f, 1);
    EXPECT_NEAR(published(1).lightValue.r, 0.6, 1e-6);
    EXPECT_FLOAT_EQ(data().blocked, 1 - 1.75f / 3);
    EXPECT_EQ(data().diffuse, 1);
    EXPECT_EQ(data().specular, 0);

    // Seen by a ray that looks into it, and from behind.
    light.type = miRAY_EYE;
    light.dir = {0, 0, 1};
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.8f, 0.6f, 0.4f, 1);
    light.dir = {0, 0, -1};
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0, 0, 0, 1);
    EXPECT_COLOR(recordColor(28), 1, 1, 1, 1);
}

TEST_F(SpotLight, ProjectsSlides) {
    miVector coordinates[1] = {{5, 6, 7}}, seen = {};
    miColor white = {1, 1, 1, 1};
    shader.connect(&shader->common.color, [&](miState* called) {
        seen = called->tex_list[0];
        return static_cast<void*>(&white);
    });
    light.tex_list = coordinates;
    const auto expect = [&](double cone, const miVector& point, double u, double v) {
        shader->coneAngle = static_cast<miScalar>(cone);
        place({0, 0, 0}, point);
        EXPECT_EQ(call(), miTRUE);
        EXPECT_NEAR(seen.x, u, 1e-6);
        EXPECT_NEAR(seen.y, v, 1e-6);
        EXPECT_EQ(seen.z, point.z);
    };
    expect(90 * kDegree, {0, 0, -3}, 0.5, 0.5);
    expect(90 * kDegree, {1, 2, -4}, 0.375, 0.25);          // (1 / -4 + 1) / 2
    expect(2 * std::atan(2.0), {1, 2, -4}, 0.4375, 0.375);  // (1 / (2 x -4) + 1) / 2
    expect(360 * kDegree, {1, 2, -4}, 0.375, 0.25);         // a tangent of 0 counts as 1
    expect(360 * kDegree, {0.5f, 0.25f, 0}, 0.75, 0.625);   // and so does a z of 0
    EXPECT_EQ(coordinates[0].x, 5);
}

TEST_F(SpotLight, SurvivesAnyParameters) {
    const miScalar inf = std::numeric_limits<miScalar>::infinity();
    setEntries({kShadowed});
    publish();
    renderer().tracing.shadow = [](miColor*, miState*) { return miFALSE; };
    for (const miScalar number : {std::nanf(""), inf, -inf, 1e30f, -1e30f, 0.0f, -1.0f})
        for (int which = 0; which < 9; ++which)
            for (const miUint fog : {0u, 1u}) {
                record[6] = fog;
                shader->coneAngle = which == 0 ? number : 1;
                shader->penumbraAngle = which == 1 ? number : 0.1f;
                shader->dropoff = which == 2 ? number : 1;
                shader->fogSpread = which == 3 ? number : 1;
                shader->common.intensity = which == 4 ? number : 1;
                shader->common.color = {which == 5 ? number : 1, 1, 1, 1};
                shader->common.shadowColor = {which == 6 ? number : 1, 1, 1, 1};
                shader->common.fogRadius = shader->common.lightRadius = which == 7 ? number : 1;
                shader->common.useRayTraceShadows = 1;
                renderer().spaces.light = which == 8 ? twin::Matrix::scale(number, 0, number) : twin::Matrix();
                call();
                EXPECT_TRUE(isFinite(result)) << which << " " << number;
                EXPECT_TRUE(isFinite(published(0).lightValue)) << which << " " << number;
            }
}

}  // namespace
