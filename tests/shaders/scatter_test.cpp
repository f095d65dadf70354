/* Scattering below a surface, in a half-space and a sheet of two planes, in light that is the same everywhere. What
 * spreads out of one point comes in from others, so a half-space reflects what a matt surface of the same albedo does. */
#include <algorithm>
#include <cmath>
#include <limits>

#include "surface_scene.h"

namespace {

using twin::renderer;

constexpr miScalar kInfinity = std::numeric_limits<miScalar>::infinity(), kNaN = NAN;

/* The surface is the plane z = -5 with the outside at +z, and with a thickness the plane below it, too. .75 of the
 * light enters; .8 x .9, .4 x .5 and 1 x .2 of it come out. */
class Scatter : public SurfaceTest {
protected:
    Scatter() {
        renderer().tracing.probe = [this](miState* s, const miVector* dir, const miVector* origin) {
            // A host keeps its children elsewhere; they are valid until the next ray.
            static miState child;
            child = *s;
            s->child = &child;
            if (--interruptedProbe == 0) besides = computeBeside();
            isInUse = isInUse && (entries().empty() || s != state || (entry(0).flags & 0x2000));
            return meet(child, *origin, *dir);
        };
        renderer().lighting.instanceLights = [](int* n, miTag** list, miState*) {
            static miTag both[] = {1, 2};
            return *n = 2, *list = both, miTRUE;
        };
        // Two distant lights of 1, from above and from below. Half of the plane lies in shadow where that is set.
        renderer().lighting.sample = [this](miColor* color, miVector* dir, miScalar* cosine, miState* s, miTag light,
                                            int* n) {
            *dir = {0, 0, light == 1 ? 1.0f : -1.0f};
            *cosine = mi_vector_dot(&s->normal, dir);
            if (*n > 0) return miFALSE;
            *n = 1;
            if (--interruptedLight == 0) besides = computeBeside();
            const miScalar e = halfInShadow && s->point.x < 0 ? 0 : brightness;
            *color = {e, e, e, 1};
            return *cosine > 0 ? miTRUE : miFALSE;
        };
        settings.scatterRadius = .5f;
        settings.scatterColor = {.9f, .5f, .2f, 1};
        settings.scatterAccuracy = 256;
        settings.scatterLimit = 1;
        settings.diffuse = .25f;
        settings.color = {.8f, .4f, 1, 1};
        setBox(30);
    }
    bool meet(miState& hit, const miVector& o, const miVector& d) const {
        double nearest = kInfinity;
        for (const miScalar z : {-5.0f, -5 - thickness}) {
            const double t = (z - o.z) / static_cast<double>(d.z);
            if (!(t > 1e-4 && t < nearest) || (z != -5 && thickness == 0)) continue;
            nearest = hit.dist = t;
            hit.point = twin::vector(o.x + t * d.x, o.y + t * d.y, z);
            hit.normal = hit.normal_geom = {0, 0, d.z < 0 ? 1.0f : -1.0f};
            hit.inv_normal = (d.z < 0) != (z == -5);
        }
        return nearest < kInfinity && isVisibleToProbes;
    }
    /* What another thread gets that comes in between. */
    miColor computeBeside() {
        miColor given;
        miState other = whole;
        library::compute_scatter(&given, &other, &settings, &cache);
        return given;
    }
    miColor compute(ScatterCache** kept = nullptr) {
        miColor given = {9, 9, 9, 9};
        computed = library::compute_scatter(&given, state, &settings, kept);
        return given;
    }
    /* The body's box, for caches. */
    void setBox(miScalar half) {
        const miTag item = renderer().database.record<miInstance>(state->instance).item;
        renderer().database.record<miObject>(item).bbox_min = {-half, -half, -5 - std::max(thickness, .1f)};
        renderer().database.record<miObject>(item).bbox_max = {half, half, -5};
    }
    static miVector rgb(const miColor& c) { return {c.r, c.g, c.b}; }
    int probes() const { return renderer().tracing.probe.calls(); }

    ScatterSettings settings{};
    miScalar thickness = 0, brightness = 1;
    bool halfInShadow = false, isVisibleToProbes = true, isInUse = true;
    miBoolean computed = miFALSE;
    ScatterCache* cache = nullptr;
    miState whole;  // as it is before the call that is interrupted
    int interruptedProbe = 0, interruptedLight = 0;
    miColor besides;
};

/* With every profile. Sheets that are lit from both sides have more surface within reach than a plane has, but give no
 * more than they get. */
TEST_F(Scatter, ReflectsTheAlbedo) {
    for (const miInteger falloff : {0, 1, 2, 3, 4, -1})
        for (const miScalar radius : {.02f, .5f, 7.0f, 300.0f}) {
            settings.scatterFalloff = falloff;
            settings.scatterRadius = radius;
            EXPECT_NEAR(twin::apart(rgb(compute()), {.54f, .15f, .15f}), 0, 1e-3) << falloff << " " << radius;
            EXPECT_EQ(computed, miTRUE);
        }
    settings.scatterColor = settings.color = {1, 1, 1, 1};
    settings.scatterRadius = 3;
    for (const miScalar accuracy : {1.0f, 2.0f, 7.5f, 97.0f}) {
        settings.scatterAccuracy = accuracy;
        EXPECT_NEAR(compute().g, .75f, 1e-5) << "nothing to estimate where channels do not differ";
    }
    for (const miScalar d : {.001f, .1f, 1.0f, 10.0f}) {
        thickness = d;
        EXPECT_NEAR(compute().r, .745f, .00501f) << d;
    }
}

/* The part of the indirect light: .75 x .8 x .9 (the average radiance is 2 3 4). */
TEST_F(Scatter, IsTheMaterialsTermAndPass) {
    usePasses({0, 5, 21});
    renderer().lighting.averageRadiance = [](miColor* color, miState*, miUchar, miIrrad_options*) {
        return *color = {2, 3, 4, 5}, miTRUE;
    };
    shade("Lambert", "color .8 .4 1, diffuse .25, scatterRadius .5, scatterColor .9 .9 .9, scatterAccuracy 64");
    for (const miColor& each : {result.term10, pass(21)})
        EXPECT_NEAR(twin::apart(rgb(each), twin::vector(.54 * 3, .27 * 4, .675 * 5)), 0, 1e-4);
    // Color .8 x diffuse .25 of the direct light; beauty has indirect light (.25 x .8 x 2) and scatter as well.
    EXPECT_NEAR(pass(5).r, .2, 1e-6);
    EXPECT_NEAR(pass(0).r, .2 + .4 + .54 * 3, 1e-4);
    EXPECT_TRUE(isInUse) << "probes are no samples of the passes";
    EXPECT_EQ(publishedEntries()[0].flags & 0x2000, 0u);
}

/* Where no rays go, or find nothing, light leaves where it entered: Lambert's law for the share that enters. */
TEST_F(Scatter, LeavesWhereItEnteredWhereNoRaysGo) {
    halfInShadow = true;
    state->point.x = .01f;
    EXPECT_LT(compute().r, .4f) << "half of the light that would come out here did not enter";
    const auto expectLocal = [&](bool probed) {
        const int before = probes();
        EXPECT_NEAR(compute().r, .54f, 1e-6);
        EXPECT_EQ(probes() > before, probed);
    };
    settings.scatterLimit = 0, expectLocal(false), settings.scatterLimit = 2;
    state->reflection_level = state->refraction_level = 1, expectLocal(false);
    state->reflection_level = state->refraction_level = 0;
    settings.scatterRadius = 1e-5f, expectLocal(false), settings.scatterRadius = .5f;
    stage.options.trace = miFALSE, expectLocal(false), stage.options.trace = miTRUE;
    isVisibleToProbes = false, expectLocal(true);
    renderer().queries.answer(miQ_FINALGATHER_STATE, 1), expectLocal(false);
}

/* The light of the sheet's patches is asked for once; afterwards only that of the point is. Each instance has patches
 * of its own. Patches are too coarse for a small radius, and hold neither another moment nor another light mode. */
TEST_F(Scatter, CachesAskTheLightsOnce) {
    settings.scatterCache = 1;
    settings.scatterRadius = 2;
    state->label = 7, state->motion = {1, 2, 3};
    const miColor first = compute(&cache);
    EXPECT_NEAR(first.r, .54f, .03);
    EXPECT_LE(first.r, .54f + 1e-5f);
    const int probed = probes(), asked = renderer().lighting.sample.calls();
    const std::vector<miUint> words(record, record + twin::kVexabaseWords);
    miState before = *state;
    const miColor second = compute(&cache);
    EXPECT_EQ(std::memcmp(&first, &second, sizeof first), 0);
    EXPECT_EQ(probes(), probed);
    EXPECT_LE(renderer().lighting.sample.calls(), asked + 4);
    settings.scatterRadius = .1f;
    stage.options.motion = 1;
    for (const int change : {0, 1, 2}) {
        if (change > 0) settings.scatterRadius = 2;
        stage.options.shutter = change == 1;
        record[4] = change == 2;
        const int last = probes();
        EXPECT_NEAR(compute(&cache).r, .54f, 2e-3);
        EXPECT_GT(probes(), last);
    }
    record[4] = 0;
    before.child = state->child;  // the renderer's own
    EXPECT_EQ(std::memcmp(state, &before, sizeof before), 0);
    EXPECT_EQ(std::memcmp(record, words.data(), words.size() * sizeof(miUint)), 0);
    state->instance = renderer().database.addInstance(renderer().database.record<miInstance>(state->instance).item);
    compute(&cache);
    EXPECT_EQ(renderer().memory.liveAllocations(), 4u) << "an entry and its patches for each";
    library::destroy_scatter(cache);
}

/* Somebody who comes while patches are made takes the parts that are left, and makes again only the part that the first
 * is at: 64 lines of two hits and a miss, 64 patches of two lights. While that is missing one more part of lines may be
 * taken. All get the same bits. */
TEST_F(Scatter, PatchesAreMadeTogether) {
    settings.scatterCache = 1;
    settings.scatterRadius = 4;
    thickness = .5f;
    setBox(30);
    const auto asked = [] { return renderer().lighting.sample.calls(); };
    const miColor alone = compute(&cache);
    const int probesAlone = probes(), askedAlone = asked();
    compute(&cache);
    EXPECT_EQ(probes(), probesAlone) << "patches are fine enough";
    library::destroy_scatter(cache);
    whole = *state;
    for (const int at : {1, 1000, probesAlone - 1}) {
        for (const bool inLight : {false, true}) {
            if (inLight && at > askedAlone) continue;
            cache = nullptr;
            (inLight ? interruptedLight : interruptedProbe) = at;
            const int probesBefore = probes(), askedBefore = asked();
            const miColor first = compute(&cache);
            EXPECT_EQ(std::memcmp(&first, &alone, sizeof first), 0) << at;
            EXPECT_EQ(std::memcmp(&besides, &alone, sizeof first), 0) << at;
            EXPECT_LE(probes() - probesBefore, probesAlone + 2 * 64 * 3);
            EXPECT_LE(asked() - askedBefore, askedAlone + 64 * 4 + 4);
            EXPECT_EQ(renderer().memory.liveAllocations(), 2u) << "parts go when nobody needs them any more";
            library::destroy_scatter(cache);
        }
    }
}

/* Without memory for any of the parts rays take over, and the next sample goes on where that was. Without memory for the
 * exact size a block stays as it is. */
TEST_F(Scatter, MemoryMayComeBack) {
    settings.scatterCache = 1;
    settings.scatterRadius = 2;
    int requests = 0, failing = -1;
    renderer().memory.fails = [&](const twin::Allocation&) { return requests++ == failing; };
    const miColor kept = compute(&cache);
    library::destroy_scatter(cache);
    const int all = requests;
    for (int each = 0; each < all; each += each < 3 || each > all - 5 ? 1 : std::min(41, all - 5 - each + 1)) {
        cache = nullptr;
        requests = 0, failing = each;
        const int before = probes();
        EXPECT_NEAR(compute(&cache).r, .54f, .03) << each;
        EXPECT_GT(probes(), before);
        const miColor after = compute(&cache);
        EXPECT_EQ(std::memcmp(&after, &kept, sizeof kept), 0) << each;
        EXPECT_EQ(renderer().memory.liveAllocations(), 2u);
        library::destroy_scatter(cache);
    }
    renderer().memory.fails = nullptr;
}

TEST_F(Scatter, OfBrokenNumbersIsBlackOrLight) {
    setBox(3);
    const ScatterSettings sound = settings;
    whole = *state;
    for (const miScalar odd : {kNaN, kInfinity, -kInfinity, -1.0f, 0.0f, 1e-40f, 1e-6f, 1e14f, 1e30f, 3e38f}) {
        miScalar* const numbers[] = {
            &settings.scatterRadius,  &settings.scatterAccuracy, &settings.color.r,     &brightness,
            &settings.scatterColor.r, &settings.diffuse,         &state->normal_geom.x, &state->point.y};
        for (miScalar* const number : numbers)
            for (const bool cached : {false, true}) {
                settings = sound, *state = whole, brightness = 1, cache = nullptr;
                *number = number == &brightness && (odd > 1 || odd < 0)         ? 0
                          : number == &settings.scatterAccuracy && odd == 3e38f ? 8
                                                                                : odd;
                settings.scatterCache = cached;
                const miColor c = compute(cached ? &cache : nullptr);
                for (const miScalar channel : {c.r, c.g, c.b})
                    EXPECT_TRUE(channel >= 0 && channel <= 1 + 1e-5f) << number - &settings.scatterRadius << " " << odd;
                library::destroy_scatter(cache);
            }
    }
    settings.scatterLimit = settings.scatterFalloff = std::numeric_limits<miInteger>::min();
    compute();
    settings = sound, *state = whole, brightness = 1;
    settings.scatterRadius = 0;
    compute();
    EXPECT_EQ(computed, miFALSE);
}

}  // namespace
