/* The light loop around mi_sample_light: masks of lights, lights of other libraries, means. */
#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

class LightLoop : public LightingTest {
protected:
    std::string contributing() {
        std::string text;
        for (const FrameBufferInfo& entry : entries) text += (entry.flags & kContributes) != 0 ? '1' : '0';
        return text;
    }
    void setUp() { library::setupLightContributions(count(), first(), state); }

    const miUint mode = kWriteAdd;
    const miCBoolean plain = 0;
    const miScalar weight = 0.5f;
};

TEST_F(LightLoop, StartsWithDefaultLightData) {
    const miUint expected[12] = {0, 1, 1};
    EXPECT_EQ(std::memcmp(&twin::libraryVariable<const miUint>("defaultLightDataArray"), expected, 48), 0);
}

TEST_F(LightLoop, BeginMarksTheFirstEntryAndClearsSums) {
    setEntries({0x1, 0x2, kContributes});
    library::sampleLightBegin(count(), first());
    EXPECT_EQ(entries[0].flags, 0x1u | kInLoop | kNotSetUp);
    EXPECT_EQ(entries[1].flags, 0x2u);
    EXPECT_EQ(entries[2].flags, kContributes);
    for (const FrameBufferInfo& entry : entries) {
        EXPECT_COLOR(entry.lightSum, 0, 0, 0, 0);
        EXPECT_COLOR(entry.lightValue, 9, 9, 9, 9);
    }
}

TEST_F(LightLoop, MasksDecideWhichPassesALightContributesTo) {
    // "5a": 5 = passes 0 and 2 of the first four, a = 10 = passes 5 and 7 of the second four; pass 8 has no digit.
    const std::string all = "111111111", some = "101001010";
    const auto expect = [&](miTag instance, const std::string& passes, const char* what) {
        setEntries(std::vector<miUint>(9, kNotSetUp));
        entries[1].flags |= kContributes;
        state->light_instance = instance;
        setUp();
        EXPECT_EQ(contributing(), passes) << what;
        EXPECT_EQ(entries[0].flags & kNotSetUp, 0u) << what;
        EXPECT_EQ(entries[1].flags & kNotSetUp, kNotSetUp) << what;
    };
    twin::Database& database = renderer().database;
    expect(state->light_instance, all, "no mask");
    expect(maskedInstance("5a"), some, "instance parameters");
    expect(maskedInstance(""), all, "empty mask");

    const miTag byData = database.addInstance(miNULLTAG);
    database.record<miInstance>(byData).userdata = database.addUserdata({database.addString("5a")});
    expect(byData, some, "user data");
    database.record<miInstance>(byData).userdata = database.addUserdata({});
    expect(byData, all, "user data of size 0");

    // Things that are no masks and no instances.
    expect(database.addInstance(miNULLTAG, {0}), all, "null tag as mask");
    expect(database.addInstance(miNULLTAG, {database.add(miSCENE_OBJECT, sizeof(miObject))}), all, "object as mask");
    expect(database.addString("5a"), all, "text as instance");
    EXPECT_TRUE(renderer().messages().empty());
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

TEST_F(LightLoop, SetupOutsideOfALightIsReportedAndContributesToAll) {
    setEntries({kNotSetUp, 0});
    state->light_instance = miNULLTAG;
    setUp();
    EXPECT_EQ(contributing(), "11");
    EXPECT_EQ(renderer().messageCount("error", "setupLightContributions was called outside of a light shader."), 1);
}

TEST_F(LightLoop, ForeignLightsAreTakenOverAtEverySample) {
    setEntries({0, 0, 0});
    library::sampleLightBegin(count(), first());
    const miTag own = state->light_instance, foreign = maskedInstance("5");
    for (int sample = 1; sample <= 4; ++sample) {
        const auto value = static_cast<miScalar>(sample);
        const miColor sampled = {value, 2 * value, 3 * value, 0.25f};
        library::handleNonLumoLights(count(), first(), &sampled, foreign, state);
        EXPECT_EQ(entries[0].flags, kInLoop | kNotSetUp | kContributes);
        EXPECT_COLOR(entries[0].lightValue, value, 2 * value, 3 * value, 0.25f);
        EXPECT_COLOR(entries[2].lightValue, value, 2 * value, 3 * value, 0.25f);
        // Excluded: alpha 0 here, where the library's own lights leave 1.
        EXPECT_COLOR(entries[1].lightValue, 0, 0, 0, 0);
    }
    EXPECT_EQ(state->light_instance, own);
    EXPECT_TRUE(renderer().messages().empty());
}

TEST_F(LightLoop, OwnLightsAreLeftAlone) {
    setEntries({0, 0});
    library::sampleLightBegin(count(), first());
    setUp();
    const miColor sampled = {1, 2, 3, 4};
    library::handleNonLumoLights(count(), first(), &sampled, maskedInstance("0"), state);
    EXPECT_EQ(contributing(), "11");
    EXPECT_COLOR(entries[0].lightValue, 9, 9, 9, 9);
}

TEST_F(LightLoop, UnshadowedLightLeavesNothingToInvertedPasses) {
    setEntries({kContributes, kContributes | kInverted | kShadowed, kShadowed, kContributes | kShadowed});
    const miColor light = {0.5f, 0.25f, 2, 0.125f};
    library::setLightIrradiance(count(), first(), &light);
    EXPECT_COLOR(entries[0].lightValue, 0.5f, 0.25f, 2, 1);
    EXPECT_COLOR(entries[1].lightValue, 0, 0, 0, 1);
    EXPECT_COLOR(entries[2].lightValue, 0, 0, 0, 1);
    EXPECT_COLOR(entries[3].lightValue, 0.5f, 0.25f, 2, 1);
    for (const FrameBufferInfo& entry : entries) EXPECT_COLOR(entry.shadowValue, 1, 1, 1, 1);
}

TEST_F(LightLoop, EndWritesTheMeanOfTheSamples) {
    setEntries({kInLoop | 0x1, kClosed, 0});
    for (FrameBufferInfo& entry : entries) entry.lightSum = {1, 2, 3, 4};
    entries[2].lightValue = {0, 0, 0, 0};  // the sum holds the light already
    slots[0].contribution = {10, 10, 10, 10};
    library::sampleLightEnd(state, count(), first(), 4, &mode, &plain, &weight);
    EXPECT_EQ(entries[0].flags, 0x1u);
    EXPECT_COLOR(slots[0].contribution, 10.25f, 10.5f, 10.75f, 11);
    EXPECT_COLOR(slots[6].contribution, 0, 0, 0, 0);
    EXPECT_COLOR(slots[12].contribution, 0.25f, 0.5f, 0.75f, 1);

    // Mode, flags and weight reach the write: replaced by half of the mean of two.
    const miUint replace = kWriteReplace;
    const miCBoolean weighted = kWriteWeighted;
    library::sampleLightEnd(state, count(), first(), 2, &replace, &weighted, &weight);
    EXPECT_COLOR(slots[12].contribution, 0.25f, 0.5f, 0.75f, 1);
}

TEST_F(LightLoop, EndWithoutSamplesOnlyEndsTheLoop) {
    for (const miInteger samples : {0, -1, -2147483647 - 1}) {
        setEntries({kInLoop});
        library::sampleLightEnd(state, count(), first(), samples, &mode, &plain, &weight);
        EXPECT_EQ(entries[0].flags, 0u);
        EXPECT_COLOR(slots[0].contribution, 0, 0, 0, 0);
    }
}

}  // namespace
