// Which ray levels a pass shows: by the range of reflections and refractions of its record, and by the masks of the
// objects on the way, with and without the flags that let reflections and refractions of a masked object through.
#include "pass_scene.h"
#include "pixels.h"

namespace rendertest {
namespace {

constexpr unsigned kComposited = 0x1, kMatte = 0x2, kThroughReflection = 0x10, kThroughRefraction = 0x20;

/// Three surfaces in a row add 1, 2 and 4 to the picture, the fourth one 8: a pass's value tells which it shows. Each
/// lets half of what it sees through, so what they shine themselves is 1, 4, 16 ... times as strong.
std::string glass(double value) { return shining(value, ", \"transparency\" .5 .5 .5, \"refractions\" on"); }
std::string mirror(double value) { return fmt::format("\"sdk_mirror\" ( \"own\" {0} {0} {0} 1 )", value); }

class LevelFilters : public RenderTest {
protected:
    struct Case {
        PassBuffer buffer;
        double inMirror, throughGlass;
    };

    /// Levels (reflections, refractions): a mirror (0, 0) sees a glass (1, 0) and through it a wall (1, 1).
    static void addMirrorFirst(SceneText& scene, const std::string& mirrorMore = {},
                               const std::string& glassMore = {}) {
        scene.elements += group("first", mirror(1)) + group("second", glass(4)) + group("third", shining(16)) +
                          wall("mirror", -5, "first", 1000, mirrorMore) +
                          wall("glass", -2, "second", 1000, glassMore + kTurned) +
                          wall("wall", -4, "third", 1000, kTurned);
        scene.members += "\"mirror\" \"glass\" \"wall\"";
    }

    /// A glass (0, 0) that only eye rays meet, behind it a mirror (0, 1) that sees a wall (1, 1).
    static void addGlassFirst(SceneText& scene, const std::string& glassMore = {}) {
        scene.elements += group("first", glass(1)) + group("second", mirror(4)) + group("third", shining(16)) +
                          wall("glass", -3, "first", 1000, "reflection 4 " + glassMore) + wall("mirror", -5, "second") +
                          wall("wall", -4, "third", 1000, kTurned);
        scene.members += "\"glass\" \"mirror\" \"wall\"";
    }

    void expectBuffers(const SceneText& scene, const std::vector<Case>& cases, double Case::* expected,
                       double inPicture) {
        const Picture image = picture(scene.text());
        EXPECT_NEAR(image.at("R", 1, 2), inPicture, 1e-5) << "in the picture, which no filter touches";
        for (const Case& each : cases)
            EXPECT_NEAR(image.at(each.buffer.name + ".R", 1, 2), each.*expected, 1e-5) << each.buffer.name;
    }

    static SceneText scene(const std::vector<Case>& cases) {
        std::vector<PassBuffer> buffers;
        for (const Case& each : cases) buffers.push_back(each.buffer);
        return passScene(buffers);
    }
};

// Below its range a surface adds nothing itself but hands up what it sees. Above it nothing comes, and neither does
// what is seen from there on, because levels only grow.
TEST_F(LevelFilters, RangesOfLevelsPickSurfaces) {
    const auto range = [](const std::string& name, std::array<int, 4> levels) {
        return PassBuffer{name, 0, kComposited, levels};
    };
    const std::vector<Case> cases = {
        {range("all", {0, 100, 0, 100}), 1 + 2 + 4, 1 + 2 + 4},
        {range("direct", {0, 0, 0, 0}), 1, 1},
        {range("no_reflections", {0, 0, 0, 100}), 1, 1 + 2},
        {range("no_refractions", {0, 100, 0, 0}), 1 + 2, 1},
        {range("reflections", {1, 100, 0, 100}), 2 + 4, 4},
        {range("refractions", {0, 100, 1, 100}), 4, 2 + 4},
        {range("both", {1, 100, 1, 100}), 4, 4},
        {range("reflections_alone", {1, 1, 0, 0}), 2, 0},
        {range("refractions_alone", {0, 0, 1, 1}), 0, 2},
        {range("deeper", {2, 100, 0, 100}), 0, 0},
    };
    SceneText inMirror = scene(cases), throughGlass = scene(cases);
    addMirrorFirst(inMirror);
    expectBuffers(inMirror, cases, &Case::inMirror, 7);
    addGlassFirst(throughGlass);
    expectBuffers(throughGlass, cases, &Case::throughGlass, 7);
}

// The first surface is masked out of every pass. Behind the mirror stands a wall that shines with 8.
TEST_F(LevelFilters, MaskedObjectsHandUpWhatTheFlagsLetThrough) {
    const auto flags = [](const std::string& name, unsigned more) { return PassBuffer{name, 0, kComposited | more}; };
    const std::vector<Case> cases = {
        // Held out, and nothing seen in it or through it.
        {flags("matte", kMatte), 0, 0},
        // What it reflects: in the mirror the glass, but no refraction that begins there. A glass reflects nothing.
        {flags("reflections", kMatte | kThroughReflection), 2, 0},
        // What it refracts: the mirror behind the glass, but not what that reflects.
        {flags("refractions", kMatte | kThroughRefraction), 0, 2},
        {flags("both", kMatte | kThroughReflection | kThroughRefraction), 2 + 4, 2 + 4},
    };
    const std::string masked = "( \"passMask\" \"0\" ) ";
    SceneText inMirror = scene(cases), throughGlass = scene(cases);
    addMirrorFirst(inMirror, masked);
    inMirror.elements += group("fourth", shining(8)) + wall("back", -9, "fourth");
    inMirror.members += " \"back\"";
    expectBuffers(inMirror, cases, &Case::inMirror, 7);
    addGlassFirst(throughGlass, masked);
    expectBuffers(throughGlass, cases, &Case::throughGlass, 7);
}

// Without the matte flag a masked object is not there, and what lies behind it is seen in full.
TEST_F(LevelFilters, MaskedObjectsVanish) {
    // The mirror's pass: the wall behind it. With the flag also what is reflected, as far as that flag goes.
    const std::vector<Case> first = {{{"gone", 0, kComposited}, 8, 0},
                                     {{"seen", 0, kComposited | kThroughReflection}, 8 + 2, 0}};
    SceneText mirrorGone = scene(first);
    addMirrorFirst(mirrorGone, "( \"passMask\" \"0\" ) ");
    mirrorGone.elements += group("fourth", shining(8)) + wall("back", -9, "fourth");
    mirrorGone.members += " \"back\"";
    expectBuffers(mirrorGone, first, &Case::inMirror, 7);

    // A glass that is met in the mirror: the mirror shows the wall of 16, halved once.
    const std::vector<Case> second = {
        {{"gone", 0, kComposited}, 1 + 8, 0},
        {{"matte", 0, kComposited | kMatte}, 1, 0},
        {{"reflections", 0, kComposited | kMatte | kThroughReflection}, 1, 0},
        {{"refractions", 0, kComposited | kMatte | kThroughRefraction}, 1 + 4, 0},
    };
    SceneText glassGone = scene(second);
    addMirrorFirst(glassGone, {}, "( \"passMask\" \"0\" ) ");
    expectBuffers(glassGone, second, &Case::inMirror, 7);
}

// A ray that meets nothing brings the environment. A pass takes it where it would take a surface.
TEST_F(LevelFilters, EnvironmentsAreFilteredLikeSurfaces) {
    const auto range = [](const std::string& name, std::array<int, 4> levels, unsigned more = 0) {
        return PassBuffer{name, 0, kComposited | more, levels};
    };
    const std::vector<Case> cases = {
        // Shining 1 each; half of an environment of 4 is seen.
        {range("all", {0, 100, 0, 100}), 1 + 2, 1 + 2},      {range("direct", {0, 0, 0, 0}), 1, 1},
        {range("no_reflections", {0, 0, 0, 100}), 1, 1 + 2}, {range("no_refractions", {0, 100, 0, 0}), 1 + 2, 1},
        {range("reflections", {1, 100, 0, 100}), 2, 0},      {range("refractions", {0, 100, 1, 100}), 0, 2},
        {range("deeper", {2, 100, 2, 100}), 0, 0},
    };
    const std::string sky = "environment \"plain_constant\" ( \"color\" 4 4 4 1 )";
    SceneText inMirror = scene(cases), throughGlass = scene(cases);
    inMirror.camera += sky;
    inMirror.elements = group("first", mirror(1)) + wall("mirror", -5, "first");
    inMirror.members = "\"mirror\"";
    expectBuffers(inMirror, cases, &Case::inMirror, 3);
    throughGlass.camera += sky;
    throughGlass.elements = group("first", glass(1)) + wall("glass", -5, "first");
    throughGlass.members = "\"glass\"";
    expectBuffers(throughGlass, cases, &Case::throughGlass, 3);

    // Seen in a masked mirror.
    const std::vector<Case> masked = {{{"matte", 0, kComposited | kMatte}, 0, 0},
                                      {{"reflections", 0, kComposited | kMatte | kThroughReflection}, 2, 0},
                                      {{"refractions", 0, kComposited | kMatte | kThroughRefraction}, 0, 0}};
    SceneText maskedMirror = scene(masked);
    maskedMirror.camera += sky;
    maskedMirror.elements = group("first", mirror(1)) + wall("mirror", -5, "first", 1000, "( \"passMask\" \"0\" )");
    maskedMirror.members = "\"mirror\"";
    expectBuffers(maskedMirror, masked, &Case::inMirror, 3);
}

// Surfaces behind one that is merely transparent are on its level, however many there are.
TEST_F(LevelFilters, TransparencyIsNoLevel) {
    const std::vector<Case> cases = {
        {{"direct", 0, kComposited, {0, 0, 0, 0}}, 1 + 2 + 4, 0},
        {{"refractions", 0, kComposited, {0, 100, 1, 100}}, 0, 0},
        {{"front", 0, 0, {0, 0, 0, 0}}, 1, 0},
    };
    SceneText sheets = scene(cases);
    const std::string half = ", \"transparency\" .5 .5 .5";
    sheets.options += " trace depth 1 1 1";
    sheets.elements = group("first", shining(1, half)) + group("second", shining(4, half)) +
                      group("third", shining(16)) + wall("a", -5, "first") + wall("b", -6, "second") +
                      wall("c", -7, "third");
    sheets.members = "\"a\" \"b\" \"c\"";
    expectBuffers(sheets, cases, &Case::inMirror, 7);
}

}  // namespace
}  // namespace rendertest
