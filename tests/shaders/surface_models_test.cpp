/* Irradiance, refraction and surface derivatives, each against its formula worked out here. */
#include <cmath>

#include "surface_scene.h"

namespace {

using twin::renderer;

class Irradiance : public SurfaceTest {
protected:
    struct Parameters {
        miColor irradianceColor = {0.5f, 1, 1, 1}, irradiance = {9, 9, 9, 9};
    };
    twin::ShaderInstance<Parameters> shader{Parameters{}};
    miColor surface = {0.8f, 0.4f, 0.2f, 1}, transparency = {0.5f, 0, 0, 0};
    miScalar diffuse = 0.5f, glow = 0;
    int calls = 0;
    miIrrad_options asked{};
    miColor weight{};

    Irradiance() {
        stage.run(shader);
        stage.options.finalgather = 1;
        stage.options.finalgather_rays = 100;
        stage.options.finalgather_maxradius = 7;
        stage.options.finalgather_minradius = 3;
        stage.options.globillum_accuracy = 11;
        stage.options.caustic_radius = 13;
        renderer().lighting.averageRadiance = [this](miColor* color, miState*, miUchar side, miIrrad_options* options) {
            ++calls;
            EXPECT_EQ(side, 'f');
            asked = options ? *options : miIrrad_options{};
            weight = contributionWeight();
            *color = {2, 3, 4, 5};
            return miTRUE;
        };
    }

    miColor compute() {
        miColor given = {7, 7, 7, 7};
        library::compute_irradiance(&given, &shader->irradianceColor, diffuse, &surface, &transparency, glow,
                                    &shader->irradiance, state);
        EXPECT_COLOR(contributionWeight(), 1, 1, 1, 1);
        return given;
    }
};

/* w = (.5 1 1) x .5 x (.8 .4 .2) = (.2 .2 .1); the weight is (1 - T) w = (.1 .2 .1) over the number of rays. */
TEST_F(Irradiance, IsRadianceTimesTheSurface) {
    EXPECT_COLOR(compute(), 0.4f, 0.6f, 0.4f, 0);
    EXPECT_EQ(asked.size, 0u) << "as the render options say";
    EXPECT_COLOR(weight, 0.001f, 0.002f, 0.001f, 1);
    glow = 3;
    compute();
    EXPECT_COLOR(weight, 0.003f, 0.006f, 0.003f, 1);
    stage.options.finalgather = 0;
    compute();
    EXPECT_COLOR(weight, 0.3f, 0.6f, 0.3f, 1);
}

TEST_F(Irradiance, OfUnimportantSurfacesTakesFewerRays) {
    // The weight .2 lies at 1/4 between .1 and .5: 25 of 100 rays.
    setWord(7, 0.1f);
    setWord(8, 0.5f);
    EXPECT_COLOR(compute(), 0.4f, 0.6f, 0.4f, 0);
    EXPECT_EQ(asked.size, 56u);
    EXPECT_NEAR(asked.finalgather_rays, 25, 1);
    EXPECT_EQ(asked.finalgather_maxradius, 7);
    EXPECT_EQ(asked.finalgather_minradius, 3);
    EXPECT_EQ(asked.globillum_accuracy, 11);
    EXPECT_EQ(asked.caustic_radius, 13);
    EXPECT_EQ(asked.importance, -1);
    EXPECT_NEAR(weight.g, 0.2f / 25, 1e-3f);

    // Right above the lower bound no ray is left, and the weight is infinite.
    setWord(7, 0.1999f);
    compute();
    EXPECT_EQ(asked.finalgather_rays, 0);
    EXPECT_TRUE(std::isinf(weight.g));

    // Below it nothing is gathered; above the upper one all rays are.
    setWord(7, 0.21f);
    calls = 0;
    EXPECT_COLOR(compute(), 0, 0, 0, 0);
    EXPECT_EQ(calls, 0);
    setWord(7, -1);
    setWord(8, 0.1f);
    compute();
    EXPECT_EQ(asked.size, 0u);
}

TEST_F(Irradiance, TakesAnObjectsOwnSettings) {
    const auto bits = [](miScalar value) { return std::bit_cast<miUint>(value); };
    twin::Database& database = renderer().database;
    const miTag object = database.record<miInstance>(state->instance).item;
    std::vector<miUint> words = {0x56657861, 1,          40, bits(5),    bits(2), 1,          3,
                                 6,          bits(1.5f), 8,  bits(2.5f), 9,       bits(0.25f)};
    database.record<miObject>(object).userdata = database.addUserdata(words);
    compute();
    EXPECT_EQ(asked.size, 56u);
    EXPECT_EQ(asked.finalgather_rays, 40);
    EXPECT_EQ(asked.finalgather_maxradius, 5);
    EXPECT_EQ(asked.finalgather_view, 1);
    EXPECT_EQ(asked.finalgather_filter, 3);
    EXPECT_EQ(asked.caustic_radius, 2.5f);
    EXPECT_EQ(asked.importance, 0.25f);
    EXPECT_FLOAT_EQ(weight.g, 0.2f / 40);

    // Data of another kind, and data that ends early, are not it.
    words[1] = 2;
    database.record<miObject>(object).userdata = database.addUserdata(words);
    compute();
    EXPECT_EQ(asked.size, 0u);
    database.record<miObject>(object).userdata = database.addUserdata({0x56657861, 1});
    compute();
    EXPECT_EQ(asked.size, 0u);
}

TEST_F(Irradiance, ConnectedValueTakesThePlaceOfGathering) {
    setWord(7, 1000);
    miColor given = {10, 20, 30, 40};
    shader.connect(&shader->irradiance, &given);
    EXPECT_COLOR(compute(), 2, 4, 3, 0);
    EXPECT_EQ(calls, 0);
    diffuse = 0;
    EXPECT_COLOR(compute(), 0, 0, 0, 0);
}

TEST_F(Irradiance, RaysDepositNoPasses) {
    usePasses({0, 5});
    renderer().lighting.averageRadiance = [this](miColor*, miState*, miUchar, miIrrad_options*) {
        ++calls;
        EXPECT_TRUE(entries().empty());
        record[115] = record[121] = 1;
        return miTRUE;
    };
    compute();
    EXPECT_EQ(record[115] + record[121], 0u) << "nor glow and alpha";
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(entries().size(), 2u);

    // Without the per-sample record the thresholds are open.
    stage.rendering.entries.set("vexabase", nullptr, 0, 0);
    miColor ignored;
    library::compute_irradiance(&ignored, &shader->irradianceColor, 1, &surface, &transparency, 0, &shader->irradiance,
                                state);
    EXPECT_EQ(calls, 2);
    stage.placeVexabase();
}

class Refraction : public SurfaceTest {
protected:
    RefractionSettings settings{};
    std::vector<miVector> refracted, reflected;
    std::vector<miVector> origins;
    miState beyond{};

    Refraction() {
        settings.refractions = miTRUE;
        settings.refractiveIndex = 1.5f;
        settings.refractionLimit = 3;
        settings.transparency = {0.5f, 1, 0.25f, 0};
        beyond.instance = 5;
        renderer().tracing.refraction = [this](miColor* color, miState*, const miVector* dir) {
            return seen(color, refracted, *dir);
        };
        renderer().tracing.reflection = [this](miColor* color, miState*, const miVector* dir) {
            return seen(color, reflected, *dir);
        };
        // 30 degrees from the normal.
        state->dir = {0.5f, 0, -std::sqrt(0.75f)};
        state->dot_nd = -std::sqrt(0.75f);
    }

    /* Everything is (.8 .4 .2). The hit is handed back in the caller's state, as renderers do. */
    miBoolean seen(miColor* color, std::vector<miVector>& rays, const miVector& dir) {
        rays.push_back(dir);
        origins.push_back(state->point);
        *color = {0.8f, 0.4f, 0.2f, 1};
        const miTag hit = beyond.instance;
        beyond = stage.child(miRAY_REFRACT);
        beyond.instance = hit;
        state->child = &beyond;
        state->point = {100, 100, 100};
        state->normal = {1, 0, 0};
        state->dist = 99;
        return miTRUE;
    }

    miBoolean compute() {
        refracted.clear();
        reflected.clear();
        origins.clear();
        PassState* passStates = nullptr;
        FrameBufferInfo* first = nullptr;
        const miUint count = library::getFrameBufferInfo(state, &passStates, &first);
        return library::compute_refraction(&through, state, &settings, passStates, count, first);
    }
    miColor through{};
};

TEST_F(Refraction, FollowsSnellsLaw) {
    EXPECT_EQ(compute(), miTRUE);
    ASSERT_EQ(refracted.size(), 1u);
    // sin 30 / 1.5 = 1/3; cos = sqrt(8) / 3.
    EXPECT_NEAR(refracted[0].x, 1.0f / 3, 1e-6f);
    EXPECT_NEAR(refracted[0].z, -std::sqrt(8.0f) / 3, 1e-6f);
    EXPECT_COLOR(through, 0.4f, 0.4f, 0.05f, 1);
    EXPECT_EQ(state->point.z, -5) << "the point is where it was";
    EXPECT_EQ(state->normal.z, 1);
    EXPECT_EQ(state->dist, 5);

    // Out of the glass: sin = .75. A normal on the other side changes nothing.
    state->inv_normal = 1;
    state->normal = {0, 0, -1};
    state->dot_nd = -state->dot_nd;
    EXPECT_EQ(compute(), miTRUE);
    EXPECT_NEAR(refracted[0].x, 0.75f, 1e-6f);
    EXPECT_NEAR(refracted[0].z, -std::sqrt(0.4375f), 1e-6f);

    // 2.5 x .5 is above 1: total reflection.
    settings.refractiveIndex = 2.5f;
    EXPECT_EQ(compute(), miTRUE);
    ASSERT_EQ(reflected.size(), 1u);
    EXPECT_TRUE(refracted.empty());
    EXPECT_NEAR(reflected[0].x, 0.5f, 1e-6f);
    EXPECT_NEAR(reflected[0].z, std::sqrt(0.75f), 1e-6f);
}

TEST_F(Refraction, EndsAtItsLimits) {
    const auto traces = [&] { return compute() == miTRUE && through.g > 0; };
    state->refraction_level = 2;
    EXPECT_TRUE(traces());
    settings.refractionLimit = 2;
    EXPECT_FALSE(traces());
    EXPECT_COLOR(through, 0, 0, 0, 0);
    settings.refractionLimit = 100;
    stage.options.refraction_depth = 2;
    EXPECT_FALSE(traces());
    stage.options.refraction_depth = 100;
    stage.options.trace_depth = 2;
    EXPECT_FALSE(traces());
    stage.options.trace_depth = 4;
    EXPECT_TRUE(traces());
    settings.hideSource = miTRUE;
    EXPECT_FALSE(traces());
    settings.hideSource = miFALSE;
    settings.transparency = {0, 0, 0, 1};
    EXPECT_FALSE(traces());
    settings.transparency = {1, 1, 1, 1};
    stage.options.trace = miFALSE;
    EXPECT_FALSE(traces());
}

/* The passes of what is seen, and an environment in the beauty, come in with the tint. */
TEST_F(Refraction, HandsPassesUp) {
    usePasses({0, 5, 34});
    const auto behind = [&](miTag hit) {
        for (FrameBufferInfo& each : entries()) each.slots[0].contribution = {};
        beyond.instance = hit;
        renderer().tracing.refraction = [this](miColor* seenColor, miState*, const miVector* dir) {
            entry(1).slots[1].color = {0.1f, 0.2f, 0.4f, 1};
            return seen(seenColor, refracted, *dir);
        };
        compute();
    };
    behind(5);
    EXPECT_COLOR(pass(5), 0.05f, 0.2f, 0.1f, 1);
    EXPECT_COLOR(pass(0), 0, 0, 0, 0);  // a hit's engine would have written it
    behind(0);
    EXPECT_COLOR(pass(0), 0.4f, 0.4f, 0.05f, 1);
    EXPECT_COLOR(pass(34), 0.4f, 0.4f, 0.05f, 1);
}

/* A surface whose rays looked behind is opaque for compositing; its beauty pass holds what was seen. */
TEST_F(Refraction, MakesTheSurfaceOpaqueForCompositing) {
    usePasses({0, 20});
    beyond.instance = miNULLTAG;
    const LambertWords glass = LambertWords().color(7, 0.5f, 0.5f, 0.5f).integer(14, 1).scalar(15, 1.5f).integer(48, 3);
    shade(glass);
    EXPECT_FLOAT_EQ(result.color.r, 0.4f);
    EXPECT_EQ(result.transparency.r, 0);
    EXPECT_EQ(result.opacity.r, 0.5f);
    EXPECT_FLOAT_EQ(pass(0).r, 0.4f);
    EXPECT_FLOAT_EQ(pass(20).r, 0.4f);
    shade(LambertWords(glass).integer(48, 0));
    EXPECT_EQ(result.transparency.r, 0.5f) << "at its limit compositing looks straight on";
    record[4] = 5;
    shade(glass);
    EXPECT_EQ(result.transparency.r, 0.5f) << "a composition without refraction";
}

TEST_F(SurfaceTest, DerivativesAlwaysSpanAPlane) {
    miVector u, v;
    EXPECT_EQ(library::get_derivs(state, &u, &v), miFALSE);
    EXPECT_NEAR(mi_vector_dot(&u, &v), 0, 1e-6f);
    EXPECT_NEAR(u.z, 0, 1e-6f);
    EXPECT_NEAR(mi_vector_norm(&u), 1, 1e-6f);
    miVector derivs[5] = {{2, 0, 0}, {3, 3, 0}};
    state->derivs = derivs;
    EXPECT_EQ(library::get_derivs(state, &u, &v), miTRUE);
    EXPECT_NEAR(u.x, 1, 1e-6f);
    EXPECT_NEAR(v.y, std::sqrt(0.5f), 1e-6f);
    derivs[1] = {-4, 0, 0};
    EXPECT_EQ(library::get_derivs(state, &u, &v), miFALSE);
    state->normal = {NAN, 0, 0};
    EXPECT_EQ(library::get_derivs(state, &u, &v), miFALSE);
    EXPECT_EQ(u.x, 1);
}

}  // namespace
