/* Highlights and mirrors of the materials, ramps in place of colors, and the media that refracted rays travel in. */
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "surface_scene.h"

namespace {

using twin::Block;
using twin::renderer;
using twin::text;

const char* const kMaterials[] = {"Phong", "Blinn", "PhongE", "Anisotropic", "HairTubeShader"};
constexpr miVector kNormal = {0, 0, 1};
/* Pairs at three angles to each other. */
constexpr miVector kLights[] = {{.48f, .36f, .8f}, {-.2f, .9f, .3872983f}, {.6f, .64f, .48f}},
                   kViews[] = {{-.36f, .48f, .8f}, {.6f, -.64f, .48f}, {-.48f, -.6f, .64f}};

class Gloss : public SurfaceTest {
protected:
    Gloss() {
        facingTest = false;
        addLight();
        stage.options.trace = miFALSE;
    }
    /* The highlight of a material, of which red is 1. */
    miScalar shine(const std::string& material, const std::string& own, const miVector& light, const miVector& view) {
        lookFrom(view);
        lights[0].direction = light;
        return shade(material, "diffuse 0, specularColor 1 .5 .25 2, " + own).term6.r;
    }
};

/* In double precision, with R the mirrored view and H half way: Phong max((R L)^p, 4.54e-5). Blinn (e^2 / (1 - (1 -
 * e^2) (N H)^2))^2 min(1, 2 (N H) min(N L, N V) / (V H)) / (N V) (f + (1 - f) (1 - V H)^3). PhongE t r / (1 - t^2 (1 -
 * r)) with t = (s - 1 + R L) / s, at N L below .1 times 10 N L. Anisotropic pi D G F / (4 N V) of facets r^2 sqrt(x /
 * y) and r^2 sqrt(y / x) wide in the grain. Tubes ((1 - x)^2 (1 + 2 x))^p for half the difference x of the cosines with
 * the tangent. */
TEST_F(Gloss, HighlightsFollowTheirModels) {
    miVector derivs[5] = {{2, 0, 0}, {.5f, 3, 0}};
    state->derivs = derivs;
    const struct {
        const char *material, *parameters;
        miScalar expected[3];
    } rows[] = {{"Phong", "cosinePower 0", {1, 1, 1}},
                {"Phong", "cosinePower 3.5", {.2097152f, .6441295f, .9290732f}},
                {"Phong", "cosinePower 20", {1.329228e-4f, .08098756f, .6567924f}},
                {"Blinn", "eccentricity .3, specularRollOff .7", {.0844471f, .1372278f, .8912697f}},
                {"Blinn", "eccentricity .7, specularRollOff .2", {.1662154f, .4094735f, .40571f}},
                {"Blinn", "eccentricity 1.5, specularRollOff .9", {1.459338f, 2.507198f, 1.439311f}},
                {"PhongE", "roughness .4, highlightSize 1", {.3394145f, .6614091f, .9222501f}},
                {"PhongE", "roughness 5, highlightSize 2", {1.111232f, 1.035934f, 1.006257f}},
                {"PhongE", "roughness .05, highlightSize .6", {.02358491f, .1037237f, .4207163f}},
                {"Anisotropic",
                 "angle 0, spreadX 4, spreadY 1, roughness .6, fresnelIndex 6",
                 {.02072301f, .1497554f, 1.071692f}},
                {"Anisotropic",
                 "angle 30, spreadX 9, spreadY 4, roughness .8, fresnelIndex 1.2",
                 {.002176969f, .02917123f, .01292396f}},
                {"Anisotropic",
                 "angle -135, spreadX 1, spreadY 3, roughness .5, fresnelIndex 3",
                 {.01927806f, .0131646f, .7311058f}}};
    const std::pair<miRay_type, std::array<miScalar, 2>> seen[] = {
        {miRAY_EYE, {.25f, 1}},   {miRAY_EYE, {-1, 1}},        {miRAY_REFLECT, {.25f, .25f}},
        {miRAY_REFRACT, {-1, 0}}, {miRAY_TRANSPARENT, {2, 2}}, {miRAY_FINALGATHER, {.5f, .5f}}};
    for (const auto& row : rows)
        for (const auto& [type, scale] : seen)
            for (int i = 0; i < 3; ++i) {
                state->type = type;
                const std::string own = text(row.parameters, ", secondarySpecularScale ", scale[0]);
                const miScalar expected = scale[1] * row.expected[i];
                EXPECT_NEAR(shine(row.material, own, kLights[i], kViews[i]), expected, 1e-4f * expected)
                    << own << " " << i;
            }
    state->type = miRAY_EYE;
    EXPECT_NEAR(shine("PhongE", "roughness .4, highlightSize 1", {.9011723f, .4305601f, .0500651f},
                      {-.9091373f, -.404061f, .1010153f}),
                .4973043, 1e-4);
    const miVector tangent = {.6f, .64f, .48f};
    const miScalar tubes[][4] = {{.5f, .9394765f, .9300792f, .4884023f}, {3, .6875678f, .647321f, .0135727f}};
    for (const auto& row : tubes)
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(library::compute_hairtubeshader_specular(row[0], kLights + i, kViews + i, &tangent), row[i + 1],
                        1e-6);
}

/* What looks like a mistake and is meant, where the table above is too coarse to see it. */
TEST_F(Gloss, HighlightsKeepTheirOddities) {
    const miVector up = kNormal, grazing = {1, 0, 1e-6f}, slant = {.6f, 0, .8f}, mirror = {-.6f, 0, .8f},
                   far = {0, 3, 4};
    lookFrom(up);
    // A highlight has a floor up to a right angle, and none behind it. Lights may be far.
    EXPECT_EQ(library::compute_phong_specular(&up, 1000, 1, &slant, state), 4.54e-5f);
    EXPECT_EQ(library::compute_phong_specular(&up, 0, 1, &grazing, state), 1);
    EXPECT_EQ(library::compute_phong_specular(&up, 20, 1, &state->dir, state), 0);
    EXPECT_FLOAT_EQ(library::compute_phong_specular(&up, 2, 1, &far, state), .64f);
    // e = 1, and just below it: D = 100001 / (nh^2 + 100000), with nh^2 = .9 for this light. Here g = 1, and F = 1.
    const double d = 100001 / 100000.9;
    for (const miScalar e : {1.0f, .999998f})
        EXPECT_NEAR(library::compute_blinn_specular(.8f, 1, &slant, e, 1, 1, &up, state), d * d, 4.8e-7) << e;
    // The middle of a highlight of next to no roughness: q is that roughness, and 0 rather than 1 is seen.
    EXPECT_EQ(shine("PhongE", "roughness 5e-6, highlightSize 1", up, up), 0);
    EXPECT_NEAR(shine("PhongE", "roughness 2e-5, highlightSize 1", up, up), 1, 5e-3);
    // Rounding must not lead past the end of the fall-off.
    const miVector beyond = {-.60000002f, 0, -.80000001f};
    EXPECT_NEAR(library::compute_hairtubeshader_specular(.5f, &slant, &beyond, &slant), 0, 1e-3);
    // The tint reaches all four channels; PhongE's has two colors; back-lit surfaces have none.
    usePasses({7, 8});
    shine("Phong", "cosinePower 0", mirror, slant);
    EXPECT_COLOR(result.term6, 1, .5f, .25f, 2);
    EXPECT_FLOAT_EQ(pass(7).b, .25f);
    EXPECT_FLOAT_EQ(pass(8).b, .25f);
    shine("PhongE", "roughness 1, highlightSize 2, whiteness .5 2 1 3", mirror, slant);
    EXPECT_COLOR(result.term6, .5f, 1, .25f, 6);
    for (const char* each : kMaterials) EXPECT_EQ(shine(each, "", {-.8f, 0, -.6f}, up), 0);
}

/* At the peak a highlight is 1 times the share head on, however narrow; rounding leads past it. PhongE's then has an end
 * before it begins. Of an area light wholly behind the surface nothing is seen, though a mirror finds its edge. */
TEST_F(Gloss, HighlightsWithoutWidthAndFromBehind) {
    const miVector above = {0, 0, 1.0000001f}, slant = {.6f, 0, .8f};
    lookFrom(kNormal);
    for (const miScalar e : {0.0f, 1e-4f, 3.5e-4f, 5e-4f})
        for (const miVector& n : {kNormal, above})
            EXPECT_NEAR(library::compute_blinn_specular(1, 1, &kNormal, e, .7f, 1, &n, state), .7f, 1e-6f) << e << n.z;
    EXPECT_EQ(library::compute_blinn_specular(.8f, 1, &slant, 0, .7f, 1, &kNormal, state), 0);
    EXPECT_EQ(shine("PhongE", "roughness .5, highlightSize 0", {-.6f, 0, .8000001f}, {.6f, 0, .8000001f}), 0);

    const miVector corners[] = {{3, 1, -4}, {1, 1, -4},  {1, -1, -4}, {3, -1, -4},
                                {3, 1, -6}, {3, -1, -6}, {1, -1, -6}, {1, 1, -6}};
    const std::string phong = "cosinePower 0, translucenceDepth 0, translucence ";
    facingTest = true;
    for (const bool emitsDiffuse : {true, false}) {
        lights[0].emitsDiffuse = emitsDiffuse;
        lights[0].corners = corners;
        EXPECT_GT(shine("Phong", phong + ".5", {.8f, 0, .6f}, {-.8f, 0, .6f}), .5f);
        lights[0].corners = corners + 4;
        EXPECT_EQ(shine("Phong", phong + ".5", {.8f, 0, -.6f}, {-.8f, 0, .6f}), 0);
        record[9] = 1;
        EXPECT_EQ(shine("Phong", phong + "0", {.8f, 0, -.6f}, {-.8f, 0, .6f}), 0);
        record[9] = 0;
    }
}

/* A tube along x, lit and seen at right angles to it, but for the shifts: tilted by s, the tangent has the cosine
 * s / sqrt(1 + s^2) with light from above and with its negative with the eye's ray. */
TEST_F(Gloss, TubesHaveTwoHighlights) {
    miVector derivs[5] = {{1, 0, 0}, {0, 1, 0}}, place[1] = {{.75f, .25f, 0}};
    state->derivs = derivs;
    state->tex_list = place;
    const auto band = [](double power, double shift) {
        const double x = shift / std::sqrt(1 + shift * shift);
        return std::pow((1 - x) * (1 - x) * (1 + 2 * x), power);
    };
    // At u = .75 the last half of the tube is half gone, what lies on it and what is mirrored alike; v = .25 is all
    // there.
    for (const int direction : {0, 1}) {
        lookFrom(kNormal);
        shade("HairTubeShader", text("color 1 1 1, diffuse 1, specularColor 1 0 0, specularPower 8, specularShift .2, "
                                     "secondSpecularColor 0 1 0, secondSpecularPower 3, secondSpecularShift .5, "
                                     "tipColor .5 1 3, tipFade .5, tubeDirection ",
                                     direction));
        const miScalar here = direction ? 1 : .5f, along = direction ? .25f : .75f;
        EXPECT_FLOAT_EQ(result.transparency.r, 1 - here);
        EXPECT_NEAR(result.term6.r, here * band(8, .2), 1e-5);
        EXPECT_NEAR(result.term6.g, here * band(3, .5), 1e-5);
        EXPECT_FLOAT_EQ(result.term3.r, 1 - .5f * along) << "towards the tip's color";
        EXPECT_FLOAT_EQ(result.term3.b, 1 + 2 * along);
    }
}

class Mirror : public SurfaceTest {
protected:
    Mirror() {
        renderer().tracing.reflection = [this](miColor* color, miState*, const miVector* dir) {
            rays.push_back(*dir);
            for (FrameBufferInfo& each : entries()) each.slots[1].color = {.4f, .2f, .1f, 1};
            child = stage.child(miRAY_REFLECT);
            child.instance = 5;
            state->child = &child;
            *color = {.8f, .4f, .2f, 1};
            return miTRUE;
        };
        lookFrom({.6f, 0, .8f});
    }
    miColor mirror(const std::string& material, const std::string& parameters) {
        rays.clear();
        return shade(material, "diffuse 0, reflectivity .5, reflectedColor 1 .5 .1 1, " + parameters).term8;
    }

    std::vector<miVector> rays; /* reflected rays */
    miState child{};
};

/* Rougher surfaces mirror less, when they are asked to: 1 - .25. A dark mirror sends no ray, one within a mirror sends
 * no bundle, and what surroundings there are for it are a picture on the reflected color. */
TEST_F(Mirror, OfEveryMaterialIsTinted) {
    usePasses({5, 19});
    for (const std::string name : kMaterials) {
        SCOPED_TRACE(name);
        clearPasses();
        EXPECT_COLOR(mirror(name, "reflectionBlur 0, reflectionRays 9"), .4f, .1f, .01f, .5f);
        EXPECT_COLOR(pass(5), .2f, .05f, .005f, 1);
        EXPECT_COLOR(pass(19), .2f + .4f, .05f + .1f, .005f + .01f, 1 + 1);
        ASSERT_EQ(rays.size(), 1u);
        EXPECT_NEAR(twin::apart(rays[0], {-.6f, 0, .8f}), 0, 1e-6);
        EXPECT_COLOR(mirror(name, "reflectedColor 9e-6 0 9e-6"), 0, 0, 0, 0);
        EXPECT_TRUE(rays.empty());
        mirror(name, "reflectionBlur .3, reflectionRays 16");
        EXPECT_EQ(rays.size(), 16u);
        for (const miVector& each : rays) EXPECT_GT(each.z, 0) << "none into the surface";
        EXPECT_FLOAT_EQ(result.term8.r, .4f) << "the mean of the rays";
        state->reflection_level = 1;
        mirror(name, "reflectionBlur .3, reflectionRays 16");
        EXPECT_EQ(rays.size(), 1u);
        Block mapped("lumoVexa" + name, "reflectivity .5, reflectionLimit 1");
        miColor map = {.25f, .5f, 1, 1};
        mapped.connect("reflectedColor", &map);
        EXPECT_COLOR(shade(mapped).term8, .125f, .25f, .5f, .5f);
        state->reflection_level = 0;
    }
    EXPECT_COLOR(mirror("Anisotropic", "roughness .25, anisotropicReflectivity on"), .6f, .15f, .015f, .75f);
}

/* With all its rays, a blurred mirror looks where a light of the same highlight would be seen: as many rays lie within
 * an angle as there is highlight within it. Facets count by the area that they show to above; those steeper than 45
 * degrees mirror down, and the surface sends their rays up again. */
TEST_F(Mirror, BlursAsItsHighlight) {
    lookFrom(kNormal);
    const auto within = [](auto highlight, double bound) {
        double part = 0, all = 0;
        for (int i = 0; i < 20000; ++i) {
            const double angle = M_PI / 2 * (i + .5) / 20000, weight = highlight(std::cos(angle)) * std::sin(angle);
            all += weight;
            part += angle < bound ? weight : 0;
        }
        return part / all;
    };
    const auto cosine20 = [](double c) { return std::pow(c, 20); };
    const auto soft = [](double c) {
        const double t = (c - .5) / .5;
        return c > .5 ? .3 * t / (1 - .7 * t * t) : 0;
    };
    const auto facets = [](double c) { return c * std::pow(.09 / (1 - .91 * c * c), 2); };
    for (const double bound : {.1, .25, .5}) {
        SCOPED_TRACE(bound);
        const auto expect = [&](const char* material, const std::string& parameters, double angle, double expected) {
            mirror(material, parameters + ", reflectionRays 1000");
            int inside = 0;
            for (const miVector& each : rays) inside += std::acos(std::min(double(each.z), 1.)) < angle;
            EXPECT_NEAR(inside / 1000., expected, .004) << material;
        };
        expect("Phong", "reflectionBlur 1, cosinePower 20", bound, within(cosine20, bound));
        expect("Phong", "reflectionBlur .5, cosinePower 20", bound / 2, within(cosine20, bound));
        expect("PhongE", "reflectionBlur 1, roughness .3, highlightSize .5", bound, within(soft, bound));
        expect("Blinn", "reflectionBlur 1, eccentricity .3", 2 * bound,
               within(facets, bound) + 1 - within(facets, M_PI / 2 - bound));
        expect("HairTubeShader", "reflectionBlur .5", bound, std::min(1., std::pow(std::tan(bound) / .5, 2)));
    }
    // Slopes of the brushed surface, .04 x 2 wide along x and .04 / 2 along y: half of them are within that ellipse.
    miVector derivs[5] = {{1, 0, 0}, {0, 1, 0}};
    state->derivs = derivs;
    mirror("Anisotropic", "reflectionBlur 1, roughness .2, reflectionRays 1000");
    int inside = 0;
    for (const miVector& r : rays) inside += std::hypot(r.x / .08, r.y / .02) / (1 + r.z) < 1;
    EXPECT_NEAR(inside / 1000., .5, .004);
}

/* A bump tilts everything that the surface does, and leaves the state as it was. 2 (n . v) n - v = 1.6 n - v for n =
 * (.6 0 .8): the mirrored ray, and the highlight of power 1 for light from above. */
TEST_F(Mirror, OfABumpTurnsWithIt) {
    lookFrom(kNormal);
    addLight();
    miVector gathered{}, refracted{}, bump = {.6f, 0, .8f};
    renderer().tracing.refraction = [&](miColor*, miState*, const miVector* dir) { return refracted = *dir, 1; };
    renderer().lighting.averageRadiance = [&](miColor*, miState* at, miUchar, miIrrad_options*) {
        return gathered = at->normal, miTRUE;
    };
    stage.options.finalgather = 1;
    Block shader("lumoVexaPhong",
                 "color 1 1 1, diffuse 1, reflectivity .5, specularColor 1 1 1, cosinePower 1, "
                 "refractions on, transparency .5 .5 .5");
    shader.connect("normalCamera", &bump);
    shade(shader);
    EXPECT_FLOAT_EQ(result.term3.r, .8f);  // diffuse
    EXPECT_NEAR(result.term6.r, .28f, 1e-6f);
    ASSERT_EQ(rays.size(), 1u);
    EXPECT_NEAR(twin::apart(rays[0], {.96f, 0, .28f}), 0, 1e-6);
    EXPECT_NEAR(twin::apart(gathered, bump), 0, 1e-6);
    EXPECT_NEAR(twin::apart(refracted, {0, 0, -1}), 0, 1e-6);
    EXPECT_EQ(state->normal.z, 1);
    EXPECT_EQ(state->dot_nd, -1);
    // A steep bump mirrors into the surface, (.96 0 -.28): the true surface sends the ray back.
    bump = {.8f, 0, .6f};
    shade(shader);
    ASSERT_EQ(rays.size(), 2u);
    EXPECT_NEAR(twin::apart(rays[1], {.96f, 0, .28f}), 0, 1e-6);
}

/* A line from 0 to (1 .5 2). */
std::string line(const std::string& ramp) {
    return ramp + " [ { position 0, value 0 0 0, interpolation 1 }, { position 1, value 1 .5 2, interpolation 1 } ], ";
}

/* What arrives from the two lights: (.4 .2 .1) + (.2 .2 .2) in diffuse light; (1 .5 .25) + (.2 .2 .2) are emitted.
 * Cosine .8 is at .9 of the light angle, cosine 1 at 1. The color is seen at the facing angle .8, or at the brightness.
 * What shines has the angle of luminances .6225 and .2; the mirror looks level, and shows .32 of what it sees. */
TEST_F(Mirror, OfRampsIsColoredByItsInputs) {
    addLight({.color = {1, .5f, .25f, 1}, .direction = {.6f, 0, .8f}, .transmission = .5f});
    addLight({.color = {.2f, .2f, .2f, 1}});
    const double all = .6 + .4 + .3;
    using Term = miColor SurfaceShaderReturnType::*;
    constexpr Term direct = &SurfaceShaderReturnType::term3, shine = &SurfaceShaderReturnType::term1;
    const std::string color = line("colorRamp") + "colorInput ",
                      glow = line("incandescenceRamp") + "incandescenceInput ",
                      half =
                          "reflectivityRamp [ { position 0, value 0, interpolation 1 }, { position .8, value .32 } ], ";
    const struct {
        std::string parameters;
        Term term;
        double r, g;
    } rows[] = {{color + "0", direct, .4 * .9 + .2, .2 * .9 + .2},
                {color + "1", direct, .6 * .8, .4 * .8},
                {color + "2", direct, .6 * all / 3, .4 * all / 3},
                {color + "3", direct, .6 * all / 2.35, .4 * all / 2.35},
                {glow + "0", shine, ((.6225 * .8 + .2) / .8225 + 1) / 2, ((.6225 * .8 + .2) / .8225 + 1) / 2},
                {glow + "1", shine, .8, .8},
                {glow + "2", shine, all / 3, all / 3},
                {glow + "3", shine, all / 2.35, all / 2.35},
                {half, &SurfaceShaderReturnType::term8, .32 * .8, .64 * .4},
                {half + line("environmentRamp"), &SurfaceShaderReturnType::term8, .32 * .5, .32 * .5},
                {line("transparencyRamp"), &SurfaceShaderReturnType::transparency, .8, .8}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.parameters);
        rays.clear();
        const miColor seen =
            shade("RampShader", "diffuse 1, specularColor 0 0 0, incandescence 9 9 9, " + row.parameters).*row.term;
        EXPECT_NEAR(seen.r, row.r, 1e-6);
        EXPECT_NEAR(seen.g, row.g * .5, 1e-6);
        EXPECT_EQ(rays.size(), row.parameters == half);
    }
    // The highlight by its own strength: 1 / .8 (.7 + .3 x .2^3) = .878 in the mirror's direction.
    lights = {{.direction = {-.6f, 0, .8f}}};
    EXPECT_NEAR(shade("RampShader", line("specularColorRamp")).term6.r, .878 * .878, 1e-4);
}

/* The ray's way through solids, as its states tell it: each hit crosses one boundary of a solid 1, 2 ..., entering (+)
 * or leaving (-), or is mirrored at it. The last one is asked for the indices on both sides. Solid k has 1 + k / 10. */
TEST_F(SurfaceTest, MediaAreKnownFromTheWay) {
    stage.options.trace_depth = stage.options.refraction_depth = 100;
    // The way began inside; two of a kind; a glass that its liquid reaches into, and back; mirrors.
    struct Row {
        std::vector<int> way;
        float from, to;
        std::size_t mirroredAt = 99;
    };
    const Row rows[] = {{{1}, 1, 1.1f},           {{1, -1}, 1.1f, 1},          {{-1}, 1.1f, 1},
                        {{1, 2}, 1.1f, 1.2f},     {{1, 2, -2}, 1.2f, 1.1f},    {{1, 2, -2, -1}, 1.1f, 1},
                        {{1, 1, -1}, 1.1f, 1.1f}, {{1, 1, -1, -1}, 1.1f, 1},   {{1, -1, 2, -2}, 1.2f, 1},
                        {{1, 2, -1}, 1.2f, 1.2f}, {{1, 2, -1, 1}, 1.2f, 1.1f}, {{1, 2, -1, 1, -2}, 1.1f, 1.1f},
                        {{1, 2, -2}, 1.2f, 1, 0}, {{1, -1, -1}, 1.1f, 1, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        std::vector<miState> states(row.way.size() + 1, *state);
        std::pair<miScalar, miScalar> indices;
        std::function<void(std::size_t)> hit = [&](std::size_t i) {
            miState& here = states[i];
            here.material = static_cast<miTag>(std::abs(row.way[i]));
            here.inv_normal = row.way[i] < 0;
            here.dir = {0, 0, -1};
            const bool mirrors = i == row.mirroredAt;
            const auto next = [&, i, mirrors](miColor*, miState* from, const miVector*) {
                indices = {from->ior_in, from->ior};
                if (i + 1 == row.way.size()) return miTRUE;
                miState& ray = states[i + 1] = *from;
                ray.parent = from;
                ray.type = mirrors ? miRAY_REFLECT : miRAY_REFRACT;
                ++(mirrors ? ray.reflection_level : ray.refraction_level);
                hit(i + 1);
                return miTRUE;
            };
            if (mirrors) return void(next(nullptr, &here, nullptr));
            renderer().tracing.refraction = next;
            RefractionSettings settings{};
            settings.refractions = miTRUE;
            settings.refractiveIndex = 1 + .1f * static_cast<miScalar>(here.material);
            settings.refractionLimit = 100;
            settings.transparency = {1, 1, 1, 1};
            miColor color;
            library::compute_refraction(&color, &here, &settings, nullptr, 0, nullptr);
        };
        hit(0);
        EXPECT_FLOAT_EQ(indices.first, row.from);
        EXPECT_FLOAT_EQ(indices.second, row.to);
        EXPECT_EQ(states[0].ior, state->ior) << "as it was";
    }
}

}  // namespace
