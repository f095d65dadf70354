/* The ramp surface: where its ramps are looked up, and that it is a Blinn surface but for them. */
#include <algorithm>
#include <cmath>

#include "gloss_scene.h"
#include "specular_models.h"

namespace {

using twin::renderer;

struct ColorEntry {
    miScalar position, r, g, b, a = 1;
    miInteger interpolation = 1;
};
struct ScalarEntry {
    miScalar position, value;
    miInteger interpolation = 1;
};

template <class Entry>
struct Ramp {
    miInteger start = 0, count = 0;
    Entry inlined{};
};

enum Input { kLightAngle, kFacingAngle, kBrightness, kNormalisedBrightness };

/* An opaque white surface without highlight and mirror; the ramps are empty. */
struct RampBlock {
    std::array<miUint, gloss::kOwn + 2> words{};
    miInteger colorInput = 0, incandescenceInput = 1;
    Ramp<ColorEntry> color, transparency, incandescence, specular;
    Ramp<ScalarEntry> reflectivity;
    Ramp<ColorEntry> environment;
    std::array<miUint, 6 * 18> room{};
    std::size_t used = 0; /* of the room */

    RampBlock() {
        *this = GlossWords().color(gloss::kSpecularColor, 0, 0, 0).scalar(gloss::kDiffuse, 1).own({.5f, .7f});
    }
    RampBlock& operator=(const GlossWords& gloss) {
        std::copy_n(gloss.words.begin(), words.size(), words.begin());
        return *this;
    }

    /* A line from `from` at 0 to `to` at 1. The entries lie where the start says, counted from the inline one: here in
     * the room. */
    template <class Entry>
    void line(Ramp<Entry>& ramp, Entry from, Entry to) {
        auto* const block = reinterpret_cast<char*>(this);
        const auto inlined = reinterpret_cast<char*>(&ramp.inlined) - block;
        const auto distance = reinterpret_cast<char*>(&room.at(used)) - block - inlined;
        used += 18;
        const auto size = static_cast<std::ptrdiff_t>(sizeof(Entry));
        ramp.start = static_cast<miInteger>((distance + size - 1) / size);
        ramp.count = 2;
        from.position = 0;
        to.position = 1;
        const Entry both[] = {from, to};
        std::memcpy(block + inlined + ramp.start * size, both, sizeof both);
    }
    void line(Ramp<ColorEntry>& ramp) { line(ramp, ColorEntry{0, 0, 0, 0}, ColorEntry{1, 1, .5f, 2}); }
};

constexpr miInteger kInputs[] = {kLightAngle, kFacingAngle, kBrightness, kNormalisedBrightness};

class RampSurface : public GlossTest {
protected:
    RampSurface() { lookFrom({0.6f, 0, 0.8f}); }

    const SurfaceShaderReturnType& shade(const RampBlock& block) {
        twin::ShaderInstance<RampBlock> shader(block);
        const twin::ShaderEntry<RampBlock> entry("lumoVexaRampShader");
        stage.run(shader);
        miBoolean wantsInstances = miFALSE;
        entry.init(state, shader.parameters(), &wantsInstances);
        returned = entry.call(&result, state, shader.parameters(), nullptr);
        entry.exit(state, shader.parameters());
        EXPECT_EQ(returned, miTRUE);
        return result;
    }
    void clearPasses() {
        for (FrameBufferInfo& each : entries()) each.slots[0].contribution = {};
    }

    /* What arrives from the two lights: (.4 .2 .1) + (.2 .2 .2) in diffuse light; (1 .5 .25) + (.2 .2 .2) are emitted.
     */
    void addLights() {
        addLight({.color = {1, 0.5f, 0.25f, 1}, .direction = {0.6f, 0, 0.8f}, .transmission = 0.5f});
        addLight({.color = {0.2f, 0.2f, 0.2f, 1}});
    }
};

TEST_F(RampSurface, OfConstantRampsIsTheBlinnSurface) {
    std::vector<int> types;
    for (int type = 0; type < 35; ++type) types.push_back(type);
    usePasses(types);
    addLights();
    addLight({.color = {0.1f, 0.2f, 0.3f, 1}, .isAmbient = true});
    addLight({.color = {0.5f, 0.4f, 0.3f, 1}, .direction = {0, 0, -1}});
    GlossWords blinn = GlossWords().scalar(gloss::kDiffuse, 0.75f).own({0.5f, 0.7f}).scalar(13, 0.25f).scalar(26, 0.5f);
    blinn.color(18, 0.2f, 0.1f, 0.3f).scalar(21, 0);
    RampBlock ramps;
    ramps = blinn;
    blinn.color(3, 0.8f, 0.4f, 0.2f).scalar(6, 0).color(7, 0.25f, 0.5f, 0.125f).scalar(10, 0);
    blinn.color(22, 0.1f, 0.3f, 0.2f).scalar(25, 0).color(gloss::kSpecularColor, 0.5f, 0.6f, 0.7f);
    ramps.color = {0, 1, {0.5f, 0.8f, 0.4f, 0.2f}};
    ramps.transparency = {0, 1, {0.5f, 0.25f, 0.5f, 0.125f}};
    ramps.incandescence = {0, 1, {0.5f, 0.1f, 0.3f, 0.2f}};
    ramps.specular = {0, 1, {0.5f, 0.5f, 0.6f, 0.7f}};

    shadeAs("lumoVexaBlinn", blinn);
    const SurfaceShaderReturnType expected = result;
    std::vector<miColor> expectedPasses;
    for (const int type : types) expectedPasses.push_back(pass(type));
    for (const miInteger input : kInputs) {
        SCOPED_TRACE(input);
        clearPasses();
        ramps.colorInput = input;
        ramps.incandescenceInput = (input + 1) % 4;
        shade(ramps);
        for (const auto member : {&SurfaceShaderReturnType::color, &SurfaceShaderReturnType::transparency,
                                  &SurfaceShaderReturnType::term1, &SurfaceShaderReturnType::term6}) {
            const miColor wanted = expected.*member;
            EXPECT_GT(wanted.g, 0);
            EXPECT_COLOR(result.*member, wanted.r, wanted.g, wanted.b, (result.*member).a);
        }
        for (const int type : types) {
            SCOPED_TRACE(type);
            const miColor wanted = expectedPasses[static_cast<std::size_t>(type)];
            EXPECT_COLOR(pass(type), wanted.r, wanted.g, wanted.b, wanted.a);
        }
    }
}

/* The ramp is (1 .5 2) times its position. */
TEST_F(RampSurface, IsColoredByItsInput) {
    usePasses({4, 5, 10});
    addLights();
    RampBlock block;
    block.line(block.color);
    const auto expectDirect = [&](miInteger input, double r, double g, double b) {
        SCOPED_TRACE(input);
        clearPasses();
        block.colorInput = input;
        const miColor direct = shade(block).term3;
        EXPECT_NEAR(direct.r, r, 1e-6);
        EXPECT_NEAR(direct.g, g * .5, 1e-6);
        EXPECT_NEAR(direct.b, b * 2, 1e-6);
        EXPECT_COLOR(pass(5), direct.r, direct.g, direct.b, pass(5).a);
        EXPECT_COLOR(pass(10), 0.6f, 0.4f, 0.3f, pass(10).a);  // light is counted once
        return pass(4);
    };
    // Cosine .8 is at .9, cosine 1 at 1.
    const miColor lit = expectDirect(kLightAngle, .4 * .9 + .2, .2 * .9 + .2, .1 * .9 + .2);
    EXPECT_COLOR(lit, 1, 0.5f, 2, 1);
    EXPECT_FLOAT_EQ(expectDirect(kFacingAngle, .6 * .8, .4 * .8, .3 * .8).b, 1.6f);
    const double brightness = (.6 + .4 + .3) / 3, share = (.6 + .4 + .3) / (1.75 + .6);
    expectDirect(kBrightness, .6 * brightness, .4 * brightness, .3 * brightness);
    expectDirect(kNormalisedBrightness, .6 * share, .4 * share, .3 * share);

    // Nothing arrives, nothing breaks.
    lights.clear();
    for (const miInteger input : kInputs) {
        block.colorInput = input;
        EXPECT_COLOR(shade(block).term3, 0, 0, 0, 0);
    }
}

TEST_F(RampSurface, ShinesByItsInput) {
    addLights();
    lights[1] = {.color = {1, 1, 1, 1}, .direction = {0, 0, -1}};
    RampBlock block;
    block.line(block.incandescence);
    block.words[22] = std::bit_cast<miUint>(100.0f);  // the ramp counts in its place
    const auto shine = [&](miInteger input) {
        block.incandescenceInput = input;
        return shade(block).term1.r;
    };
    // Luminances .6225 and 1, cosines .8 and -1.
    EXPECT_NEAR(shine(kLightAngle), ((.6225 * .8 - 1) / 1.6225 + 1) / 2, 1e-6);
    EXPECT_FLOAT_EQ(shine(kFacingAngle), 0.8f);
    EXPECT_NEAR(shine(kBrightness), .7 / 3, 1e-6);
    EXPECT_NEAR(shine(kNormalisedBrightness), .7 / 4.75, 1e-6);
    // Ambient light comes from everywhere, specular light does not count.
    addLight({.color = {0.3f, 0.3f, 0.3f, 1}, .isAmbient = true});
    EXPECT_NEAR(shine(kBrightness), 1.6 / 3, 1e-6);
    EXPECT_NEAR(shine(kLightAngle), ((.6225 * .8 - 1) / 1.6225 + 1) / 2, 1e-6);
    lights.clear();
    EXPECT_FLOAT_EQ(shine(kLightAngle), 0);
    EXPECT_FLOAT_EQ(shine(kNormalisedBrightness), 0);
}

TEST_F(RampSurface, IsClearByTheFacingAngleInShadowsToo) {
    RampBlock block;
    block.line(block.transparency);
    EXPECT_COLOR(shade(block).transparency, 0.8f, 0.4f, 1.6f, 0);
    state->type = miRAY_SHADOW;
    state->dist = 1;
    result.color = {1, 1, 1, 1};
    shade(block);
    EXPECT_COLOR(result.color, 0.8f, 0.4f, 1.6f, 1);
    // From inside; only the angle counts.
    lookFrom({0, 0.8f, -0.6f});
    result.color = {1, 1, 1, 1};
    shade(block);
    EXPECT_COLOR(result.color, 0.6f, 0.3f, 1.2f, 1);
}

TEST_F(RampSurface, HighlightIsColoredByItsStrength) {
    const miVector n = {0, 0, 1}, view = {0.6f, 0, 0.8f};
    RampBlock block;
    block.line(block.specular);
    for (const miVector& light : {miVector{-0.6f, 0, 0.8f}, miVector{0, 0, 1}, miVector{-0.8f, 0, 0.6f}}) {
        lights.clear();
        addLight({.direction = light});
        const double strength = specular::blinn(n, light, view, .5, .7);
        ASSERT_GT(strength, .01);
        ASSERT_LT(strength, 1);
        const miColor seen = shade(block).term6;
        EXPECT_NEAR(seen.r, strength * strength, 1e-4);
        EXPECT_NEAR(seen.b, strength * strength * 2, 2e-4);
    }
    lights.clear();
    addLight({.direction = {0, 0, -1}});
    EXPECT_COLOR(shade(block).term6, 0, 0, 0, 0);
}

TEST_F(RampSurface, MirrorsItsOwnSurroundings) {
    usePasses({0, 19});
    lookFrom({0, 0.6f, 0.8f});  // mirrored to (0, -.6, .8): at .2
    int rays = 0;
    renderer().tracing.reflection = [&](miColor* color, miState*, const miVector*) {
        ++rays;
        *color = {1, 1, 1, 1};
        return miTRUE;
    };
    RampBlock block;
    block.line(block.reflectivity, ScalarEntry{0, 0}, ScalarEntry{0, 0.5f});  // .4 at .8
    EXPECT_FLOAT_EQ(shade(block).term8.r, 0.4f);
    EXPECT_EQ(rays, 1);
    block.line(block.environment);
    clearPasses();
    EXPECT_COLOR(shade(block).term8, 0.08f, 0.04f, 0.16f, result.term8.a);
    EXPECT_COLOR(pass(19), 0.08f, 0.04f, 0.16f, 1);
    EXPECT_FLOAT_EQ(pass(0).b, 0.16f);
    EXPECT_EQ(rays, 1);
}

}  // namespace
