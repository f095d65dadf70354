/* Scattering below a surface, in bodies whose reflectance is known: a half-space and a sheet of two planes, in light
 * that is the same everywhere. What spreads out of one point comes in from others, so a half-space reflects what a matt
 * surface of the same albedo does, with every profile.
 */
#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

#include "surface_scene.h"

namespace {

using twin::renderer;

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN();
constexpr miScalar kInfinity = std::numeric_limits<miScalar>::infinity();

/* Slots of the parameter block. */
enum { kRadius = 50, kScatterColor = 51, kAccuracy = 55, kFalloff = 56, kLimit = 57, kCache = 58 };

/* The surface is the plane z = -5 with the outside at +z, and with a thickness the plane below it, too. */
class Scatter : public SurfaceTest {
protected:
    Scatter() {
        renderer().tracing.probe = [this](miState* s, const miVector* dir, const miVector* origin) {
            // A host keeps its children elsewhere; they are valid until the next ray.
            thread_local miState child;
            child = *s;
            s->child = &child;
            if (s == state) inUse = inUse && (entries().empty() || (entry(0).flags & 0x2000));
            return meet(child, *origin, *dir);
        };
        renderer().lighting.instanceLights = [](int* n, miTag** list, miState*) {
            static miTag both[] = {1, 2};
            *n = 2;
            *list = both;
            return miTRUE;
        };
        // Two distant lights of 1, from above and from below. Half of the plane lies in shadow where that is set.
        renderer().lighting.sample = [this](miColor* color, miVector* dir, miScalar* cosine, miState* s, miTag light,
                                            int* n) {
            *dir = {0, 0, light == 1 ? 1.0f : -1.0f};
            *cosine = mi_vector_dot(&s->normal, dir);
            if (*n > 0) return miFALSE;
            *n = 1;
            if (*cosine <= 0) return miFALSE;
            const miScalar e = halfInShadow && s->point.x < 0 ? 0 : brightness;
            *color = {e, e, e, 1};
            return miTRUE;
        };
        settings.scatterRadius = 0.5f;
        settings.scatterColor = {0.9f, 0.5f, 0.2f, 1};
        settings.scatterAccuracy = 256;
        settings.scatterLimit = 1;
        settings.diffuse = 0.25f;
        settings.color = {0.8f, 0.4f, 1, 1};
    }

    bool meet(miState& hit, const miVector& o, const miVector& d) const {
        double best = kInfinity;
        for (const miScalar z : {-5.0f, -5 - thickness}) {
            const double t = (z - o.z) / static_cast<double>(d.z);
            if (!(t > 1e-4 && t < best) || (z != -5 && thickness == 0)) continue;
            best = t;
            const miScalar outside = z == -5 ? 1.0f : -1.0f, turned = d.z < 0 ? 1.0f : -1.0f;
            hit.point = {o.x + static_cast<miScalar>(t) * d.x, o.y + static_cast<miScalar>(t) * d.y, z};
            hit.normal = hit.normal_geom = {0, 0, turned};
            hit.inv_normal = turned != outside;
            hit.dist = t;
        }
        return best < kInfinity && isVisibleToProbes;
    }

    miColor compute(ScatterCache** cache = nullptr) {
        miColor given = {9, 9, 9, 9};
        computed = library::compute_scatter(&given, state, &settings, cache);
        return given;
    }

    /* The body's box, for caches. */
    void setBox(miScalar half) {
        const miTag item = renderer().database.record<miInstance>(state->instance).item;
        miObject& object = renderer().database.record<miObject>(item);
        object.bbox_min = {-half, -half, -5 - std::max(thickness, 0.1f)};
        object.bbox_max = {half, half, -5};
    }

    ScatterSettings settings{};
    miScalar thickness = 0, brightness = 1;
    bool halfInShadow = false, isVisibleToProbes = true, inUse = true;
    miBoolean computed = miFALSE;
};

/* .75 of the light enters; .8 x .9, .4 x .5 and 1 x .2 of it come out. The channels spread differently, so all but the
 * widest are estimates. */
TEST_F(Scatter, HalfSpaceReflectsItsAlbedo) {
    for (const miInteger falloff : {0, 1, 2, 3, 4, -1})
        for (const miScalar radius : {0.02f, 0.5f, 7.0f, 300.0f}) {
            settings.scatterFalloff = falloff;
            settings.scatterRadius = radius;
            const miColor c = compute();
            EXPECT_EQ(computed, miTRUE);
            EXPECT_NEAR(c.r, 0.54f, 1e-3) << falloff << " " << radius;
            EXPECT_NEAR(c.g, 0.15f, 1e-3) << falloff << " " << radius;
            EXPECT_NEAR(c.b, 0.15f, 1e-3) << falloff << " " << radius;
            EXPECT_EQ(c.a, 0);
        }
    // Without a difference between channels there is nothing to estimate, with one ray even.
    settings.scatterColor = settings.color = {1, 1, 1, 1};
    for (const miScalar accuracy : {1.0f, 2.0f, 7.5f, 97.0f}) {
        settings.scatterAccuracy = accuracy;
        EXPECT_NEAR(compute().g, 0.75f, 1e-5) << accuracy;
    }
}

/* The material's term, its passes, and the part of the indirect light: .75 x .8 x .9 (the average radiance is 2 3 4).
 */
TEST_F(Scatter, IsTheMaterialsTermAndPass) {
    usePasses({0, 5, 21});
    renderer().lighting.averageRadiance = [](miColor* color, miState*, miUchar, miIrrad_options*) {
        *color = {2, 3, 4, 5};
        return miTRUE;
    };
    LambertWords words;
    words.color(3, 0.8f, 0.4f, 1).scalar(17, 0.25f).scalar(kRadius, 0.5f).color(kScatterColor, 0.9f, 0.9f, 0.9f);
    words.scalar(kAccuracy, 64).integer(kLimit, 1).color(43, 1, 1, 1);
    const miColor light = {0.54f, 0.27f, 0.675f, 0};
    shade(words);
    EXPECT_NEAR(result.term10.r, light.r * 3, 1e-4);
    EXPECT_NEAR(result.term10.g, light.g * 4, 1e-4);
    EXPECT_NEAR(result.term10.b, light.b * 5, 1e-4);
    EXPECT_NEAR(pass(21).g, light.g * 4, 1e-4);
    // Color .8 x diffuse .25 of the direct light; beauty has indirect light (.25 x .8 x 2) and scatter as well.
    EXPECT_NEAR(pass(5).r, 0.2f, 1e-6);
    EXPECT_NEAR(pass(0).r, 0.2f + 0.4f + light.r * 3, 1e-4);
    EXPECT_TRUE(inUse) << "probes are no samples of the passes";
    EXPECT_EQ(publishedEntries()[0].flags & 0x2000, 0u);
}

/* More surface within reach than a plane has: nothing gets brighter than the light. */
TEST_F(Scatter, SheetsLitFromBothSidesGiveNoMoreThanTheyGet) {
    settings.scatterColor = settings.color = {1, 1, 1, 1};
    settings.diffuse = 0;
    settings.scatterRadius = 3;
    for (const miScalar d : {0.001f, 0.1f, 1.0f, 10.0f}) {
        thickness = d;
        const miColor c = compute();
        EXPECT_LE(c.r, 1 + 1e-6) << d;
        EXPECT_GT(c.r, 0.99) << d;
    }
}

/* At a limit, inside a gathering, without ray tracing, below what coordinates resolve, and for surfaces that probes do
 * not see, light leaves where it entered: Lambert's law for the share that enters. */
TEST_F(Scatter, LeavesWhereItEnteredWhereNoRaysGo) {
    halfInShadow = true;
    state->point.x = 0.01f;
    const auto isLocal = [this](bool probes) {
        const int before = renderer().tracing.probe.calls();
        const miColor c = compute();
        EXPECT_NEAR(c.r, 0.54f, 1e-6);
        EXPECT_EQ(renderer().tracing.probe.calls() > before, probes);
        EXPECT_EQ(state->point.x, 0.01f);
    };
    EXPECT_LT(compute().r, 0.4f) << "half of the light that would come out here did not enter";
    settings.scatterLimit = 0;
    isLocal(false);
    settings.scatterLimit = 2;
    state->reflection_level = state->refraction_level = 1;
    isLocal(false);
    state->reflection_level = state->refraction_level = 0;
    settings.scatterRadius = 1e-5f;
    isLocal(false);
    settings.scatterRadius = 0.5f;
    renderer().queries.answer(miQ_FINALGATHER_STATE, 1);
    isLocal(false);
    renderer().queries.forget(miQ_FINALGATHER_STATE);
    stage.options.trace = miFALSE;
    isLocal(false);
    stage.options.trace = miTRUE;
    isVisibleToProbes = false;
    isLocal(true);
}

TEST_F(Scatter, LeavesTheStateAsItWas) {
    thickness = 1;
    setBox(3);
    state->refraction_level = 1;
    state->label = 7;
    state->motion = {1, 2, 3};
    settings.scatterLimit = 2;
    settings.scatterCache = 1;
    ScatterCache* cache = nullptr;
    std::vector<miUint> words(record, record + twin::kVexabaseWords);
    for (ScatterCache** kept : {static_cast<ScatterCache**>(nullptr), &cache, &cache}) {
        miState before = *state;
        compute(kept);
        before.child = state->child;  // the renderer's own
        EXPECT_EQ(std::memcmp(state, &before, sizeof before), 0);
        EXPECT_EQ(std::memcmp(record, words.data(), words.size() * sizeof(miUint)), 0);
    }
    EXPECT_NE(cache, nullptr);
    library::destroy_scatter(cache);
}

/* Probes may miss the whole of a thing; a cache may not be kept; numbers may be none. */
TEST_F(Scatter, BrokenParametersGiveBlackOrLight) {
    setBox(3);
    const ScatterSettings sound = settings;
    const auto check = [this](const char* what, miScalar value) {
        ScatterCache* cache = nullptr;
        for (ScatterCache** kept : {static_cast<ScatterCache**>(nullptr), &cache}) {
            const miColor c = compute(kept);
            for (const miScalar channel : {c.r, c.g, c.b})
                EXPECT_TRUE(channel >= 0 && channel <= 1 + 1e-5f) << what << " " << value << ": " << channel;
        }
        library::destroy_scatter(cache);
        settings.scatterCache = 1;
    };
    for (const miScalar odd : {kNaN, kInfinity, -kInfinity, -1.0f, 0.0f, 1e-40f, 1e-6f, 1e14f, 1e30f, 3e38f}) {
        const auto with = [&](const char* what, auto change) {
            settings = sound;
            change();
            check(what, odd);
        };
        with("radius", [&] { settings.scatterRadius = odd; });
        with("accuracy", [&] { settings.scatterAccuracy = odd == 3e38f ? 8 : odd; });
        with("color", [&] { settings.color = settings.scatterColor = {odd, odd, 1, odd}; });
        with("diffuse", [&] { settings.diffuse = odd; });
        with("light", [&] { brightness = std::isfinite(odd) && (odd > 1 || odd < 0) ? 0 : odd; });
        brightness = 1;
        const miVector before = state->normal_geom;
        with("normal", [&] { state->normal_geom = {odd, 0, 0}; });
        state->normal_geom = before;
        state->point.y = odd;
        with("point", [] {});
        state->point.y = 0;
    }
    settings = sound;
    settings.scatterLimit = settings.scatterFalloff = std::numeric_limits<miInteger>::min();
    check("limit", 0);
    settings.scatterRadius = 0;
    compute();
    EXPECT_EQ(computed, miFALSE);
}

/* The light of the sheet's patches is asked for once; afterwards only that of the point is. Each instance has patches
 * of its own. The light is even, so that the answer is known: all that enters comes out. */
TEST_F(Scatter, CacheAsksTheLightsOnce) {
    setBox(30);
    settings.scatterCache = 1;
    settings.scatterRadius = 2;
    ScatterCache* cache = nullptr;
    const miColor first = compute(&cache);
    EXPECT_NEAR(first.r, 0.54f, 0.03);
    EXPECT_LE(first.r, 0.54f + 1e-5f);
    const int probes = renderer().tracing.probe.calls(), asked = renderer().lighting.sample.calls();
    const miColor second = compute(&cache);
    EXPECT_EQ(std::memcmp(&first, &second, sizeof first), 0);
    EXPECT_EQ(renderer().tracing.probe.calls(), probes);
    EXPECT_LE(renderer().lighting.sample.calls(), asked + 4);

    const miTag item = renderer().database.record<miInstance>(state->instance).item;
    state->instance = renderer().database.addInstance(item);
    compute(&cache);
    EXPECT_GT(renderer().tracing.probe.calls(), probes);
    EXPECT_EQ(renderer().memory.liveAllocations(), 2u);

    // Patches are too coarse for a small radius, and hold neither the inside nor another moment or light mode.
    const auto probesAgain = [&] {
        const int before = renderer().tracing.probe.calls();
        EXPECT_NEAR(compute(&cache).r, 0.54f, 2e-3);
        EXPECT_GT(renderer().tracing.probe.calls(), before);
    };
    settings.scatterRadius = 0.1f;
    probesAgain();
    settings.scatterRadius = 2;
    stage.options.motion = 1;
    stage.options.shutter = 1;
    probesAgain();
    stage.options.motion = 0;
    setWord(4, 0);
    record[4] = 1;
    probesAgain();
    record[4] = 0;
    library::destroy_scatter(cache);
    EXPECT_EQ(renderer().memory.liveAllocations(), 0u);
}

/* Out of memory: rays take over. The first request is the workspace, the second the cache. */
TEST_F(Scatter, GoesOnWithoutMemory) {
    setBox(30);
    settings.scatterCache = 1;
    settings.scatterRadius = 2;
    for (const int failing : {0, 1}) {
        int request = 0;
        renderer().memory.fails = [&](const twin::Allocation&) { return request++ == failing; };
        ScatterCache* cache = nullptr;
        EXPECT_NEAR(compute(&cache).r, 0.54f, 1e-3);
        EXPECT_EQ(cache, nullptr);
        EXPECT_EQ(renderer().memory.liveAllocations(), 0u);
    }
    renderer().memory.fails = nullptr;
}

/* Threads that meet the surface first at the same time: one cache, and the same bits as in any other order. */
TEST_F(Scatter, ThreadsShareACache) {
    setBox(8);
    halfInShadow = true;
    settings.scatterCache = 1;
    settings.scatterRadius = 2;
    constexpr int kThreads = 5;
    const auto at = [](miState& s, int i) { s.point.x = static_cast<miScalar>(i) - 2; };
    miColor alone[kThreads], together[kThreads];
    ScatterCache* cache = nullptr;
    for (int i = kThreads - 1; i >= 0; --i) {
        at(*state, i);
        alone[i] = compute(&cache);
    }
    library::destroy_scatter(cache);

    cache = nullptr;
    std::vector<std::unique_ptr<twin::Stage>> stages;
    for (int i = 0; i < kThreads; ++i) {
        stages.push_back(std::make_unique<twin::Stage>());
        stages.back()->placeVexabase();
        stages.back()->state.instance = state->instance;
        at(stages.back()->state, i);
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {  // the record of each thread's stage, by its state
            library::compute_scatter(&together[i], &stages[static_cast<std::size_t>(i)]->state, &settings, &cache);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::memcmp(alone, together, sizeof alone), 0);
    EXPECT_EQ(renderer().memory.liveAllocations(), 1u);
    library::destroy_scatter(cache);
    EXPECT_LT(alone[0].r, alone[4].r);
}

}  // namespace
