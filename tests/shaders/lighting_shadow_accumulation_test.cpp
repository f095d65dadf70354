/* Shadows pass by pass: single rays, several rays, and what occluders take away. */
#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

/* Numbers used throughout: transmission s, light L, shadow S.
 *   s x L + (1 - s) x S = (.5 x .8 + .5 x .1, .25 x .6 + .75 x .2, 1 x .4 + 0) = (.45, .3, .4)
 *   L - that            = (.35, .3, 0) */
constexpr miColor kTransmission = {0.5f, 0.25f, 1, 0.75f};
constexpr miColor kLight = {0.8f, 0.6f, 0.4f, 0.5f};
constexpr miColor kShadow = {0.1f, 0.2f, 0.3f, 0.25f};

class ShadowAccumulation : public LightingTest {
protected:
    enum Entry { kExcluded, kUnshadowed, kPlain, kInvertedEntry, kUnshadowedInverted };

    ShadowAccumulation() {
        setEntries({kShadowed | kInverted, kContributes, kContributes | kShadowed, kContributes | kShadowed | kInverted,
                    kContributes | kInverted});
    }

    /* The shadow shaders' part: transmission to the ray's color, `forPasses` to the entries. */
    void occlude(const miColor& transmission, const miColor& forPasses, miBoolean lit = miTRUE) {
        renderer().tracing.shadow = [=, this](miColor* ray, miState* called) {
            EXPECT_COLOR(*ray, 1, 1, 1, 1);
            EXPECT_EQ(called, state);
            for (FrameBufferInfo& entry : entries)
                if ((entry.flags & kContributes) != 0) EXPECT_COLOR(entry.shadowValue, 1, 1, 1, 1);
            *ray = transmission;
            library::applyShadowTransparencyToFrameBuffers(count(), first(), &forPasses, 0, called);
            return lit;
        };
    }

    miBoolean trace(miCBoolean single) {
        return library::traceShadow(count(), first(), &result, &kLight, &kShadow, single, state);
    }
    void accumulate(const miColor& forPasses) {
        occlude(kTransmission, forPasses);
        EXPECT_EQ(library::traceShadowAccumulate(count(), first(), &result, state), miTRUE);
    }
    void end(miUint samples) { library::traceShadowAccumulateEnd(count(), first(), samples, &kLight, &kShadow); }

    void expect(Entry which, const miColor& light, const miColor& shadow) {
        SCOPED_TRACE(which);
        EXPECT_COLOR(entries[which].lightValue, light.r, light.g, light.b, light.a);
        EXPECT_COLOR(entries[which].shadowValue, shadow.r, shadow.g, shadow.b, shadow.a);
    }

    static constexpr miColor kFull = {0.8f, 0.6f, 0.4f, 1}, kArriving = {0.45f, 0.3f, 0.4f, 1},
                             kBlocked = {0.35f, 0.3f, 0, 1}, kInShadow = {0.1f, 0.2f, 0.3f, 1},
                             kAllBlocked = {0.7f, 0.4f, 0.1f, 1}, kNone = {0, 0, 0, 1}, kZero = {0, 0, 0, 0},
                             kOnes = {1, 1, 1, 1}, kNines = {9, 9, 9, 9};
    miColor result = kNines;
};

TEST_F(ShadowAccumulation, EachPassGetsItsOwnShadow) {
    // Whether something got through for the picture makes no difference to the passes.
    for (const miBoolean lit : {miTRUE, miFALSE}) {
        occlude(kZero, kTransmission, lit);
        EXPECT_EQ(trace(0), lit);
        EXPECT_COLOR(result, 0, 0, 0, 0);
        expect(kExcluded, kNone, kZero);
        expect(kUnshadowed, kFull, kZero);
        expect(kUnshadowedInverted, kFull, kZero);
        expect(kPlain, kArriving, kTransmission);
        expect(kInvertedEntry, kBlocked, kArriving);
    }
    occlude(kZero, kZero, miFALSE);
    trace(0);
    expect(kPlain, kInShadow, kZero);
    expect(kInvertedEntry, kAllBlocked, kInShadow);
}

TEST_F(ShadowAccumulation, OneResultForAllPasses) {
    // Their own shadow values are as the occluder left them.
    occlude(kTransmission, kZero);
    EXPECT_EQ(trace(1), miTRUE);
    EXPECT_COLOR(result, 0.5f, 0.25f, 1, 0.75f);
    expect(kExcluded, kNone, kNines);
    expect(kUnshadowed, kFull, kOnes);
    expect(kPlain, kArriving, kZero);
    expect(kInvertedEntry, kBlocked, kArriving);

    // Of a blocked ray it is the shadow color; what is left in the ray's color does not count.
    occlude(kTransmission, kOnes, miFALSE);
    EXPECT_EQ(trace(1), miFALSE);
    expect(kUnshadowed, kFull, kOnes);
    expect(kPlain, kInShadow, kOnes);
    expect(kInvertedEntry, kAllBlocked, kInShadow);
}

TEST_F(ShadowAccumulation, SeveralRaysAreAveraged) {
    library::traceShadowAccumulateBegin(count(), first());
    // The mean of (1, .5, 1, 1) and (0, 0, 1, .5) is the transmission of the single ray.
    accumulate({1, 0.5f, 1, 1});
    accumulate({0, 0, 1, 0.5f});
    EXPECT_COLOR(entries[kPlain].shadowSum, 1, 0.5f, 2, 1.5f);
    EXPECT_COLOR(entries[kUnshadowed].shadowSum, 2, 2, 2, 2);
    EXPECT_COLOR(entries[kExcluded].shadowSum, 0, 0, 0, 0);

    end(2);
    expect(kExcluded, kNone, kZero);
    expect(kPlain, kArriving, kTransmission);
    // Not as for a single ray: the transmission here, and the light's own alpha there.
    expect(kInvertedEntry, kBlocked, kTransmission);
    expect(kUnshadowed, kLight, kOnes);

    // Without a count the sum stands, s = (1, .5, 2): 1 x .8 + 0, .5 x .6 + .5 x .2, 2 x .4 - 1 x .3
    end(0);
    expect(kPlain, {0.8f, 0.4f, 0.5f, 1}, {1, 0.5f, 2, 1.5f});
}

class Occluders : public LightingTest {
protected:
    static constexpr miUint kLit = kContributes | kShadowed;

    miBoolean apply(const miColor& transparency, miCBoolean accumulateOnly = 0) {
        return library::applyShadowTransparencyToFrameBuffers(count(), first(), &transparency, accumulateOnly, state);
    }
};

TEST_F(Occluders, AttenuateShadowedPassesOfTheirMask) {
    setEntries({kLit, kLit, kLit | kIgnoresOccluder, kContributes, kShadowed});
    for (FrameBufferInfo& entry : entries) entry.shadowValue = {1, 0.5f, 2, 4};
    state->instance = maskedInstance("1");  // pass 0 alone
    EXPECT_EQ(apply(kTransmission), miTRUE);
    EXPECT_COLOR(entries[0].shadowValue, 0.5f, 0.125f, 2, 3);
    EXPECT_COLOR(entries[1].shadowValue, 1, 0.5f, 2, 4);
    EXPECT_COLOR(entries[2].shadowValue, 0.5f, 0.125f, 2, 3);  // does not ask for the mask
    EXPECT_COLOR(entries[3].shadowValue, 1, 0.5f, 2, 4);
    EXPECT_COLOR(entries[4].shadowValue, 1, 0.5f, 2, 4);

    state->instance = miNULLTAG;
    apply(kTransmission);
    EXPECT_COLOR(entries[1].shadowValue, 0.5f, 0.125f, 2, 3);  // no mask
}

TEST_F(Occluders, EndTheRayWhenNoShadowedPassIsLit) {
    setEntries({kLit, kLit, kContributes, kShadowed});
    EXPECT_EQ(apply({0, 0, 0, 1}), miFALSE);
    // Just below the threshold in all, just above in one.
    entries[1].shadowValue = {0.99e-5f, 0.99e-5f, 0.99e-5f, 1};
    EXPECT_EQ(apply({1, 1, 1, 1}), miFALSE);
    entries[1].shadowValue = {0, 1.01e-5f, 0, 0};
    EXPECT_EQ(apply({1, 1, 1, 1}), miTRUE);

    // A pass that leaves the occluder out keeps the ray going.
    setEntries({kLit, kLit});
    state->instance = maskedInstance("1");
    EXPECT_EQ(apply({0, 0, 0, 0}), miTRUE);
    EXPECT_COLOR(entries[0].shadowValue, 0, 0, 0, 0);

    setEntries({kContributes, kShadowed, 0});
    EXPECT_EQ(apply({1, 1, 1, 1}), miFALSE) << "there are no shadowed passes";
}

TEST_F(Occluders, CanBeAccumulatedIntoTheLight) {
    setEntries({kLit, kLit | kInverted});
    for (FrameBufferInfo& entry : entries) {
        entry.shadowValue = {0.8f, 0.4f, 1, 1};
        entry.lightValue = {1, 2, 3, 0.5f};
    }
    EXPECT_EQ(apply(kTransmission, 1), miTRUE);
    EXPECT_COLOR(entries[0].lightValue, 0.5f, 0.5f, 3, 0.375f);
    EXPECT_COLOR(entries[0].shadowValue, 0.8f, 0.4f, 1, 1);
    // s' = (.4, .1, 1, .75); taken away: (.4, .3, 0, .25)
    EXPECT_COLOR(entries[1].shadowValue, 0.4f, 0.1f, 1, 0.75f);
    EXPECT_COLOR(entries[1].lightValue, 1.4f, 2.3f, 3, 0.75f);
}

TEST_F(Occluders, LookTheirMaskUpOnceAndOnlyWhenNeeded) {
    state->instance = maskedInstance("f");
    setEntries({kContributes, kShadowed});
    apply(kTransmission);
    EXPECT_EQ(renderer().queries.count(miQ_INST_PARAM), 0);
    setEntries(std::vector<miUint>(20, kLit));
    apply(kTransmission);
    EXPECT_EQ(renderer().queries.count(miQ_INST_PARAM), 1);
}

}  // namespace
