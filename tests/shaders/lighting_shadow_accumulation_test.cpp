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

    ShadowAccumulation()
    {
        setEntries({kShadowed | kInverted, kContributes, kContributes | kShadowed,
                    kContributes | kShadowed | kInverted, kContributes | kInverted});
    }

    /* The shadow shaders' part: transmission to the ray's color, `forPasses` to the entries. */
    void occlude(const miColor& transmission, const miColor& forPasses, miBoolean lit = miTRUE)
    {
        renderer().tracing.shadow = [=, this](miColor* ray, miState* called) {
            EXPECT_COLOR(*ray, 1, 1, 1, 1);
            EXPECT_EQ(called, state);
            for (FrameBufferInfo& entry : entries)
                if ((entry.flags & kContributes) != 0)
                    EXPECT_COLOR(entry.shadowValue, 1, 1, 1, 1);
            *ray = transmission;
            library::applyShadowTransparencyToFrameBuffers(count(), first(), &forPasses, 0, called);
            return lit;
        };
    }

    miBoolean trace(miCBoolean single)
    {
        return library::traceShadow(count(), first(), &result, &kLight, &kShadow, single, state);
    }
    void accumulate(const miColor& forPasses)
    {
        occlude(kTransmission, forPasses);
        EXPECT_EQ(library::traceShadowAccumulate(count(), first(), &result, state), miTRUE);
    }
    void end(miUint samples) { library::traceShadowAccumulateEnd(count(), first(), samples, &kLight, &kShadow); }

    miColor result = {9, 9, 9, 9};
};

TEST_F(ShadowAccumulation, EachPassGetsItsOwnShadow)
{
    // Whether something got through for the picture makes no difference to the passes.
    for (const miBoolean lit : {miTRUE, miFALSE}) {
        occlude({0, 0, 0, 0}, kTransmission, lit);
        EXPECT_EQ(trace(0), lit);
        EXPECT_COLOR(result, 0, 0, 0, 0);
        EXPECT_COLOR(entries[kExcluded].lightValue, 0, 0, 0, 1);
        EXPECT_COLOR(entries[kExcluded].shadowValue, 0, 0, 0, 0);
        EXPECT_COLOR(entries[kUnshadowed].lightValue, 0.8f, 0.6f, 0.4f, 1);
        EXPECT_COLOR(entries[kUnshadowed].shadowValue, 0, 0, 0, 0);
        EXPECT_COLOR(entries[kUnshadowedInverted].lightValue, 0.8f, 0.6f, 0.4f, 1);
        EXPECT_COLOR(entries[kPlain].lightValue, 0.45f, 0.3f, 0.4f, 1);
        EXPECT_COLOR(entries[kPlain].shadowValue, 0.5f, 0.25f, 1, 0.75f);
        EXPECT_COLOR(entries[kInvertedEntry].lightValue, 0.35f, 0.3f, 0, 1);
        EXPECT_COLOR(entries[kInvertedEntry].shadowValue, 0.45f, 0.3f, 0.4f, 1);
    }
}

TEST_F(ShadowAccumulation, OpaqueOccludersLeaveTheShadowColor)
{
    occlude({0, 0, 0, 0}, {0, 0, 0, 0}, miFALSE);
    trace(0);
    EXPECT_COLOR(entries[kPlain].lightValue, 0.1f, 0.2f, 0.3f, 1);
    // L - S = (.7, .4, .1)
    EXPECT_COLOR(entries[kInvertedEntry].lightValue, 0.7f, 0.4f, 0.1f, 1);
    EXPECT_COLOR(entries[kInvertedEntry].shadowValue, 0.1f, 0.2f, 0.3f, 1);
}

TEST_F(ShadowAccumulation, OneResultForAllPasses)
{
    occlude(kTransmission, {0, 0, 0, 0});
    EXPECT_EQ(trace(1), miTRUE);
    EXPECT_COLOR(result, 0.5f, 0.25f, 1, 0.75f);
    EXPECT_COLOR(entries[kExcluded].lightValue, 0, 0, 0, 1);
    EXPECT_COLOR(entries[kExcluded].shadowValue, 9, 9, 9, 9);
    EXPECT_COLOR(entries[kUnshadowed].lightValue, 0.8f, 0.6f, 0.4f, 1);
    EXPECT_COLOR(entries[kUnshadowed].shadowValue, 1, 1, 1, 1);
    EXPECT_COLOR(entries[kPlain].lightValue, 0.45f, 0.3f, 0.4f, 1);
    EXPECT_COLOR(entries[kPlain].shadowValue, 0, 0, 0, 0);  // as the occluder left it
    EXPECT_COLOR(entries[kInvertedEntry].lightValue, 0.35f, 0.3f, 0, 1);
    EXPECT_COLOR(entries[kInvertedEntry].shadowValue, 0.45f, 0.3f, 0.4f, 1);
}

TEST_F(ShadowAccumulation, OneResultOfABlockedRayIsTheShadowColor)
{
    // What is left in the ray's color does not count.
    occlude(kTransmission, {1, 1, 1, 1}, miFALSE);
    EXPECT_EQ(trace(1), miFALSE);
    EXPECT_COLOR(entries[kUnshadowed].lightValue, 0.8f, 0.6f, 0.4f, 1);
    EXPECT_COLOR(entries[kPlain].lightValue, 0.1f, 0.2f, 0.3f, 1);
    EXPECT_COLOR(entries[kInvertedEntry].lightValue, 0.7f, 0.4f, 0.1f, 1);
    EXPECT_COLOR(entries[kInvertedEntry].shadowValue, 0.1f, 0.2f, 0.3f, 1);
}

TEST_F(ShadowAccumulation, SeveralRaysAreAveraged)
{
    library::traceShadowAccumulateBegin(count(), first());
    for (const FrameBufferInfo& entry : entries)
        EXPECT_COLOR(entry.shadowSum, 0, 0, 0, 0);
    // The mean of (1, .5, 1, 1) and (0, 0, 1, .5) is the transmission of the single ray.
    accumulate({1, 0.5f, 1, 1});
    accumulate({0, 0, 1, 0.5f});
    EXPECT_COLOR(entries[kPlain].shadowSum, 1, 0.5f, 2, 1.5f);
    EXPECT_COLOR(entries[kUnshadowed].shadowSum, 2, 2, 2, 2);
    EXPECT_COLOR(entries[kExcluded].shadowSum, 0, 0, 0, 0);

    end(2);
    EXPECT_COLOR(entries[kExcluded].lightValue, 0, 0, 0, 1);
    EXPECT_COLOR(entries[kExcluded].shadowValue, 0, 0, 0, 0);
    EXPECT_COLOR(entries[kPlain].lightValue, 0.45f, 0.3f, 0.4f, 1);
    EXPECT_COLOR(entries[kPlain].shadowValue, 0.5f, 0.25f, 1, 0.75f);
    EXPECT_COLOR(entries[kInvertedEntry].lightValue, 0.35f, 0.3f, 0, 1);
    // Not as for a single ray: the transmission here, and the light's own alpha there.
    EXPECT_COLOR(entries[kInvertedEntry].shadowValue, 0.5f, 0.25f, 1, 0.75f);
    EXPECT_COLOR(entries[kUnshadowed].lightValue, 0.8f, 0.6f, 0.4f, 0.5f);
    EXPECT_COLOR(entries[kUnshadowed].shadowValue, 1, 1, 1, 1);
}

TEST_F(ShadowAccumulation, WithoutACountTheSumStands)
{
    library::traceShadowAccumulateBegin(count(), first());
    accumulate({1, 0.5f, 1, 1});
    accumulate({0, 0, 1, 0.5f});
    end(0);
    // s = (1, .5, 2): 1 x .8 + 0, .5 x .6 + .5 x .2, 2 x .4 - 1 x .3
    EXPECT_COLOR(entries[kPlain].shadowValue, 1, 0.5f, 2, 1.5f);
    EXPECT_COLOR(entries[kPlain].lightValue, 0.8f, 0.4f, 0.5f, 1);
}

TEST_F(ShadowAccumulation, TracesWithoutEntriesToo)
{
    renderer().tracing.shadow = [](miColor* ray, miState*) {
        EXPECT_COLOR(*ray, 1, 1, 1, 1);
        ray->g = 0.5f;
        return miTRUE;
    };
    for (FrameBufferInfo* none : {first(), static_cast<FrameBufferInfo*>(nullptr)})
        for (const miUint claimed : {0u, none ? 0u : 3u}) {
            EXPECT_EQ(library::traceShadow(claimed, none, &result, &kLight, &kShadow, 0, state), miTRUE);
            EXPECT_COLOR(result, 1, 0.5f, 1, 1);
            library::traceShadowAccumulateBegin(claimed, none);
            EXPECT_EQ(library::traceShadowAccumulate(claimed, none, &result, state), miTRUE);
            EXPECT_COLOR(result, 1, 0.5f, 1, 1);
            library::traceShadowAccumulateEnd(claimed, none, 1, &kLight, &kShadow);
            EXPECT_EQ(library::applyShadowTransparencyToFrameBuffers(claimed, none, &kLight, 0, state), miFALSE);
        }
    EXPECT_COLOR(entries[kPlain].lightValue, 9, 9, 9, 9);
}

class Occluders : public LightingTest {
protected:
    static constexpr miUint kLit = kContributes | kShadowed;

    miBoolean apply(const miColor& transparency, miCBoolean accumulateOnly = 0)
    {
        return library::applyShadowTransparencyToFrameBuffers(count(), first(), &transparency, accumulateOnly, state);
    }
};

TEST_F(Occluders, AttenuateShadowedPassesOfTheirMask)
{
    setEntries({kLit, kLit, kLit | kIgnoresOccluder, kContributes, kShadowed});
    for (FrameBufferInfo& entry : entries)
        entry.shadowValue = {1, 0.5f, 2, 4};
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

TEST_F(Occluders, EndTheRayWhenNoShadowedPassIsLit)
{
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

TEST_F(Occluders, CanBeAccumulatedIntoTheLight)
{
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

TEST_F(Occluders, LookTheirMaskUpOnceAndOnlyWhenNeeded)
{
    state->instance = maskedInstance("f");
    setEntries({kContributes, kShadowed});
    apply(kTransmission);
    EXPECT_EQ(renderer().queries.count(miQ_INST_PARAM), 0);
    setEntries(std::vector<miUint>(20, kLit));
    apply(kTransmission);
    EXPECT_EQ(renderer().queries.count(miQ_INST_PARAM), 1);
}

}  // namespace
