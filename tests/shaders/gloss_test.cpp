/* What highlights and mirrors of the materials keep to at their limits, and the media that refracted rays travel in. */
#include <cmath>
#include <functional>
#include <vector>

#include "surface_scene.h"

namespace {

using twin::Block;
using twin::renderer;

const char* const kMaterials[] = {"Phong", "Blinn", "PhongE", "Anisotropic", "HairTubeShader"};
constexpr miVector kNormal = {0, 0, 1};

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

/* What looks like a mistake and is meant. */
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
    // Nothing lies halfway between the eye and a light that shines right into it: D = 1 + (e^2 - 1) = .09 is squared.
    EXPECT_NEAR(library::compute_blinn_specular(.8f, 1, &state->dir, .3f, .7f, 1, &kNormal, state), .0081f, 1e-6f);
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
