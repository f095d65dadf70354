/* What surfaces make of their light: composition, passes, light from all sides, gathering, refraction. */
#include <array>
#include <cmath>

#include "surface_scene.h"

namespace {

using twin::Block;
using twin::renderer;

#define EXPECT_RGB(actual, R, G, B)   \
    do {                              \
        const miColor rgb = (actual); \
        EXPECT_FLOAT_EQ(rgb.r, (R));  \
        EXPECT_FLOAT_EQ(rgb.g, (G));  \
        EXPECT_FLOAT_EQ(rgb.b, (B));  \
    } while (false)

/* Each term has a digit of its own, so a sum shows what was added: 1 ambient, 2 incandescence, 3 indirect ... */
class Composition : public twin::LibraryTest {
protected:
    static miColor digit(miScalar value) { return {value, value, value, 7}; }

    const SurfaceShaderReturnType& compose(miUint mask, bool optional = true) {
        composition.mask = mask;
        result = {};
        result.transparency = transparency;
        library::bc_composite(&composition, &result, &terms[0], &terms[1], &terms[2], base, .125f,
                              optional ? specular : nullptr, optional ? &terms[8] : nullptr, &terms[9],
                              optional ? &terms[10] : nullptr, &transparency, 2, 3, hide, matteMode, .6f);
        return result;
    }

    CompositionState composition{0, 1, 1, 0};
    SurfaceShaderReturnType result{};
    miColor base[2] = {{1000, 1000, 1000, .25f}, {2000, 2000, 2000, .5f}}, specular[2] = {digit(1e4f), digit(2e4f)};
    miColor terms[11] = {
        digit(1),    digit(10),   digit(100),  base[0],     base[1],           {.125f, .125f, .125f, 0},
        specular[0], specular[0], digit(1e5f), digit(1e6f), {.5f, .5f, .5f, 9}};
    miColor transparency = {0, 0, 0, .3f};
    miInteger matteMode = 1;
    miBoolean hide = miFALSE;
};

TEST_F(Composition, ModesChooseFlagsAndTerms) {
    const std::array<miUint, 5> rows[] = {{0, 0, 1, 1, 1871}, {1, 0, 1, 0, 1943},  {2, 0, 1, 1, 32},
                                          {3, 0, 0, 0, 1},    {4, 0, 1, 0, 1559},  {5, 0, 1, 0, 384},
                                          {6, 0, 0, 1, 772},  {6, 1, 1, 1, 1871},  {7, 0, 1, 1, 1871},
                                          {9, 0, 1, 1, 1871}, {6, ~0u, 1, 1, 1871}};
    for (const auto& [mode, gathering, perLight, perSample, mask] : rows) {
        renderer().queries.answer(miQ_FINALGATHER_STATE, static_cast<miInteger>(gathering));
        library::bc_construct(&composition, static_cast<miInteger>(mode), state);
        EXPECT_EQ(composition.perLight, perLight) << mode;
        EXPECT_EQ(composition.perSample, perSample) << mode;
        EXPECT_EQ(composition.mask, mask) << mode;
    }
}

TEST_F(Composition, AddsAndRecordsWhatTheMaskSays) {
    // Bits 0 to 10: ambient, incandescence, indirect, base, other base, ratio, two speculars, reflection, refraction,
    // scatter. The first of two colors wins, and of the speculars the first is recorded.
    const std::array<miScalar, 3> rows[] = {
        {0x001, 1, 0},   {0x002, 10, 0},      {0x004, 100, 0},   {0x008, 1000, .25f},      {0x010, 2000, .5f},
        {0x020, 0, 0},   {0x040, 10000, 0},   {0x080, 20000, 0}, {0x100, 100000, 0},       {0x200, 1000000, 0},
        {0x400, .5f, 0}, {0x018, 1000, .25f}, {0x0C0, 10000, 0}, {0x7FF, 1111111.5f, .25f}};
    for (const auto& [mask, red, alpha] : rows)
        EXPECT_COLOR(compose(static_cast<miUint>(mask)).color, red, red, red, alpha);
    EXPECT_COLOR(compose(0x7FF, false).color, 1001111, 1001111, 1001111, .25f);
    for (int bit = 0; bit < 11; ++bit)
        for (int term = 0; term < 11; ++term) {
            const miColor copy = (&compose(1u << bit).term0)[term], wanted = term == bit ? terms[term] : miColor{};
            EXPECT_COLOR(copy, wanted.r, wanted.g, wanted.b, wanted.a);
        }
}

TEST_F(Composition, TransparencyLeavesWhatShines) {
    transparency = {.5f, 0, 1, 0};
    // (1 + 100 + 1000 + .5) (1 - T) + 10 + 10000 + 100000 + 1000000; glow 2 (body + 10) + 3 (10000 + 100000)
    EXPECT_COLOR(compose(0x7FF).color, 550.75f + 1110010, 1101.5f + 1110010, 1110010, .25f);
    EXPECT_COLOR(result.glowColor, 2 * 560.75f + 330000, 2 * 1111.5f + 330000, 330020, 0);
    EXPECT_COLOR(result.opacity, .5f, 1, 0, 0);
    hide = miTRUE;
    EXPECT_COLOR(compose(0x7FF).color, 0, 0, 0, .25f);
    EXPECT_COLOR(result.glowColor, 2 * 560.75f + 330000, 2 * 1111.5f + 330000, 330020, 0);
    const std::array<miScalar, 3> mattes[] = {{.6f, .6f, .6f}, {.3f, .6f, 0}, {0, 0, 0}};
    for (matteMode = 1; matteMode < 4; ++matteMode) {
        const auto& [r, g, b] = mattes[matteMode - 1];
        EXPECT_COLOR(compose(0x7FF).matteOpacity, r, g, b, 0);
    }
    // A black hole, and the mode of the shadow ratio, write three words and nothing else.
    matteMode = 0;
    for (const miScalar value : {-1000000.0f, .125f}) {
        compose(value < 0 ? 0x7FF : 32);
        EXPECT_COLOR(result.matteOpacity, value, value, value, 0);
        result.matteOpacity = result.transparency = {};
        const SurfaceShaderReturnType zero{};
        EXPECT_EQ(std::memcmp(&result, &zero, sizeof zero), 0);
        composition.mode = 2;
    }
}

/* Color (.8 .4 .2), half of the light scattered back, a quarter clear, alpha by opacity. */
const std::string kSheet = "color .8 .4 .2, diffuse .5, transparency .25 .25 .25, ";
const std::string kWhite = "color 1 1 1, diffuse 1, ";

class Surfaces : public SurfaceTest {};

/* Weight and mode go with every write; the state is as before afterwards, and a scalar is one word. */
TEST_F(Surfaces, WriteByWeightAndMode) {
    usePasses({4, 5, 33});
    addLight();
    const miVector normal = state->normal = {.6f, 0, .8f};  // cosine to eye and light .8
    state->dot_nd = -.8f;
    const std::string half = kWhite + "passWriteFlags 1, passWriteWeight .5, ";
    shade("Lambert", half);
    EXPECT_COLOR(pass(4), .5f, .5f, .5f, .5f);
    EXPECT_RGB(pass(5), .4f, .4f, .4f);
    EXPECT_FLOAT_EQ(pass(33).r, .1f);
    lights.clear();  // once they are sampled they write every pass
    entry(2).slots[0].contribution = {3, 4, 5, 6};
    shade("Lambert", half + "passWriteMode 3");
    EXPECT_COLOR(pass(4), .5f, .5f, .5f, .5f);
    EXPECT_NEAR(pass(33).r, .1f, 1e-6f);
    EXPECT_EQ(pass(33).g + pass(33).a, 10);
    state->dot_nd = .8f;  // turned away from the eye
    shade("Lambert", kWhite + "passWriteMode 3");
    EXPECT_EQ(pass(33).r, 1);

    // Lit at the bumped normal, which is made a unit vector. refractionDepth is left for other shaders in word 11.
    state->dot_nd = -.8f;
    addLight().direction = {.28f, 0, .96f};
    Block bumped("lumoVexaLambert", kWhite + "passWriteMode 3, refractionDepth 2.5");
    miVector bump = {0, 0, 3};
    bumped.connect("normalCamera", &bump);
    shade(bumped);
    EXPECT_FLOAT_EQ(result.term3.r, .96f);
    EXPECT_TRUE(state->normal.x == normal.x && state->normal.z == normal.z && state->normal_geom.z == 1);
    EXPECT_EQ(state->dot_nd, -.8f);
    EXPECT_EQ(stage.vexabaseScalar(11), 2.5f);
    EXPECT_EQ(entry(0).flags & 0x400u, 0u);
}

/* The weight of rays that start here is the surface's share of the light, raised by glow, while its terms are shaded:
 * (.5 1 1) x .75 x (.8 .4 .2). The shadow mode leaves it alone. */
TEST_F(Surfaces, WeighTheRaysThatStartThere) {
    miColor seen = {};
    renderer().lighting.sample = [&](miColor*, miVector*, miScalar*, miState*, miTag, int*) {
        seen = contributionWeight();
        return miFALSE;
    };
    addLight();
    setWord(140, .5f);
    shade("Lambert", kSheet + "glowIntensity .5");
    EXPECT_COLOR(seen, .3f, .3f, .15f, 1);
    shade("Lambert", kSheet + "glowIntensity 4");
    EXPECT_COLOR(seen, 1.2f, 1.2f, .6f, 1);
    record[4] = 2;
    shade("Lambert", kSheet);
    EXPECT_COLOR(seen, .5f, 1, 1, 1);
    EXPECT_COLOR(contributionWeight(), .5f, 1, 1, 1);
}

/* Behind the surface there is no diffuse light, but what shines through a translucent one; each side is a run of its
 * own. Depth 1 lets light through from the cosine -11.5 on; focus 0: .5 as it is. Ambient light knows no sides; from behind
 * it has no shadow, since the surface itself would be in its way. */
TEST_F(Surfaces, AreLitFromBothSides) {
    usePasses({2, 5, 10, 25});
    const std::string thin = "translucence .5, translucenceFocus 0, translucenceDepth ";
    const miVector front = {0, 0, 1}, behind = {0, 0, -1};
    // Mode 1 wants the light before its shadow, and tells the light to trace none; mode 3 asks nobody.
    const struct {
        miVector direction;
        std::string parameters;
        bool ambient;
        miUint mode, bothSides;
        miScalar color, translucent;
        int calls, withoutShadow;
    } rows[] = {{front, "", false, 0, 0, .75f, 0, 1, 0},
                {front, "", false, 1, 0, 1, 0, 1, 1},
                {behind, "", false, 0, 0, 0, 0, 1, 1},
                {behind, thin + "1", false, 0, 0, .375f, .375f, 1, 0},
                {behind, thin + "0", false, 0, 0, 0, 0, 1, 0},
                {behind, "", false, 0, 1, 0, 0, 1, 0},
                {front, "", true, 0, 0, .75f, 0, 1, 0},
                {behind, "", true, 0, 0, 1, 0, 1, 1},
                {front, "ambientColor .5 .5 .5", false, 3, 0, .5f, 0, 0, -1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        clearPasses();
        lights.clear();
        addLight({.direction = row.direction, .transmission = .75f, .isAmbient = row.ambient});
        record[4] = row.mode, record[9] = row.bothSides;
        shade("Lambert", kWhite + row.parameters);
        EXPECT_FLOAT_EQ(result.color.r, row.color);
        EXPECT_EQ(lights[0].calls, row.calls);
        EXPECT_EQ(lights[0].lastWord11, row.withoutShadow);
        if (row.mode != 0) continue;
        EXPECT_FLOAT_EQ(pass(25).r, row.translucent);
        EXPECT_FLOAT_EQ(pass(5).r, row.ambient ? 0 : row.color);
        EXPECT_FLOAT_EQ(pass(2).r, row.ambient ? row.color : 0);
        EXPECT_FLOAT_EQ(pass(10).r, row.ambient || row.direction.z < 0 ? 0 : .75f);
    }
}

/* Translucence adds what shines through. Everything else is as without it: ambient light from behind, in whose way the
 * surface itself is, and an area light that is partly behind, of which both sides see samples. That is a square of 2 x 2 at
 * distance 1: 4 x 5 x acos(1/3) / sqrt 2. */
TEST_F(Surfaces, AreTheSameWithATraceOfTranslucence) {
    const miVector corners[4] = {{1, 1, -4}, {-1, 1, -4}, {-1, -1, -4}, {1, -1, -4}};
    const miScalar area = 20 * std::acos(1.0f / 3) / std::sqrt(2.0f);
    usePasses({2, 5, 10});
    addLight({.direction = {0, 0, -1}, .transmission = 0, .isAmbient = true});
    addLight({.direction = {0, 0, 1}, .corners = corners});
    for (const bool facing : {true, false})
        for (const miScalar translucence : {0.0f, 1e-6f})
            for (const miUint bothSides : {0u, 1u}) {
                if (bothSides && (translucence > 0 || !facing)) continue;
                facingTest = facing, record[9] = bothSides, lights[0].transmission = !facing;
                clearPasses();
                shade("Lambert", twin::text(kWhite, "translucenceDepth 1, translucence ", translucence));
                EXPECT_NEAR(result.color.r, 1 + area, 1e-3);
                EXPECT_NEAR(pass(2).r, 1, 1e-3);
                EXPECT_NEAR(pass(5).r, area, 1e-3);
                EXPECT_NEAR(pass(10).r, area, 1e-3);
            }
}

/* w = (.5 1 1) x .5 x (.8 .4 .2) = (.2 .2 .1); the weight of the rays is (1 - T) w = (.1 .2 .1), over their number. */
TEST_F(Surfaces, GatherByTheirImportance) {
    Block shader("lumoVexaLambert", "irradianceColor .5 1 1 1");
    state->shader = &shader.function();
    auto& irradiance = shader.at<miColor>("irradiance");
    miColor surface = {.8f, .4f, .2f, 1}, transparency = {.5f, 0, 0, 0}, weight{};
    miScalar glow = 0, diffuse = .5f;
    miIrrad_options asked{};
    const int& rays = asked.finalgather_rays;
    int calls = 0;
    stage.options.finalgather = 1;
    stage.options.finalgather_rays = 100;
    stage.options.finalgather_maxradius = 7, stage.options.finalgather_minradius = 3;
    stage.options.globillum_accuracy = 11, stage.options.caustic_radius = 13;
    usePasses({0, 5});
    renderer().lighting.averageRadiance = [&](miColor* color, miState*, miUchar side, miIrrad_options* options) {
        ++calls;
        EXPECT_EQ(side, 'f');
        EXPECT_TRUE(entries().empty()) << "rays deposit no passes";
        record[115] = record[121] = 1;
        asked = options ? *options : miIrrad_options{};
        weight = contributionWeight();
        *color = {2, 3, 4, 5};
        return miTRUE;
    };
    const auto compute = [&] {
        miColor given = {7, 7, 7, 7};
        library::compute_irradiance(&given, &shader.at<miColor>("irradianceColor"), diffuse, &surface, &transparency,
                                    glow, &irradiance, state);
        EXPECT_COLOR(contributionWeight(), 1, 1, 1, 1);
        EXPECT_EQ(entries().size(), 2u);
        EXPECT_EQ(record[115] + record[121], 0u) << "nor glow and alpha";
        return given;
    };
    EXPECT_COLOR(compute(), .4f, .6f, .4f, 0);
    EXPECT_EQ(asked.size, 0u) << "as the render options say";
    EXPECT_COLOR(weight, .001f, .002f, .001f, 1);
    glow = 3;
    compute();
    EXPECT_COLOR(weight, .003f, .006f, .003f, 1);
    stage.options.finalgather = 0;
    compute();
    EXPECT_COLOR(weight, .3f, .6f, .3f, 1);
    stage.options.finalgather = 1, glow = 0;

    // The weight .2 lies at 1/4 between .1 and .5: 25 of 100 rays. Below nothing is gathered, above all rays are.
    setWord(7, .1f), setWord(8, .5f);
    EXPECT_COLOR(compute(), .4f, .6f, .4f, 0);
    EXPECT_EQ(asked.size, 56u);
    EXPECT_NEAR(rays, 25, 1);
    EXPECT_FLOAT_EQ(weight.g, .2f / static_cast<miScalar>(rays));
    EXPECT_TRUE(asked.finalgather_maxradius == 7 && asked.finalgather_minradius == 3 && asked.importance == -1 &&
                asked.globillum_accuracy == 11 && asked.caustic_radius == 13);
    setWord(7, .21f), calls = 0;
    EXPECT_COLOR(compute(), 0, 0, 0, 0);
    EXPECT_EQ(calls, 0);
    setWord(7, -1), setWord(8, .1f);
    compute();
    EXPECT_EQ(asked.size, 0u);

    // An object's own settings; data of another kind, and data that ends early, are not it.
    const auto bits = [](miScalar value) { return std::bit_cast<miUint>(value); };
    twin::Database& database = renderer().database;
    const miTag object = database.record<miInstance>(state->instance).item;
    std::vector<miUint> words = {0x56657861, 1,          40, bits(5),    bits(2), 1,         3,
                                 6,          bits(1.5f), 8,  bits(2.5f), 9,       bits(.25f)};
    for (const int kind : {1, 2, 3}) {
        words[1] = kind == 2 ? 2 : 1;
        if (kind == 3) words.resize(2);
        database.record<miObject>(object).userdata = database.addUserdata(words);
        compute();
        EXPECT_EQ(asked.size, kind == 1 ? 56u : 0u);
        if (kind > 1) continue;
        EXPECT_EQ(rays, 40);
        EXPECT_FLOAT_EQ(weight.g, .2f / 40);
        EXPECT_TRUE(asked.finalgather_maxradius == 5 && asked.finalgather_view == 1 && asked.finalgather_filter == 3 &&
                    asked.caustic_radius == 2.5f && asked.importance == .25f);
    }
    // A connected value takes the place of gathering.
    setWord(7, 1000), calls = 0;
    miColor given = {10, 20, 30, 40};
    shader.connect("irradiance", &given);
    EXPECT_COLOR(compute(), 2, 4, 3, 0);
    EXPECT_EQ(calls, 0);
}

/* What lies behind is seen in pictures. The hit is handed back in the caller's state, as renderers do. */
TEST_F(Surfaces, RefractAndAreAsTheyWere) {
    usePasses({0, 5, 20});
    state->dir = {.5f, 0, -std::sqrt(.75f)};  // 30 degrees from the normal
    state->dot_nd = -std::sqrt(.75f);
    miState beyond{};
    miVector ray{};
    renderer().tracing.refraction = [&](miColor* color, miState*, const miVector* dir) {
        ray = *dir;
        *color = {.8f, .4f, .2f, 1};
        beyond = stage.child(miRAY_REFRACT);
        beyond.instance = miNULLTAG;
        state->child = &beyond;
        state->point = state->normal = {1, 0, 0};
        state->dist = 99;
        return miTRUE;
    };
    const std::string glass = "transparency .5 1 .25, refractions on, refractiveIndex 1.5, refractionLimit ";
    shade("Lambert", glass + "3");
    EXPECT_NEAR(twin::apart(ray, twin::vector(1 / 3., 0, -std::sqrt(8) / 3)), 0, 1e-6);  // sin 30 / 1.5 = 1 / 3
    EXPECT_RGB(result.color, .4f, .4f, .05f);
    EXPECT_RGB(pass(0), .4f, .4f, .05f);
    EXPECT_RGB(pass(20), .4f, .4f, .05f);
    EXPECT_EQ(pass(5).r, 0);
    EXPECT_TRUE(state->point.z == -5 && state->normal.z == 1 && state->dist == 5);
    // Opaque for compositing, but where that looks straight on: at the limit, and without refraction.
    EXPECT_EQ(result.transparency.r, 0);
    EXPECT_EQ(result.opacity.r, .5f);
    shade("Lambert", glass + "0");
    EXPECT_EQ(result.transparency.r, .5f);
    record[4] = 5;
    shade("Lambert", glass + "3");
    EXPECT_EQ(result.transparency.r, .5f);
}

TEST_F(SurfaceTest, DerivativesAlwaysSpanAPlane) {
    miVector u, v, derivs[5] = {{2, 0, 0}, {3, 3, 0}};
    EXPECT_EQ(library::get_derivs(state, &u, &v), miFALSE);
    EXPECT_NEAR(mi_vector_dot(&u, &v), 0, 1e-6f);
    EXPECT_NEAR(u.z, 0, 1e-6f);
    EXPECT_NEAR(mi_vector_norm(&u), 1, 1e-6f);
    state->derivs = derivs;
    EXPECT_EQ(library::get_derivs(state, &u, &v), miTRUE);
    EXPECT_NEAR(u.x, 1, 1e-6f);
    EXPECT_NEAR(v.y, std::sqrt(.5f), 1e-6f);
    derivs[1] = {-4, 0, 0};
    EXPECT_EQ(library::get_derivs(state, &u, &v), miFALSE);
    state->normal = {NAN, 0, 0};
    EXPECT_EQ(library::get_derivs(state, &u, &v), miFALSE);
    EXPECT_EQ(u.x, 1);
}

}  // namespace
