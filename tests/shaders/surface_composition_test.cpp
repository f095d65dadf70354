/* bc_construct and bc_composite: which terms the modes add, and how the terms become the result. */
#include "surface_scene.h"

namespace {

using twin::renderer;

class Composition : public twin::LibraryTest {
protected:
    CompositionState composition{0, 1, 1, 0};
    SurfaceShaderReturnType result{};

    /* Each term has a digit of its own, so a sum shows what was added: 1 ambient, 2 incandescence, 3 indirect ... */
    static miColor digit(int place) {
        miScalar value = 1;
        for (int i = 0; i < place; ++i) value *= 10;
        return {value, value, value, 7};
    }
    miColor ambient = digit(0), incandescence = digit(1), indirect = digit(2);
    miColor base[2] = {{1000, 1000, 1000, 0.25f}, {2000, 2000, 2000, 0.5f}};
    miColor specular[2] = {{10000, 10000, 10000, 1}, {20000, 20000, 20000, 1}};
    miColor reflection = digit(5), refraction = digit(6), scatter = {0.5f, 0.5f, 0.5f, 9};
    miColor transparency = {0, 0, 0, 0.3f};
    miScalar glow = 2, glowSpecular = 3, ratio = 0.125f;
    miInteger matteMode = 1;
    miBoolean hide = miFALSE;

    const SurfaceShaderReturnType& compose(miUint mask, bool optional = true) {
        composition.mask = mask;
        result = {};
        result.transparency = transparency;
        library::bc_composite(&composition, &result, &ambient, &incandescence, &indirect, base, ratio,
                              optional ? specular : nullptr, optional ? &reflection : nullptr, &refraction,
                              optional ? &scatter : nullptr, &transparency, glow, glowSpecular, hide, matteMode, 0.6f);
        return result;
    }
};

TEST_F(Composition, ModesChooseFlagsAndTerms) {
    const struct {
        miUint perLight, perSample, mask;
    } expected[] = {{1, 1, 1871}, {1, 0, 1943}, {1, 1, 32}, {0, 0, 1}, {1, 0, 1559}, {1, 0, 384}, {0, 1, 772}};
    for (miInteger mode = 0; mode < 7; ++mode) {
        library::bc_construct(&composition, mode, state);
        EXPECT_EQ(composition.mode, mode);
        EXPECT_EQ(composition.perLight, expected[mode].perLight) << mode;
        EXPECT_EQ(composition.perSample, expected[mode].perSample) << mode;
        EXPECT_EQ(composition.mask, expected[mode].mask) << mode;
    }
    for (miInteger answer : {1, 2, -1}) {
        renderer().queries.answer(miQ_FINALGATHER_STATE, answer);
        library::bc_construct(&composition, 6, state);
        EXPECT_EQ(composition.perLight, 1u);
        EXPECT_EQ(composition.mask, 1099u | 772u);
    }
    for (miInteger mode : {-1, 7, 2147483647}) {
        library::bc_construct(&composition, mode, state);
        EXPECT_EQ(composition.mask, 1871u);
    }
}

TEST_F(Composition, AddsWhatTheMaskSays) {
    // Bits 0 to 10: ambient, incandescence, indirect, base, other base, ratio, two speculars, reflection, refraction,
    // scatter. The first of two colors wins.
    const struct {
        miUint mask;
        miScalar red, alpha;
    } cases[] = {
        {0x001, 1, 0},        {0x002, 10, 0},      {0x004, 100, 0},   {0x008, 1000, 0.25f},      {0x010, 2000, 0.5f},
        {0x018, 1000, 0.25f}, {0x020, 0, 0},       {0x040, 10000, 0}, {0x080, 20000, 0},         {0x0C0, 10000, 0},
        {0x100, 100000, 0},   {0x200, 1000000, 0}, {0x400, 0.5f, 0},  {0x7FF, 1111111.5f, 0.25f}};
    for (const auto& each : cases) EXPECT_COLOR(compose(each.mask).color, each.red, each.red, each.red, each.alpha);
    EXPECT_COLOR(compose(0x7FF, false).color, 1001111, 1001111, 1001111, 0.25f);
}

TEST_F(Composition, TransparencyLeavesWhatShines) {
    transparency = {0.5f, 0, 1, 0};
    compose(0x7FF);
    // (1 + 100 + 1000 + .5) (1 - T) + 10 + 10000 + 100000 + 1000000
    EXPECT_COLOR(result.color, 550.75f + 1110010, 1101.5f + 1110010, 1110010, 0.25f);
    EXPECT_COLOR(result.opacity, 0.5f, 1, 0, 0);
}

TEST_F(Composition, GlowTakesShineByItsOwnFactorAndNoRefraction) {
    transparency = {0.5f, 0, 1, 0};
    compose(0x7FF);
    // 2 (body + 10) + 3 (10000 + 100000)
    EXPECT_COLOR(result.glowColor, 2 * 560.75f + 330000, 2 * 1111.5f + 330000, 330020, 0);
    const miColor glowColor = result.glowColor;
    hide = miTRUE;
    compose(0x7FF);
    EXPECT_COLOR(result.color, 0, 0, 0, 0.25f);
    EXPECT_COLOR(result.glowColor, glowColor.r, glowColor.g, glowColor.b, 0);
    EXPECT_COLOR(result.term9, refraction.r, refraction.r, refraction.r, 7);
}

TEST_F(Composition, RecordsTermsOfTheMaskOnly) {
    const miColor* const wanted[] = {&ambient, &incandescence, &indirect,   base,        base + 1, nullptr,
                                     specular, specular,       &reflection, &refraction, &scatter};
    for (int bit = 0; bit < 11; ++bit) {
        compose(1u << bit);
        for (int term = 0; term < 11; ++term) {
            const miColor& copy = (&result.term0)[term];
            if (term != bit)
                EXPECT_COLOR(copy, 0, 0, 0, 0);
            else if (term == 5)
                EXPECT_COLOR(copy, 0.125f, 0.125f, 0.125f, 0);
            else
                EXPECT_COLOR(copy, wanted[term]->r, wanted[term]->g, wanted[term]->b, wanted[term]->a);
        }
    }
    // The second specular color is added, the first one is recorded.
    compose(0x80);
    EXPECT_EQ(result.color.r, 20000);
    EXPECT_EQ(result.term7.r, 10000);
}

TEST_F(Composition, MatteOpacityFollowsItsMode) {
    transparency = {0.5f, 0, 1, 0};
    EXPECT_COLOR(compose(0x7FF).matteOpacity, 0.6f, 0.6f, 0.6f, 0);
    matteMode = 2;
    EXPECT_COLOR(compose(0x7FF).matteOpacity, 0.3f, 0.6f, 0, 0);
    matteMode = 3;
    EXPECT_COLOR(compose(0x7FF).matteOpacity, 0, 0, 0, 0);

    // A black hole, and the mode of the shadow ratio, write three words and nothing else.
    const auto expectOnlyMatte = [&](miScalar value) {
        EXPECT_COLOR(result.matteOpacity, value, value, value, 0);
        result.matteOpacity = result.transparency = {};
        const SurfaceShaderReturnType zero{};
        EXPECT_EQ(std::memcmp(&result, &zero, sizeof zero), 0);
    };
    matteMode = 0;
    compose(0x7FF);
    expectOnlyMatte(-1000000);
    composition.mode = 2;
    compose(32);
    expectOnlyMatte(0.125f);
}

}  // namespace
