/* The light shaders: what each sends to a point, and what they tell the material. */
#include <array>
#include <cmath>
#include <limits>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::Block;
using twin::renderer;
using twin::text;
using twin::vector;

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN();
constexpr miScalar kInfinity = std::numeric_limits<miScalar>::infinity();

bool isFinite(const miColor& c) { return std::isfinite(c.r + c.g + c.b + c.a); }

template <std::size_t N>
using Row = std::array<double, N>;

class Lights : public LightShaderTest {
protected:
    /* The light's space is twice as large as the world, its x, y and z are the world's y, z and x, and (1, 2, 3) is its
     * origin. */
    static miVector fromLight(const miVector& p) { return {1 + 2 * p.z, 2 + 2 * p.x, 3 + 2 * p.y}; }
    void placeAt(const miVector& inLight) {
        place({1, 2, 3}, fromLight(inLight));
        const miMatrix toLight = {0, 0, .5f, 0, .5f, 0, 0, 0, 0, .5f, 0, 0, -1, -1.5f, -.5f, 1};
        std::memcpy(renderer().spaces.light.m, toLight, sizeof toLight);
    }
    miBoolean callNew(Block& shader) {
        shader.init(&light);
        const miBoolean lit = call(shader);
        shader.exit(&light);
        return lit;
    }
    void answerArea(miLight_area area, const miVector& u, const miVector& v = {}, miScalar radius = 1) {
        renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(area));
        for (const miQ_type code : {miQ_LIGHT_AREA_R_EDGE_U, miQ_LIGHT_AREA_D_NORMAL, miQ_LIGHT_AREA_C_AXIS})
            renderer().queries.answer(code, u);
        renderer().queries.answer(miQ_LIGHT_AREA_R_EDGE_V, v);
        for (const miQ_type code : {miQ_LIGHT_AREA_D_RADIUS, miQ_LIGHT_AREA_S_RADIUS, miQ_LIGHT_AREA_C_RADIUS})
            renderer().queries.answer(code, radius);
    }
};

/* Ambient light by 1 + shade x (cosine - 1). Rectangles by the cross product of their edges: of z and x it points up,
 * from the point, in a space that is turned by half down; of x and x nowhere. */
TEST_F(Lights, OfAmbientKindAndOfAreasHaveASide) {
    const Row<3> sides[] = {{0, -1, 1}, {1, .25, .25}, {1, -.5, 0}, {.5, .5, .75}, {.5, -1, 0}, {kNaN, .5, 0}};
    for (const auto& [shade, cosine, share] : sides)
        for (const bool flips : {false, true}) {
            Block shader("lumoVexaAmbientLight", "intensity 2");
            shader.at("ambientShade") = static_cast<miScalar>(shade);
            data().flips = flips;
            light.dot_nd = static_cast<miScalar>(flips ? -cosine : cosine);
            EXPECT_EQ(call(shader), miTRUE);
            EXPECT_FLOAT_EQ(result.r, static_cast<miScalar>(2 * share));
        }
    const Row<3> turns[] = {{3, 1, 0}, {3, -1, 1}, {0, 1, 1}};
    for (const char* kind : {"Point", "Area"})
        for (const auto& [edge, turn, lit] : turns) {
            Block shader(text("lumoVexa", kind, "Light"));
            place({0, 3, -5}, {0, 0, -5});
            renderer().spaces.light.m[0] = renderer().spaces.light.m[5] = static_cast<miScalar>(turn);
            answerArea(miLIGHT_RECTANGLE, vector(edge > 0 ? 0 : 2, 0, edge), {2, 0, 0});
            EXPECT_EQ(callNew(shader) == miTRUE, lit > 0) << kind << edge << turn;
        }
    // The piece of a shape by its normal: on one side or two, and evenly when a ray looks up at it.
    const Row<4> pieces[] = {{0, -3, 4, .6}, {0, 1, 0, 0}, {0, 0, 0, 1}, {1, 0, 0, 0}};
    for (const auto& [x, y, z, share] : pieces)
        for (const bool twoSided : {false, true}) {
            Block shader("lumoVexaShapeLight", text("decayRate 0, twoSided ", twoSided ? "on" : "off"));
            renderer().queries.answer(miQ_LIGHT_NORMAL, vector(x, y, z));
            const double expected = twoSided && y > 0 ? 1 : share;
            place({0, 3, -5}, {0, 0, -5});
            EXPECT_EQ(call(shader) == miTRUE, expected > 0);
            EXPECT_FLOAT_EQ(result.r, static_cast<miScalar>(expected));
            light.type = miRAY_EYE;
            light.dir = {0, 1, 0};
            EXPECT_EQ(call(shader), miTRUE);
            EXPECT_EQ(result.r, expected > 0);
        }
}

TEST_F(Lights, TellTheMaterialAboutTheSample) {
    for (const char* kind : {"Point", "Spot", "Area", "Volume", "Shape", "Directional", "Default", "Ambient"}) {
        SCOPED_TRACE(kind);
        const bool isDistant = kind[0] == 'D', isAmbient = kind[1] == 'm', hasProfile = !isDistant && !isAmbient;
        Block shader(text("lumoVexa", kind, "Light"),
                     "color .8 .6 .4 .5, shadowColor .1 .2 .3 .25, useRayTraceShadows on, shadowRays 4");
        const auto emit = [&](bool diffuse, bool specular) {
            if (isAmbient) return;
            shader.at<miBoolean>("emitDiffuse") = diffuse, shader.at<miBoolean>("emitSpecular") = specular;
        };
        const auto expectEmitted = [&](bool diffuse, bool specular) {
            EXPECT_EQ(data().ambient, isAmbient);
            EXPECT_EQ(data().diffuse, diffuse && !isAmbient);
            EXPECT_EQ(data().specular, specular && !isAmbient);
            EXPECT_EQ(data().corners, nullptr);
            EXPECT_EQ(data().flips, 7);
        };
        emit(true, false);
        shader.at(isDistant ? "lightAngle" : "lightRadius") = .2f;
        shader.at("intensity") = hasProfile ? 2 : 1;
        if (kind[0] == 'V') shader.at("volumeFalloff") = 0;
        if (isAmbient) shader.at("ambientShade") = 0;
        if (hasProfile) shader.at<miTag>("lightProfile") = 33;
        renderer().lighting.profile = [&](miState* called, miTag profile, miBoolean relative) {
            return called == &light && profile == 33 && relative ? .5f : 9;
        };
        setEntries({kShadowed, kShadowed | kInverted});
        data() = {7, 7, 7, 7, {7, 7, 7, 7}, this, 7, 0};
        placeAt({0, 0, -.5f});
        light.normal = {.6f, 0, .8f};
        const miVector straight = light.dir;
        int softRays = 0;
        renderer().tracing.shadow = [&](miColor* color, miState* called) {
            softRays += twin::apart(called->dir, straight) > 0 && twin::apart(called->dir, straight) < .5;
            *color = {.2f, 1, 0, 1};
            occlude(*color, called);
            return miTRUE;
        };
        EXPECT_EQ(callNew(shader), miTRUE);
        EXPECT_EQ(softRays, 4);
        // .2 x .8 + .8 x .1 = .24, the green of the light, the blue of the shadow: 1 - 1.2 / 3 = .6 is blocked.
        EXPECT_COLOR(result, .24f, .6f, .3f, .5f);
        EXPECT_COLOR(data().color, .8f, .6f, .4f, .5f);
        EXPECT_FLOAT_EQ(data().blocked, .6f);
        EXPECT_COLOR(entries[0].lightValue, .24f, .6f, .3f, 1);
        EXPECT_NEAR(entries[1].lightValue.r, .56, 1e-6);  // .8 - .24
        EXPECT_NEAR(entries[1].lightValue.b, .1, 1e-6);
        EXPECT_EQ(entries[0].flags, kShadowed | kContributes);
        expectEmitted(true, false);
        // Ambient light has no direction that the material gets.
        EXPECT_NEAR(twin::apart(light.dir, isAmbient ? miVector{0, 0, -1} : straight), 0, 1e-6);
        EXPECT_FLOAT_EQ(light.dot_nd, isAmbient ? -.8f : -straight.y);

        light.dir = straight;
        shader.at<miBoolean>("useRayTraceShadows") = 0;
        emit(false, true);
        EXPECT_EQ(callNew(shader), miTRUE);
        EXPECT_COLOR(entries[0].lightValue, .8f, .6f, .4f, 1);
        EXPECT_COLOR(entries[1].lightValue, 0, 0, 0, 1);
        EXPECT_EQ(data().blocked, 0);
        expectEmitted(false, true);

        // A ray that looks at it sees something opaque, and leaves the sample alone.
        if (hasProfile) shader.at<miTag>("lightProfile") = 0;
        shader.at("intensity") = 1;
        data() = {7, 7, 7, 7, {7, 7, 7, 7}, this, 7, 7};
        std::memset(record + 24, 0x11, 48);
        light.type = miRAY_EYE;
        light.dir = {-straight.x, -straight.y, -straight.z};
        EXPECT_EQ(callNew(shader), miTRUE);
        EXPECT_COLOR(result, .8f, .6f, .4f, 1);
        EXPECT_EQ(data().ambient, 7);
        EXPECT_EQ(data().blocked, 7);
        EXPECT_EQ(data().corners, this);
        EXPECT_COLOR(recordColor(24), 0, 0, 0, 0);
        EXPECT_COLOR(recordColor(28), 1, 1, 1, 1);
        EXPECT_COLOR(recordColor(32), 0, 0, 0, 0);

        // Behind a cone there is nothing to be seen.
        light.dir = straight;
        callNew(shader);
        EXPECT_FLOAT_EQ(result.r, kind[1] == 'p' ? 0 : .8f);
        light.type = miRAY_LIGHT;
        light.dir = {-straight.x, -straight.y, -straight.z};
        EXPECT_EQ(callNew(shader), kind[1] != 'p');
    }
    // The default light yields to any other that the material has.
    for (const int others : {2, 1}) {
        renderer().lighting.exclusiveLights = [=](int* n, miTag**, miState*) { return *n = others, miTRUE; };
        Block shader("lumoVexaDefaultLight");
        EXPECT_EQ(call(shader), others < 2 ? miTRUE : miFALSE);
    }
}

TEST_F(Lights, OfDirectionalKindMayBeLimitedToWhatLiesBeforeThem) {
    // The light's own position, in its own space: half a unit from where that is placed, at (0, 3, -5).
    renderer().queries.answer(miQ_LIGHT_ORIGIN, miVector{0, .5f, 0});
    Block shader("lumoVexaDirectionalLight");
    const auto lit = [&](miScalar height) {
        light.point = {7, height, 7};
        return call(shader) == miTRUE;
    };
    EXPECT_TRUE(lit(100));
    shader.at<miInteger>("useLightPosition") = 1;
    EXPECT_TRUE(lit(3.5f)) << "in its plane";
    EXPECT_FALSE(lit(3.6f));
    renderer().queries.refuse(miQ_LIGHT_ORIGIN);
    EXPECT_FALSE(lit(3.4f)) << "a light without a position has that of its space";
    EXPECT_TRUE(lit(2.9f));
}

/* In the record, so that they outlive the call, and the same way round where the space mirrors: c - u - v, c - u + v, c
 * + u + v, c + u - v, of half the edges. Without a shape it is the square from -1 to 1 that looks along -z. The shape
 * is read once, but at each call where another light shares the shader, or when nobody knew whose it is. */
TEST_F(Lights, OfARectangleLeaveItsCorners) {
    using Corners = std::array<miVector, 4>;
    const Corners turned = {{{.5f, 0, -2}, {-1.5f, 0, -2}, {-1.5f, 0, 2}, {.5f, 0, 2}}},
                  square = {{{-2, 2, 0}, {-2, -2, 0}, {2, -2, 0}, {2, 2, 0}}};
    const auto expect = [&](Block& shader, const Corners& corners) {
        EXPECT_EQ(call(shader), miTRUE);
        ASSERT_EQ(data().corners, record + 36);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(twin::apart(static_cast<const miVector*>(data().corners)[i], corners[i]), 0, 1e-6) << i;
    };
    Block own("lumoVexaAreaLight"), early("lumoVexaAreaLight");
    answerArea(miLIGHT_RECTANGLE, {2, 0, 0}, {0, 0, 4});
    renderer().queries.answer(miQ_LIGHT_ORIGIN, miVector{.5f, 0, 0});
    own.init(&light);
    renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_NONE));
    place({0, 3, 1}, {.1f, 1, -2});
    renderer().spaces.light = twin::Matrix::scale(-1, 1, 1);
    expect(own, turned);
    renderer().spaces.light = twin::Matrix::scale(.5f, .5f, .5f);
    light.light_instance = renderer().database.addInstance(miNULLTAG);
    expect(own, square);
    light.light_instance = miNULLTAG;
    early.init(&light);
    expect(early, square);
    answerArea(miLIGHT_OBJECT, {});
    for (int i = 0; i < 3; ++i) EXPECT_EQ(call(early), miTRUE);
    EXPECT_EQ(renderer().messageCount("warning", "vexa_arealight(): Cannot access shape data!"), 1);
    answerArea(miLIGHT_SPHERE, {});
    EXPECT_EQ(call(early), miTRUE);
    EXPECT_EQ(data().corners, nullptr) << "others light from where they are sampled";
    own.exit(&light), early.exit(&light);
}

/* Around the light: longitude and latitude, 0 to 1; of parallel light and of volumes the point; of cones its slide,
 * with a tangent of 2: (1 / (2 x -4) + 1) / 2. A tangent or z of 0 counts as 1; the seam at z = 0 is the front's. */
TEST_F(Lights, GiveTexturesAPlaceInTheirSpace) {
    const struct {
        const char* kind;
        miVector at;
        double u, v;
    } rows[] = {{"Point", {2, 0, 2}, .625, .5},         {"Area", {-2, 0, -2}, .125, .5},
                {"Shape", {0, 2, 2}, .5, .75},          {"Ambient", {0, -2, 2}, .5, .25},
                {"Point", {3, 0, .5e-5f}, .5, .5},      {"Point", {0, 4, 0}, .5, .5},
                {"Volume", {.5f, .25f, -.7f}, .5, .25}, {"Directional", {.5f, .25f, -3}, .5, .25},
                {"Spot", {1, 2, -4}, .4375, .375},      {"Spot", {.5f, .25f, 0}, .75, .625}};
    for (const auto& [kind, at, u, v] : rows)
        for (const bool hasList : {true, false}) {
            SCOPED_TRACE(text(kind, at.x));
            Block shader(text("lumoVexa", kind, "Light"),
                         kind[1] == 'p' ? text("coneAngle ", at.z != 0 ? 2.2142974 : 6.2831853) : "");
            miVector coordinates[1] = {{5, 6, 7}}, seen = {};
            miColor textured = {.25f, .5f, 1, 1};
            shader.connect("color", [&](miState* called) {
                seen = called->tex_list[0];
                return static_cast<void*>(&textured);
            });
            placeAt(at);
            light.tex_list = hasList ? coordinates : nullptr;
            callNew(shader);
            EXPECT_NEAR(std::hypot(seen.x - u, seen.y - v, seen.z - at.z), 0, 1e-6);
            EXPECT_NEAR(twin::apart(coordinates[0], {5, 6, 7}), 0, 0);
            EXPECT_EQ(light.tex_list, hasList ? coordinates : nullptr);
        }
}

/* Outward from the middle, inward from the boundary, or along the axis: from where the light comes in its own space. In
 * the cone at depth (.3 + .1) / .5 = .8. */
TEST_F(Lights, OfVolumesHaveADirection) {
    const Row<8> rows[] = {
        {0, 0, 0, -.5, .2, 0, 0, 0},     {0, 1, 0, -.3, .4, 0, -.6, .8},  {1, 1, 0, .6, .8, 0, .75, 1},
        {3, 1, .3, 0, .2, .375, 0, .25}, {0, 2, .6, 0, 0, .6, 0, .8},     {1, 2, .6, 0, -.5, .6, 0, 1},
        {2, 2, .6, 0, -.5, .6, 0, 1},    {3, 2, .25, 0, -.5, .25, 0, .5}, {0, 1, 0, 0, 0, 0, 0, 0}};
    for (const auto& [shape, direction, x, y, z, fromX, fromY, fromZ] : rows) {
        SCOPED_TRACE(text(shape, " ", direction));
        Block shader("lumoVexaVolumeLight", text("volumeFalloff 0, useRayTraceShadows on, volumeShape ", shape,
                                                 ", volumeDirection ", direction));
        placeAt(vector(x, y, z));
        const miVector from = fromLight(vector(fromX, fromY, fromZ)), to = light.point;
        renderer().tracing.shadow = [&](miColor*, miState* called) {
            EXPECT_NEAR(twin::apart(called->org, from), 0, 1e-5);
            EXPECT_NEAR(called->dist, twin::apart(from, to), 1e-5);
            return miTRUE;
        };
        EXPECT_EQ(call(shader), miTRUE);
        if (x == 0 && y == 0) continue;  // in the very middle there is no way
        const miVector& d = light.dir;
        EXPECT_NEAR(
            twin::apart(vector(from.x + light.dist * d.x, from.y + light.dist * d.y, from.z + light.dist * d.z), to), 0,
            1e-5);
        EXPECT_NEAR(light.dot_nd, -d.y, 1e-6) << "of the normal (0, 1, 0)";
    }
}

TEST_F(Lights, StayFiniteWhateverTheirNumbers) {
    setEntries({kShadowed});
    renderer().tracing.shadow = [](miColor*, miState* called) { return called->dir.x > .1f ? miTRUE : miFALSE; };
    const char* const numbers[][2] = {
        {"Point", "fogRadius"}, {"Directional", "lightAngle"}, {"Ambient", "ambientShade"},
        {"Spot", "coneAngle"},  {"Spot", "penumbraAngle"},     {"Spot", "dropoff"},
        {"Spot", "fogSpread"},  {"Volume", "volumeFalloff"},   {"Volume", "tipRadius"},
        {"Area", "intensity"},  {"Shape", "lightRadius"}};
    const miLight_area areas[] = {miLIGHT_NONE, miLIGHT_RECTANGLE, miLIGHT_DISC, miLIGHT_SPHERE, miLIGHT_CYLINDER};
    for (const miScalar number : {kNaN, kInfinity, -kInfinity, 1e30f, 1e-30f, 0.0f, -1.0f})
        for (const auto& [kind, name] : numbers)
            for (miInteger i = 0; i < 60; ++i) {
                SCOPED_TRACE(text(kind, " ", name, " ", number, " ", i));
                Block shader(text("lumoVexa", kind, "Light"), "useRayTraceShadows on, shadowRays 8");
                const miVector u = {number, i % 3 ? number : 0, i % 3 == 1 ? 0 : number};
                if (i < 20) shader.at(name) = number;
                if (i == 25) shader.at<miColor>("color").r = shader.at<miColor>("shadowColor").g = number;
                if (kind[0] == 'V')
                    shader.at<miInteger>("volumeShape") = i % 4, shader.at<miInteger>("volumeDirection") = i % 3;
                record[6] = i % 2;
                placeAt(i > 55 ? u : miVector{.5f, 0, .5f});
                if (i > 9) answerArea(areas[i % 5], i > 30 ? u : miVector{0, 0, 1}, {0, 1, 0}, number);
                if (i > 40) renderer().spaces.light = twin::Matrix::scale(number, 0, number);
                renderer().queries.answer(miQ_LIGHT_NORMAL, u);
                const bool isSound = std::isfinite(light.dot_nd);
                callNew(shader);
                EXPECT_TRUE(isFinite(result) && isFinite(entries[0].lightValue));
                EXPECT_TRUE(std::isfinite(light.dot_nd) || !isSound);
            }
}

}  // namespace
