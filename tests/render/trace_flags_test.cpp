// The flags of objects and instances for every kind of ray, and lists of lights. Each pixel is a case of its own.
#include "contract_test.h"

namespace rendertest {
namespace {

/// What the scene says of an object, of its instance, and of an instance of the group around that.
struct Flags {
    std::string object, instance, group;
};

struct Case {
    Flags near, far;
    float expected;
};

constexpr float kSeen = 1, kPassedBy = .5F, kRefused = .25F;

/// A square that faces the camera around (x, y, z).
void addTile(SceneText& scene, const std::string& name, double x, double y, double z, double size,
             const std::string& material, const Flags& flags) {
    char group[400];
    std::snprintf(group, sizeof group,
                  "group %g %g %g  %g %g %g  %g %g %g  %g %g %g  v 0 v 1 v 2 v 3 c 0 1 2 3 end group", x - size,
                  y - size, z, x + size, y - size, z, x + size, y + size, z, x - size, y + size, z);
    scene.elements += "object \"" + name + "_o\" " + flags.object + " " + group + " end object\n" + "instance \"" +
                      name + "\" \"" + name + "_o\" material \"" + material + "\" " + flags.instance +
                      " end instance\n" + "instgroup \"" + name + "_g\" \"" + name + "\" end instgroup\n" +
                      "instance \"" + name + "_above\" \"" + name + "_g\" " + flags.group + " end instance\n";
    scene.members += " \"" + name + "_above\"";
}

class TraceFlags : public Contract {
protected:
    /// `mode` of plain_rays for the near tiles, -1 without them, -2 for lit ones with the far tiles before the light.
    void check(const char* what, int mode, const std::vector<Case>& cases) {
        ASSERT_LE(cases.size(), 16u);
        SceneText scene;
        scene.camera = "environment \"plain_constant\" ( \"color\" .5 .5 .5 1 )";
        scene.elements = constantMaterial("white", "1 1 1 1") +
                         "light \"l\" \"plain_light\" () direction 0 0 -1 end light\n"
                         "instance \"light\" \"l\" end instance\nmaterial \"near\" ";
        scene.elements += mode == -2 ? "\"plain_material\" ( \"diffuse\" 1 1 1 1 )"
                                     : "\"plain_rays\" ( \"mode\" " + std::to_string(mode) +
                                           ", \"otherwise\" .25 .25 .25 1, \"ior\" 1 )";
        scene.elements += " end material\n";
        scene.members = "\"light\"";
        for (std::size_t i = 0; i < cases.size(); ++i) addCase(scene, i, mode, cases[i]);
        const Picture image = probe(scene);
        for (std::size_t i = 0; i < cases.size(); ++i) {
            const Case& c = cases[i];
            EXPECT_EQ(image.at("R", static_cast<int>(i % 4), static_cast<int>(i / 4)), c.expected)
                << what << " " << i << ": near " << c.near.object << " / " << c.near.instance << " / " << c.near.group
                << ", far " << c.far.object << " / " << c.far.instance << " / " << c.far.group;
        }
    }

private:
    static void addCase(SceneText& scene, std::size_t i, int mode, const Case& c) {
        // The eye ray goes to (x, y, -1); neighbours are .5 apart there.
        const double x = (static_cast<double>(i % 4) + .5) / 2 - 1, y = (static_cast<double>(i / 4) + .5) / 2 - 1;
        const std::string near = "near" + std::to_string(i), far = "far" + std::to_string(i);
        if (mode != -1) addTile(scene, near, 5 * x, 5 * y, -5, 1, "near", c.near);
        if (mode == -2)
            addTile(scene, far, 5 * x, 5 * y, -3, 1, "white", c.far);
        else if (mode == 1)
            addTile(scene, far, 15 * x, 15 * y, 5, 3, "white", c.far);
        else
            addTile(scene, far, 10 * x, 10 * y, -10, 2, "white", c.far);
    }
};

TEST_F(TraceFlags, EyesSeeWhatIsVisible) {
    const std::vector<Case> cases = {
        {{}, {"visible", "", ""}, kSeen},
        {{}, {"", "", ""}, kPassedBy},
        {{}, {"shadow trace transparency 3", "", ""}, kPassedBy},
        {{}, {"", "visible on", ""}, kSeen},
        {{}, {"visible", "visible off", ""}, kPassedBy},
        {{}, {"visible", "", "visible off"}, kPassedBy},
        {{}, {"visible", "visible on", "visible off"}, kSeen},
        {{}, {"visible", "hide on", ""}, kPassedBy},
        {{}, {"visible", "", "hide on"}, kPassedBy},
    };
    check("eye", -1, cases);
    // A ray that goes on stays an eye ray.
    std::vector<Case> continued = cases;
    for (Case& c : continued) c.near = {"visible", "", ""};
    check("continued", 3, continued);
}

/// Casting is being seen by such rays, receiving is sending them.
std::vector<Case> castAndReceive(const std::string& kind, const std::string& absentFar) {
    const auto is = [&](const char* value) { return kind + " " + value; };
    const Flags plain{"visible", "", ""};
    const Flags seen{kind + " 3", "", ""};
    return {
        {plain, {is("3"), "", ""}, kSeen},
        {plain, {is("1"), "", ""}, kSeen},
        {plain, {is("2"), "", ""}, kPassedBy},
        {plain, {"visible " + absentFar, "", ""}, kPassedBy},
        {plain, {is("2"), is("1"), ""}, kSeen},
        {plain, {is("3"), is("4"), ""}, kPassedBy},
        {plain, {is("3"), is("8"), ""}, kSeen},
        {plain, {is("3"), "", is("4")}, kPassedBy},
        {plain, {is("3"), is("1"), is("4")}, kSeen},
        {plain, {is("3"), is("2"), is("4")}, kPassedBy},  // cast and receive are inherited apart
        {{"visible " + is("1"), "", ""}, seen, kRefused},
        {{"visible " + is("3"), is("8"), ""}, seen, kRefused},
        {{"visible " + is("3"), is("4"), ""}, seen, kSeen},
        {{"visible " + is("3"), is("2"), is("8")}, seen, kSeen},
        {{"visible " + is("0"), is("2"), ""}, seen, kSeen},
    };
}

TEST_F(TraceFlags, SecondaryRaysKeepToTheirKind) {
    check("reflection", 1, castAndReceive("reflection", "refraction 3 transparency 3"));
    check("refraction", 2, castAndReceive("refraction", "reflection 3 transparency 3"));
    check("transparency", 0, castAndReceive("transparency", "trace transparency 2"));
}

TEST_F(TraceFlags, TraceStandsForReflectionAndRefraction) {
    const Flags plain{"visible", "", ""};
    const std::vector<Case> cases = {
        {plain, {"trace", "", ""}, kSeen},
        {plain, {"trace off", "", ""}, kPassedBy},
        {plain, {"", "trace on", ""}, kSeen},
        {plain, {"trace", "trace off", ""}, kPassedBy},
        {plain, {"trace", "", "trace off"}, kPassedBy},
        {plain, {"trace", "trace on", "trace off"}, kSeen},
        {{"visible trace", "trace off", ""}, {"trace", "", ""}, kRefused},
        {{"visible trace off", "", ""}, {"trace", "", ""}, kSeen},  // an object that is not traced still mirrors
    };
    check("reflection", 1, cases);
    check("refraction", 2, cases);
}

TEST_F(TraceFlags, ShadowsNeedACasterAndAReceiver) {
    constexpr float kLit = 1, kDark = 0;
    const Flags plain{"visible", "", ""}, caster{"shadow", "", ""};
    check("shadow", -2,
          {
              {plain, {"shadow", "", ""}, kDark},
              {plain, {"trace transparency 3", "", ""}, kLit},
              {plain, {"shadow 1", "", ""}, kDark},
              {plain, {"shadow 2", "", ""}, kLit},
              {plain, {"", "shadow on", ""}, kDark},
              {plain, {"shadow", "shadow off", ""}, kLit},
              {plain, {"shadow", "shadow 4", ""}, kLit},
              {plain, {"shadow", "shadow 8", ""}, kDark},
              {plain, {"shadow", "", "shadow off"}, kLit},
              {plain, {"shadow", "shadow 1", "shadow off"}, kDark},
              {{"visible shadow 1", "", ""}, caster, kLit},
              {{"visible shadow", "shadow 8", ""}, caster, kLit},
              {{"visible shadow", "shadow off", ""}, caster, kDark},  // off means casting only
              {{"visible shadow", "", "shadow 8"}, caster, kLit},
          });
}

TEST_F(Contract, ProbesSeeWhatTheirFlagsShow) {
    SceneText scene;
    scene.before = "link \"probe_surroundings.so\"\n$include <probe_surroundings.mi>\n";
    scene.elements = "material \"m\" \"probe_probes\" () end material\n" + constantMaterial("white", "1 1 1 1") +
                     wall("surface", -5, "m");
    scene.members = "\"surface\"";
    scene.camera = "resolution 1 1";
    addTile(scene, "a", 0, 0, -6, 1, "white", {"shadow", "", ""});
    addTile(scene, "b", 0, 0, -7, 1, "white", {"reflection 1", "", ""});
    addTile(scene, "c", 0, 0, -8, 1, "white", {"visible", "", ""});
    expectFacts(probe(scene), 5);
}

// ---- Lists of lights.

TEST_F(Contract, OccludersKeepToTheirListOfLights) {
    struct {
        const char* list;
        float red, green;
    } cases[] = {
        {"", 0, 0},
        {"light shadow [ \"red\" ]", 0, 1},
        {"light shadow \"exclusive\" [ \"red\" ]", 1, 0},
        {"light shadow [ ]", 1, 1},
        {"light shadow \"exclusive\" [ ]", 0, 0},
    };
    for (const std::string mode : {"on", "segments"})
        for (const auto& c : cases) {
            SceneText scene;
            scene.options += " shadow " + mode;
            for (const std::string name : {"red", "green"})
                scene.elements += "light \"" + name + "_l\" \"plain_light\" ( \"color\" " +
                                  (name == "red" ? "1 0 0 1" : "0 1 0 1") + " ) direction 0 0 -1 end light\n" +
                                  "instance \"" + name + "\" \"" + name + "_l\" end instance\n";
            scene.elements += "material \"lit\" \"plain_material\" ( \"diffuse\" 1 1 1 1 ) end material\n" +
                              constantMaterial("white", "1 1 1 1") + wall("surface", -5, "lit") +
                              wall("occluder", -3, "white", 1000, std::string("visible off ") + c.list);
            scene.members = "\"red\" \"green\" \"surface\" \"occluder\"";
            const Picture image = probe(scene);
            EXPECT_EQ(image.at("R", 1, 1), c.red) << c.list << " " << mode;
            EXPECT_EQ(image.at("G", 1, 1), c.green) << c.list << " " << mode;
        }
}

TEST_F(Contract, ShadersResolveTheirOwnLists) {
    SceneText scene;
    scene.before = "link \"probe_surroundings.so\"\n$include <probe_surroundings.mi>\n";
    for (const std::string name : {"a", "b", "c"}) {
        scene.elements += "light \"" + name + "_l\" \"plain_light\" () origin 0 0 0 end light\ninstance \"" + name +
                          "\" \"" + name + "_l\" end instance\n";
        scene.members += " \"" + name + "\"";
    }
    scene.elements +=
        "material \"m\" \"probe_lists\" ( \"lights\" [ \"c\", \"a\" ] ) end material\n" + wall("surface", -5, "m");
    scene.members += " \"surface\"";
    expectFacts(probe(scene), 7);
}

TEST_F(Contract, CallsHandTheirArgumentOn) {
    SceneText scene;
    scene.before = "link \"probe_surroundings.so\"\n$include <probe_surroundings.mi>\n";
    scene.elements =
        "shader \"called\" \"probe_called\" ( \"scale\" .5 )\n"
        "material \"m\" \"probe_caller\" ( \"to\" \"called\" ) end material\n" +
        wall("surface", -5, "m");
    scene.members = "\"surface\"";
    expectFacts(probe(scene), 6);
}

// ---- Shadow maps.

TEST_F(RenderTest, ShadowMapsAreTracedAndSaidSoOnce) {
    struct {
        const char* options;
        float lit;
        int told;
    } cases[] = {
        {"shadowmap on", 0, 1},
        {"shadowmap on trace off", 0, 1},
        {"shadowmap detail trace off shadow segments", 0, 1},
        {"shadowmap on shadow off", 1, 1},
        {"shadowmap off trace off", 1, 0},
        {"shadowmap off", 0, 0},
    };
    for (const auto& c : cases) {
        SceneText scene;
        scene.options += std::string(" ") + c.options;
        scene.elements =
            "light \"l\" \"plain_light\" () direction 0 0 -1 shadowmap on\n"
            "    shadowmap resolution 512 softness .01 samples 8 bias .1 detail samples 4 end light\n"
            "instance \"light\" \"l\" end instance\n"
            "material \"lit\" \"plain_material\" ( \"diffuse\" 1 1 1 1 ) end material\n" +
            constantMaterial("white", "1 1 1 1") + wall("surface", -5, "lit") +
            wall("occluder", -3, "white", 1000, "visible off");
        scene.members = "\"light\" \"surface\" \"occluder\"";
        const Outcome outcome = renderText(scene.text(), {"-threads", "2"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        EXPECT_EQ(countOf(outcome.messages, "shadow maps are not made"), c.told) << c.options << outcome.messages;
        EXPECT_FALSE(outcome.says("is skipped")) << outcome.messages;
        EXPECT_EQ(Picture(path("out.exr")).at("R", 2, 2), c.lit) << c.options;
    }
}

}  // namespace
}  // namespace rendertest
