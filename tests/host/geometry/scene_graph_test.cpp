// The scene graph made flat.
#include "geometry/flattener.h"
#include "traced_scene.h"

namespace lumorender {
namespace {

class SceneGraph : public TracedScene {
protected:
    FlatScene flattened(const std::string& text, const char* options = "") {
        EXPECT_TRUE(read(text + fmt::format("options \"o\" {} end options", options))) << errors;
        return flatten(database, find("root"), record<miOptions>("o", miSCENE_OPTIONS));
    }
};

TEST_F(SceneGraph, PlacesAndMovesNestedGroups) {
    const FlatScene flat =
        flattened(object("box", kSquare) + "light lamp end light camera eye end camera\n" +
                  group("inner", "still box" + at(1, 0, 0) + "\noff box motion off" + at(2, 0, 0) + "\nown box" +
                                     at(3, 0, 0) + "motion" + at(3, 4, 0) + "\nshine lamp" + at(-1, 0, 2)) +
                  group("outer", "middle inner" + at(0, 0, 0, 2, 4, 5)) +
                  root("top outer" + at(0, 5, 0) + "motion" + at(0, 5, 7) + "\ngone box hide on\nlook eye" +
                       at(0, 0, 9) + "\nbig outer" + at(0, 0, 0, 3, 3, 3)));
    const auto text = [&](const auto& list) {
        std::string all;
        for (const auto& each : list) {
            const auto &m = each.placement.localToWorld, &close = each.placementAtClose.localToWorld;
            const float* down = each.placement.worldToLocalFloat;
            for (const miTag tag : each.path) all += nameOf(tag) + " ";
            all += asText(m[0][0], m[3][0], m[3][1], m[3][2], each.moves ? "to" : "is", close[3][0], close[3][1],
                          close[3][2], "down", down[5], down[13], each.instance == each.path.back() ? "; " : "another");
        }
        return all;
    };
    // (1 0 0) goes to (2 0 0) in the middle and up to (2 5 0), by (0 0 7) with the top, the third one by 4 x 4 as well.
    EXPECT_EQ(text(flat.instances),
              "top middle still 2 2 5 0 to 2 5 7 down 0.25 -1.25 ; "
              "top middle off 2 4 5 0 is 4 5 0 down 0.25 -1.25 ; "
              "top middle own 2 6 5 0 to 6 21 7 down 0.25 -1.25 ; "
              "big middle still 6 6 0 0 is 6 0 0 down 0.083333 0 ; "
              "big middle off 6 12 0 0 is 12 0 0 down 0.083333 0 ; "
              "big middle own 6 18 0 0 to 18 48 0 down 0.083333 0 ; ");
    EXPECT_EQ(text(flat.lights),
              "top middle shine 2 -2 5 10 to -2 5 17 down 0.25 -1.25 ; "
              "big middle shine 6 -6 0 30 is -6 0 30 down 0.083333 0 ; ");
    EXPECT_EQ(text(flat.cameras), "look 1 0 0 9 is 0 0 9 down 1 0 ; ");
    EXPECT_EQ(asText(flat.placements.at(find("middle")).localToWorld[3][1], flat.placements.count(find("lamp"))),
              "5 0");
}

TEST_F(SceneGraph, TakesListsAndFlagsFromTheNearestInstanceThatSetsThem) {
    const FlatScene flat =
        flattened(object("box", kSquare, "tag 7 caustic on globillum on shadow 1") +
                      "light lamp end light instance shine lamp end instance\n" +
                      group("inner",
                            "nearer box tag 9 light shadow [] face back finalgather off globillum 4\n"
                            "plain box caustic 0 transparency 8 visible on") +
                      root("higher inner face front visible off reflection 12 light [shine] light shadow [shine] ( 5, "
                           "6 )\nalone box"),
                  "face back");
    std::string text;
    for (const FlatInstance& i : flat.instances)
        text += asText(i.label, nameOf(i.lightListInstance), nameOf(i.shadowListInstance), nameOf(i.parameterInstance),
                       i.face, i.gathers, fmt::format("{:x}; ", i.flags));
    const unsigned alone = miTRACE_VISIBLE | miTRACE_SHADOW_CAST | miTRACE_REFLECTION_CAST |
                           miTRACE_REFLECTION_RECEIVE | miTRACE_REFRACTION_CAST | miTRACE_REFRACTION_RECEIVE |
                           miTRACE_TRANSPARENCY_CAST | miTRACE_TRANSPARENCY_RECEIVE | miTRACE_FINALGATHER |
                           miTRACE_CAUSTIC | miTRACE_GLOBILLUM,
                   higher = alone & ~(miTRACE_REFLECTION_CAST | miTRACE_REFLECTION_RECEIVE),
                   nearer = higher & ~(miTRACE_VISIBLE | miTRACE_FINALGATHER),
                   plain = higher & ~(miTRACE_CAUSTIC | miTRACE_TRANSPARENCY_RECEIVE);
    EXPECT_EQ(text, fmt::format("9 higher nearer higher b false {:x}; 7 higher higher higher f true {:x}; "
                                "7 - - - a true {:x}; ",
                                nearer, plain, alone));
}

TEST_F(SceneGraph, NamesAndLeavesOutWhatIsBroken) {
    read("options \"o\" end options instgroup snake end instgroup\n" + object("box", kSquare) +
         group("snake", "good box\ntail snake" + at(1, 0, 0)) +
         root("snake_instance snake\norphan never_defined\nsquashed box transform 1 0 0 0 0 0 0 0 0 0 1 0 4 5 6 "
              "1\nwrong o"));
    const FlatScene flat = flattened("instgroup root snake_instance orphan squashed wrong box end instgroup ");
    EXPECT_EQ(asText(flat.instances.size(), flat.instances[1].placement.localToWorld[3][0]), "2 0");
    expectParts(errors, {"instance \"tail\": group \"snake\" contains itself",
                         "\"orphan\": element \"never_defined\" is missing", "\"wrong\": \"o\" cannot be instanced",
                         "\"box\" is not an instance"});
    expectParts(warnings, {"the transform is singular"});
    EXPECT_THROW(flatten(database, find("box"), miOptions()), Failure);
#ifndef __SANITIZE_THREAD__  // sixteen million steps of one thread would take minutes
    std::string endless = "instgroup g60 end instgroup ";
    for (int level = 60; level-- > 0;)
        endless += group(fmt::format("g{}", level), fmt::format("left{0} g{1}\nright{0} g{1}", level, level + 1));
    EXPECT_THROW(flattened(endless + "instgroup root left0 right0 end instgroup "), Failure);
#endif
}

}  // namespace
}  // namespace lumorender
