#include "geometry/flattener.h"

#include "scene_builder.h"
#include "support/messages.h"

#include <gtest/gtest.h>

namespace lumorender {
namespace {

using namespace testing_scenes;

TEST(Flattener, PlacesNestedGroupsByTheProductOfTheirTransforms) {
    SceneBuilder scene;
    const miTag inner = scene.group("inner"), outer = scene.group("outer");
    const miTag object = scene.square("square");
    const miTag leaf = scene.instance("leaf", object, at(1, 0, 0), inner);
    const miTag middle = scene.instance("middle", inner, scaled(2, 2, 2), outer);
    const miTag top = scene.instance("top", outer, at(0, 5, 0));
    const FlatScene flat = flatten(scene.database, scene.root, scene.options);

    ASSERT_EQ(flat.instances.size(), 1u);
    const FlatInstance& instance = flat.instances[0];
    EXPECT_EQ(instance.path, (std::vector<miTag>{top, middle, leaf}));
    EXPECT_EQ(instance.instance, leaf);
    EXPECT_FALSE(instance.moves);
    // The origin goes to (1 0 0), is doubled to (2 0 0), and lifted to (2 5 0).
    EXPECT_DOUBLE_EQ(instance.placement.localToWorld[0][0], 2);
    EXPECT_DOUBLE_EQ(instance.placement.localToWorld[3][0], 2);
    EXPECT_DOUBLE_EQ(instance.placement.localToWorld[3][1], 5);
    EXPECT_FLOAT_EQ(instance.placement.worldToLocalFloat[12], -1);
    EXPECT_FLOAT_EQ(instance.placement.worldToLocalFloat[13], -2.5F);
    EXPECT_DOUBLE_EQ(flat.placements.at(middle).localToWorld[3][1], 5);
}

TEST(Flattener, MotionIsInheritedUnlessSwitchedOff) {
    SceneBuilder scene;
    const miTag group = scene.group("group"), object = scene.square("square");
    scene.instance("still", object, at(1, 0, 0), group);
    scene.detail(scene.instance("off", object, at(2, 0, 0), group)).motionOff = true;
    scene.moveTo(scene.instance("own", object, at(3, 0, 0), group), at(3, 4, 0));
    scene.moveTo(scene.instance("carrier", group), at(0, 0, 5));
    const FlatScene flat = flatten(scene.database, scene.root, scene.options);

    ASSERT_EQ(flat.instances.size(), 3u);
    const auto shift = [&](int i, int axis) {
        const FlatInstance& instance = flat.instances[static_cast<std::size_t>(i)];
        return instance.placementAtClose.localToWorld[3][axis] - instance.placement.localToWorld[3][axis];
    };
    EXPECT_TRUE(flat.instances[0].moves);
    EXPECT_EQ(shift(0, 2), 5);
    EXPECT_FALSE(flat.instances[1].moves);
    EXPECT_EQ(shift(1, 2), 0);
    EXPECT_EQ(shift(2, 1), 4);
    EXPECT_EQ(shift(2, 2), 5);
}

/// -1 = not given; instance values are cast 1, receive 2, don't cast 4, don't receive 8.
struct FlagCase {
    int object, higher, nearer;
    bool casts, receives;
};

TEST(Flattener, NearestInstanceThatSetsAFlagWins) {
    const FlagCase cases[] = {
        {3, -1, -1, true, true}, {0, -1, -1, false, false}, {0, 3, -1, true, true}, {3, 12, -1, false, false},
        {0, 12, 3, true, true},  {3, 3, 12, false, false},  {0, 1, 2, true, true},  {3, 4, 8, false, false},
        {3, 6, -1, false, true}, {3, 0, -1, true, true},    {2, 1, 8, true, false}, {3, 12, 1, true, false},
    };
    for (const FlagCase& c : cases) {
        SceneBuilder scene;
        const miTag group = scene.group("group"), object = scene.square("square");
        scene.objectRecord(object).shadow = static_cast<miUint1>(c.object);
        scene.objectRecord(object).reflection = static_cast<miUint1>(c.object);
        const miTag nearer = scene.instance("nearer", object, kIdentity, group);
        const miTag higher = scene.instance("higher", group);
        scene.detail(nearer).shadow = scene.detail(nearer).reflection = c.nearer;
        scene.detail(higher).shadow = scene.detail(higher).reflection = c.higher;
        const std::uint32_t flags = flatten(scene.database, scene.root, scene.options).instances.at(0).flags;
        SCOPED_TRACE(testing::Message() << c.object << ' ' << c.higher << ' ' << c.nearer);
        EXPECT_EQ((flags & miTRACE_SHADOW_CAST) != 0, c.casts);
        EXPECT_EQ((flags & miTRACE_SHADOW_RECEIVE) != 0, c.receives);
        EXPECT_EQ((flags & miTRACE_REFLECTION_CAST) != 0, c.casts);
        EXPECT_EQ((flags & miTRACE_REFLECTION_RECEIVE) != 0, c.receives);
        EXPECT_NE(flags & miTRACE_REFRACTION_CAST, 0u);
    }
}

TEST(Flattener, VisibilityFaceAndLabelOfObjectAndInstance) {
    SceneBuilder scene;
    scene.options.face = 'b';
    const miTag object = scene.square("square"), front = scene.square("front");
    scene.objectRecord(object).visible = 0;
    scene.objectRecord(object).label = 7;
    scene.objectRecord(front).face = 'f';
    scene.instance("plain", object);
    const miTag special = scene.instance("special", front);
    scene.detail(special).visible = 0;
    scene.record(special).label = 9;
    const miTag shown = scene.instance("shown", object);
    scene.detail(shown).visible = 1;
    scene.detail(shown).face = 'a';
    scene.record(scene.instance("hidden", object)).off = 1;
    const FlatScene flat = flatten(scene.database, scene.root, scene.options);

    ASSERT_EQ(flat.instances.size(), 3u);
    EXPECT_EQ(flat.instances[0].flags & miTRACE_VISIBLE, 0u);
    EXPECT_EQ(flat.instances[0].face, 'b');
    EXPECT_EQ(flat.instances[0].label, 7u);
    EXPECT_EQ(flat.instances[1].flags & miTRACE_VISIBLE, 0u);
    EXPECT_EQ(flat.instances[1].face, 'f');
    EXPECT_EQ(flat.instances[1].label, 9u);
    EXPECT_NE(flat.instances[2].flags & miTRACE_VISIBLE, 0u);
    EXPECT_EQ(flat.instances[2].face, 'a');
}

TEST(Flattener, ListsAndParametersComeFromTheNearestInstanceThatHasThem) {
    SceneBuilder scene;
    const miTag group = scene.group("group"), object = scene.square("square");
    const miTag nearer = scene.instance("nearer", object, kIdentity, group);
    const miTag higher = scene.instance("higher", group);
    scene.detail(higher).hasLights = scene.detail(higher).hasShadowLights = true;
    scene.detail(nearer).hasShadowLights = true;
    scene.record(higher).param_size = 8;
    const FlatInstance flat = flatten(scene.database, scene.root, scene.options).instances.at(0);
    EXPECT_EQ(flat.lightListInstance, higher);
    EXPECT_EQ(flat.shadowListInstance, nearer);
    EXPECT_EQ(flat.parameterInstance, higher);
}

TEST(Flattener, CollectsLightsAndCamerasAlsoFromGroups) {
    SceneBuilder scene;
    const miTag group = scene.group("lights");
    const miTag light = scene.database.define("light", miSCENE_LIGHT, 256);
    const miTag camera = scene.database.define("camera", miSCENE_CAMERA, 256);
    scene.instance("left", light, at(-1, 0, 0), group);
    scene.instance("right", light, at(1, 0, 0), group);
    scene.instance("both", group, at(0, 3, 0));
    const miTag seer = scene.instance("seer", camera, at(0, 0, 9));
    const auto geometry = scene.build();

    ASSERT_EQ(geometry->lights().size(), 2u);
    EXPECT_EQ(geometry->lights()[1].element, light);
    EXPECT_EQ(geometry->lights()[1].placement.localToWorld[3][0], 1);
    EXPECT_EQ(geometry->lights()[1].placement.localToWorld[3][1], 3);
    ASSERT_EQ(geometry->cameras().size(), 1u);
    EXPECT_EQ(geometry->cameras()[0].instance, seer);
    ASSERT_NE(geometry->placement(seer), nullptr);
    EXPECT_EQ(geometry->placement(seer)->localToWorld[3][2], 9);
    EXPECT_EQ(geometry->placement(light), nullptr);
    Hit hit;
    EXPECT_FALSE(geometry->intersect(down(0, 0), hit));
}

/// Runs and returns what was printed.
template <class Action>
std::string messagesOf(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

TEST(Flattener, BrokenInstancesAreNamedAndLeftOut) {
    SceneBuilder scene;
    const miTag object = scene.square("square"), group = scene.group("snake");
    scene.instance("good", object, kIdentity, group);
    scene.instance("tail", group, at(1, 0, 0), group);
    scene.instance("snake_instance", group);
    scene.instance("orphan", scene.database.reserve("never_defined"));
    scene.instance("squashed", object, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 4, 5, 6, 1});
    scene.put(scene.root, object);
    FlatScene flat;
    const std::string text = messagesOf([&] { flat = flatten(scene.database, scene.root, scene.options); });

    ASSERT_EQ(flat.instances.size(), 2u);
    for (const char* name : {"tail", "orphan", "never_defined", "squashed", "singular", "contains itself"})
        EXPECT_NE(text.find(name), std::string::npos) << name << " in:\n" << text;
    EXPECT_EQ(flat.instances[1].placement.localToWorld[0][0], 1);
    EXPECT_EQ(flat.instances[1].placement.localToWorld[3][0], 0);
    EXPECT_THROW(flatten(scene.database, object, scene.options), Failure);
}

TEST(Flattener, GraphsThatUnfoldWithoutEndAreRefused) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "sixteen million steps of one thread take minutes with the thread sanitizer";
#endif
    SceneBuilder scene;
    miTag above = scene.root;
    for (int level = 0; level < 60; ++level) {
        const miTag group = scene.group(fmt::format("group{}", level));
        scene.instance(fmt::format("left{}", level), group, kIdentity, above);
        scene.instance(fmt::format("right{}", level), group, kIdentity, above);
        above = group;
    }
    EXPECT_THROW(flatten(scene.database, scene.root, scene.options), Failure);
}

}  // namespace
}  // namespace lumorender
