/* The light loop around mi_sample_light, shadows pass by pass, and quadrilateral lights in closed form. */
#include <array>
#include <cmath>

#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

/* Numbers used throughout: transmission s, light L, shadow S.
 *   s x L + (1 - s) x S = (.5 x .8 + .5 x .1, .25 x .6 + .75 x .2, 1 x .4 + 0) = (.45, .3, .4)
 *   L - that            = (.35, .3, 0) */
constexpr miColor kTransmission = {.5f, .25f, 1, .75f}, kLight = {.8f, .6f, .4f, .5f}, kShadow = {.1f, .2f, .3f, .25f};
constexpr miColor kFull = {.8f, .6f, .4f, 1}, kArriving = {.45f, .3f, .4f, 1}, kBlocked = {.35f, .3f, 0, 1},
                  kInShadow = {.1f, .2f, .3f, 1}, kAllBlocked = {.7f, .4f, .1f, 1}, kNone = {0, 0, 0, 1},
                  kZero = {0, 0, 0, 0}, kOnes = {1, 1, 1, 1}, kNines = {9, 9, 9, 9};

class LightLoop : public LightingTest {
protected:
    std::string contributing() const {
        std::string text;
        for (const FrameBufferInfo& entry : entries) text += (entry.flags & kContributes) != 0 ? '1' : '0';
        return text;
    }
    void setUp() { library::setupLightContributions(count(), first(), state); }
    void expect(std::size_t entry, const miColor& light, const miColor& shadow) {
        SCOPED_TRACE(entry);
        EXPECT_COLOR(entries[entry].lightValue, light.r, light.g, light.b, light.a);
        EXPECT_COLOR(entries[entry].shadowValue, shadow.r, shadow.g, shadow.b, shadow.a);
    }
    void end(miInteger samples, miUint mode, miCBoolean flags) {
        const miScalar weight = .5f;
        library::sampleLightEnd(state, count(), first(), samples, &mode, &flags, &weight);
    }
};

TEST_F(LightLoop, WritesTheMeanOfItsSamples) {
    const miUint defaults[12] = {0, 1, 1};
    EXPECT_EQ(std::memcmp(&twin::libraryVariable<const miUint>("defaultLightDataArray"), defaults, 48), 0);
    setEntries({1, kClosed, kContributes});
    library::sampleLightBegin(count(), first());
    EXPECT_EQ(entries[0].flags, 1 | kInLoop | kNotSetUp);
    EXPECT_EQ(entries[1].flags, kClosed);
    EXPECT_EQ(entries[2].flags, kContributes);
    for (FrameBufferInfo& entry : entries) {
        EXPECT_COLOR(entry.lightSum, 0, 0, 0, 0);
        EXPECT_COLOR(entry.lightValue, 9, 9, 9, 9);
        entry.lightSum = {1, 2, 3, 4};  // holds the light already
    }
    slots[0].contribution = {10, 10, 10, 10};
    end(4, kWriteAdd, 0);
    EXPECT_EQ(entries[0].flags, 1 | kNotSetUp);
    EXPECT_COLOR(slots[0].contribution, 10.25f, 10.5f, 10.75f, 11);
    EXPECT_COLOR(slots[6].contribution, 0, 0, 0, 0);
    end(2, kWriteReplace, kWriteWeighted);
    EXPECT_COLOR(slots[12].contribution, .25f, .5f, .75f, 1);
    for (const miInteger samples : {0, -1, -2147483647 - 1}) {
        entries[0].flags = kInLoop;
        end(samples, kWriteReplace, 0);
        EXPECT_EQ(entries[0].flags, 0u);
        EXPECT_COLOR(slots[0].contribution, .25f, .5f, .75f, 1);
    }
}

/* "5a": 5 = passes 0 and 2 of the first four, a = 10 = passes 5 and 7 of the second four; pass 8 has no digit. */
TEST_F(LightLoop, MasksDecideWhichPassesALightContributesTo) {
    twin::Database& database = renderer().database;
    const miTag byData = database.addInstance(miNULLTAG), empty = database.addInstance(miNULLTAG);
    database.record<miInstance>(byData).userdata = database.addUserdata({database.addString("5a")});
    database.record<miInstance>(empty).userdata = database.addUserdata({});
    const std::string all = "111111111", some = "101001010";
    const std::pair<miTag, std::string> rows[] = {{state->light_instance, all},
                                                  {maskedInstance("5a"), some},
                                                  {maskedInstance(""), all},
                                                  {byData, some},
                                                  {empty, all},
                                                  {database.addInstance(miNULLTAG, {0}), all},
                                                  {database.addInstance(miNULLTAG, {state->instance}), all},
                                                  {database.addString("5a"), all}};
    for (const auto& [instance, passes] : rows) {
        setEntries({kNotSetUp, kNotSetUp | kContributes, 0, 0, 0, 0, 0, 0, 0});
        state->light_instance = instance;
        setUp();
        EXPECT_EQ(contributing(), passes) << instance;
        EXPECT_TRUE(!(entries[0].flags & kNotSetUp) && (entries[1].flags & kNotSetUp));
    }
    EXPECT_TRUE(renderer().messages().empty());
    state->light_instance = miNULLTAG;
    setUp();
    EXPECT_EQ(contributing(), "111111111");
    EXPECT_EQ(renderer().messageCount("error", "setupLightContributions was called outside of a light shader."), 1);
}

/* Numbers, tags of nothing and of other things: parameters and data of others, before a mask or without one. */
TEST_F(LightLoop, MasksAreFoundAmongForeignData) {
    twin::Database& database = renderer().database;
    const miTag mask = database.addString("1"), instance = database.addInstance(miNULLTAG, {0x7FFFFFFF, mask});
    const miTag ours = database.addUserdata({mask}), foreign = database.addUserdata({0x46427566, mask}, ours);
    state->light_instance = instance;
    for (const miTag data : {database.addUserdata({instance}, foreign), database.addUserdata({}, ours), ours}) {
        database.record<miInstance>(instance).userdata = data;
        setEntries({0, 0});
        setUp();
        EXPECT_EQ(contributing(), "10");
    }
    database.record<miUserdata>(foreign).next_data = miNULLTAG;
    database.record<miInstance>(instance).userdata = foreign;
    setUp();
    EXPECT_EQ(contributing(), "11");
}

/* At every sample, since nobody else sets them up. */
TEST_F(LightLoop, TakesLightsOfOtherLibrariesOver) {
    setEntries({0, 0, 0});
    library::sampleLightBegin(count(), first());
    const miTag own = state->light_instance, foreign = maskedInstance("5");
    for (const miScalar value : {1.0f, 3.0f}) {
        const miColor sampled = {value, 2 * value, 3 * value, .25f};
        library::handleNonLumoLights(count(), first(), &sampled, foreign, state);
        EXPECT_EQ(entries[0].flags, kInLoop | kNotSetUp | kContributes);
        EXPECT_COLOR(entries[0].lightValue, value, 2 * value, 3 * value, .25f);
        EXPECT_COLOR(entries[1].lightValue, 0, 0, 0, 0);  // alpha 0 here, where the library's own lights leave 1
        EXPECT_COLOR(entries[2].lightValue, value, 2 * value, 3 * value, .25f);
    }
    EXPECT_EQ(state->light_instance, own);
    setUp();  // by one of its own
    library::handleNonLumoLights(count(), first(), &kLight, maskedInstance("0"), state);
    EXPECT_EQ(contributing(), "111");
    EXPECT_EQ(entries[0].lightValue.r, 3);
}

class PassShadows : public LightLoop {
protected:
    enum Entry { kExcluded, kUnshadowed, kPlain, kInvertedEntry, kUnshadowedInverted };

    PassShadows() {
        setEntries({kShadowed | kInverted, kContributes, kContributes | kShadowed, kContributes | kShadowed | kInverted,
                    kContributes | kInverted});
    }
    /* The shadow shaders' part: transmission to the ray's color, `forPasses` to the entries. */
    void block(const miColor& transmission, const miColor& forPasses, miBoolean lit = miTRUE) {
        renderer().tracing.shadow = [=, this](miColor* ray, miState* called) {
            EXPECT_COLOR(*ray, 1, 1, 1, 1);
            for (FrameBufferInfo& entry : entries)
                if (entry.flags & kContributes) EXPECT_COLOR(entry.shadowValue, 1, 1, 1, 1);
            *ray = transmission;
            occlude(forPasses, called);
            return lit;
        };
    }
    miBoolean trace(miCBoolean single) {
        return library::traceShadow(count(), first(), &result, &kLight, &kShadow, single, state);
    }
    miColor result = kNines;
};

TEST_F(PassShadows, ComeFromOneRayOrFromSeveral) {
    // Whether something got through for the picture makes no difference to the passes.
    for (const miBoolean lit : {miTRUE, miFALSE}) {
        block(kZero, kTransmission, lit);
        EXPECT_EQ(trace(0), lit);
        EXPECT_COLOR(result, 0, 0, 0, 0);
        expect(kExcluded, kNone, kZero);
        expect(kUnshadowed, kFull, kZero);
        expect(kUnshadowedInverted, kFull, kZero);
        expect(kPlain, kArriving, kTransmission);
        expect(kInvertedEntry, kBlocked, kArriving);
    }
    // One result for all passes: their own shadow values are as the occluder left them.
    block(kTransmission, kZero);
    EXPECT_EQ(trace(1), miTRUE);
    expect(kExcluded, kNone, kZero);
    expect(kUnshadowed, kFull, kOnes);
    expect(kPlain, kArriving, kZero);
    expect(kInvertedEntry, kBlocked, kArriving);
    // Of a blocked ray it is the shadow color; what is left in the ray's color does not count.
    block(kTransmission, kOnes, miFALSE);
    EXPECT_EQ(trace(1), miFALSE);
    expect(kPlain, kInShadow, kOnes);
    expect(kInvertedEntry, kAllBlocked, kInShadow);

    // The mean of (1, .5, 1, 1) and (0, 0, 1, .5) is the transmission of the single ray.
    library::traceShadowAccumulateBegin(count(), first());
    for (const miColor& each : {miColor{1, .5f, 1, 1}, {0, 0, 1, .5f}}) {
        block(kTransmission, each);
        EXPECT_EQ(library::traceShadowAccumulate(count(), first(), &result, state), miTRUE);
    }
    EXPECT_COLOR(entries[kExcluded].shadowSum, 0, 0, 0, 0);
    library::traceShadowAccumulateEnd(count(), first(), 2, &kLight, &kShadow);
    expect(kExcluded, kNone, kZero);
    expect(kPlain, kArriving, kTransmission);
    // Not as for a single ray: the transmission here, and the light's own alpha there.
    expect(kInvertedEntry, kBlocked, kTransmission);
    expect(kUnshadowed, kLight, kOnes);
    // Without a count the sum stands, s = (1, .5, 2): 1 x .8 + 0, .5 x .6 + .5 x .2, 2 x .4 - 1 x .3
    library::traceShadowAccumulateEnd(count(), first(), 0, &kLight, &kShadow);
    expect(kPlain, {.8f, .4f, .5f, 1}, {1, .5f, 2, 1.5f});

    // Nothing was blocked, so nothing is left to those that record it.
    library::setLightIrradiance(count(), first(), &kLight);
    expect(kExcluded, kNone, kOnes);
    expect(kPlain, kFull, kOnes);
    expect(kUnshadowed, kFull, kOnes);
    expect(kInvertedEntry, kNone, kOnes);
}

TEST_F(LightLoop, OccludersAttenuateShadowedPassesOfTheirMask) {
    constexpr miUint kLit = kContributes | kShadowed;
    const auto apply = [&](const miColor& transparency, const char* mask, miCBoolean intoLight = 0) {
        state->instance = mask ? maskedInstance(mask) : miNULLTAG;
        return occlude(transparency, state, intoLight);
    };
    // Pass 0 alone counts this object; one does not ask. The last three are no shadowed passes of the light.
    for (const bool masked : {true, false}) {
        setEntries({kLit, kLit, kLit | kIgnoresOccluder, kContributes, kShadowed});
        for (FrameBufferInfo& entry : entries) entry.shadowValue = {1, .5f, 2, 4};
        EXPECT_EQ(apply(kTransmission, masked ? "1" : nullptr), miTRUE);
        for (const std::size_t i : {0, 1, 2, 3, 4}) {
            const bool hit = i == 0 || i == 2 || (i == 1 && !masked);
            EXPECT_COLOR(entries[i].shadowValue, hit ? .5f : 1, hit ? .125f : .5f, 2, hit ? 3 : 4);
        }
    }
    EXPECT_EQ(renderer().queries.count(miQ_INST_PARAM), 1) << "the mask is looked up once";
    setEntries({kContributes, kShadowed, 0});
    EXPECT_EQ(apply(kOnes, "f"), miFALSE) << "there are no shadowed passes";
    EXPECT_EQ(renderer().queries.count(miQ_INST_PARAM), 1);

    // The ray ends when no shadowed pass is lit: just below the threshold in all, just above in one.
    setEntries({kLit, kLit, kContributes, kShadowed});
    EXPECT_EQ(apply({0, 0, 0, 1}, nullptr), miFALSE);
    entries[1].shadowValue = {.99e-5f, .99e-5f, .99e-5f, 1};
    EXPECT_EQ(apply(kOnes, nullptr), miFALSE);
    entries[1].shadowValue = {0, 1.01e-5f, 0, 0};
    EXPECT_EQ(apply(kOnes, nullptr), miTRUE);
    EXPECT_EQ(apply(kZero, "1"), miTRUE) << "a pass that leaves the occluder out";

    // Into the light: s' = (.4, .1, 1, .75); taken away: (.4, .3, 0, .25)
    setEntries({kLit, kLit | kInverted});
    for (FrameBufferInfo& entry : entries) entry.shadowValue = {.8f, .4f, 1, 1}, entry.lightValue = {1, 2, 3, .5f};
    EXPECT_EQ(apply(kTransmission, nullptr, 1), miTRUE);
    expect(0, {.5f, .5f, 3, .375f}, {.8f, .4f, 1, 1});
    expect(1, {1.4f, 2.3f, 3, .75f}, {.4f, .1f, 1, .75f});
}

/* The square from -1 to 1, two units above and turned to face down: y of the world is -z of the light. A reflection of
 * any length is best inside; outside it is the best of many points along the edges. */
TEST_F(LightLoop, HighlightsOfRectanglesComeFromTheirClosestPoint) {
    const miVector kPoint = {1, 2, 3};
    const std::array<miVector, 4> corners = {{{0, 4, 2}, {0, 4, 4}, {2, 4, 4}, {2, 4, 2}}};
    const miTag light = renderer().database.addInstance(miNULLTAG);
    const miMatrix toLight = {1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, -1, -3, 4, 1};
    std::memcpy(renderer().database.record<miInstance>(light).tf.global_to_local, toLight, sizeof toLight);
    miVector direction;
    const auto closest = [&](const miVector& r, miTag from) {
        return library::arealight_max_phong_spec_dir(&kPoint, &r, corners.data(), from, &direction);
    };
    const miVector rows[] = {{.3f, 1, -.4f},  {1.2f, 4, -1.6f},  {.8f, .9f, .3f}, {-.9f, .8f, .1f}, {.2f, .7f, -.6f},
                             {.1f, .5f, .9f}, {-.7f, .6f, -.5f}, {.9f, .1f, .4f}, {.6f, -.2f, .1f}};
    for (const miVector& r : rows) {
        SCOPED_TRACE(&r - rows);
        const bool inside = &r < rows + 2;
        const double size = std::hypot(r.x, r.y, r.z);
        double best = inside ? 1 : -2;
        miVector at = twin::vector(r.x / size, r.y / size, r.z / size);
        for (std::size_t step = 0; !inside && step < 8000; ++step) {
            const miVector &a = corners[step / 2000], &b = corners[(step / 2000 + 1) % 4];
            const double t = static_cast<double>(step % 2000) / 2000, x = a.x + t * (b.x - a.x) - 1,
                         z = a.z + t * (b.z - a.z) - 3, way = std::hypot(x, 2, z);
            const double cosine = (x * r.x + 2 * r.y + z * r.z) / way / size;
            if (cosine > best) best = cosine, at = twin::vector(x / way, 2 / way, z / way);
        }
        EXPECT_NEAR(closest(r, light), best, 1e-5);
        EXPECT_NEAR(twin::apart(direction, at), 0, 3e-3);
    }
    // Nothing away from the light; without a light space only edges are left: straight up along one, 2 / sqrt(5).
    EXPECT_EQ(closest({0, -1, 0}, light), 0);
    EXPECT_NEAR(closest({0, 1, 0}, renderer().database.addString("light")), 2 / std::sqrt(5.0), 1e-5);
    EXPECT_EQ(library::arealight_lambertian_reflect(&kPoint, &kPoint, nullptr), 0);
}

}  // namespace
