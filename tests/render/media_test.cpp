// Which volumes and surroundings each kind of ray calls, in which order and with which distance.
#include "contract_test.h"

#include <regex>

namespace rendertest {
namespace {

class Media : public Contract {
protected:
    /// What the probes told, one call each: "volume air: type 0 dist 5".
    std::vector<std::string> calls() const {
        static const std::regex line("probe: ((volume|environment) [^\n]*)");
        std::vector<std::string> result;
        for (std::sregex_iterator i(told.messages.begin(), told.messages.end(), line), end; i != end; ++i)
            result.push_back((*i)[1]);
        return result;
    }

    static std::string volume(const std::string& name) {
        return "volume \"probe_volume\" ( \"name\" \"" + name + "\" )";
    }
    static std::string surroundings(const std::string& name, const std::string& color = "1 1 1 1") {
        return "environment \"probe_environment\" ( \"name\" \"" + name + "\", \"color\" " + color + " )";
    }
    static std::string call(const std::string& what, int type, double dist) {
        char text[100];
        std::snprintf(text, sizeof text, "%s: type %d dist %.4f", what.c_str(), type, dist);
        return text;
    }

    /// One pixel that looks along -z.
    static SceneText onePixel() {
        SceneText scene;
        scene.before = "link \"probe_surroundings.so\"\n$include <probe_surroundings.mi>\n";
        scene.camera = "resolution 1 1 ";
        return scene;
    }
    static void addWall(SceneText& scene, const std::string& name, double z, const std::string& material,
                        const std::string& more = {}) {
        scene.elements += wall(name, z, material, 1000, more);
        scene.members += " \"" + name + "\"";
    }
    static void addTurned(SceneText& scene, const std::string& name, double z, const std::string& material) {
        addWall(scene, name, -z, material, "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1");
    }
    static std::string rays(const std::string& name, int mode, const std::string& more = {}) {
        return "material \"" + name + "\" \"plain_rays\" ( \"mode\" " + std::to_string(mode) +
               ", \"tint\" 1 1 1 1, \"ior\" 1 ) " + more + " end material\n";
    }
};

using Calls = std::vector<std::string>;

TEST_F(Media, VolumesRunOncePerRayBehindItsShader) {
    const Calls camera{call("volume air", 0, 5)};
    struct {
        const char* what;
        int mode;
        std::string material;
        Calls expected;
    } cases[] = {
        // Without a volume of its own a surface is a sheet in the same medium.
        {"transparent", 0, "", {call("volume air", 1, 3), camera[0]}},
        {"transparent with volume", 0, volume("glass"), {call("volume glass", 1, 3), camera[0]}},
        {"refraction", 2, volume("glass"), {call("volume glass", 3, 3), camera[0]}},
        {"reflection", 1, volume("glass"), {call("volume air", 2, 9), camera[0]}},
        {"environment", 4, volume("glass"), {call("environment sky", 6, 0), call("volume air", 6, 0), camera[0]}},
        // The ray as a whole, as if the surface were not there.
        {"continued", 3, volume("glass"), {call("volume air", 0, 8)}},
    };
    for (const auto& c : cases) {
        SceneText scene = onePixel();
        scene.camera += volume("air") + surroundings("sky");
        scene.elements = rays("front", c.mode, c.material) + constantMaterial("white", "1 1 1 1");
        addWall(scene, "near", -5, "front");
        addWall(scene, "far", -8, "white");
        addWall(scene, "behind", 4, "white");
        probe(scene);
        EXPECT_EQ(calls(), c.expected) << c.what;
        scene.options += " volume off";
        probe(scene);
        EXPECT_EQ(countOf(told.messages, "volume"), 0) << c.what;
    }
}

// A ball of ice in a block of glass, both of sheets: in, in, out, out.
TEST_F(Media, RaysLeaveAVolumeForTheOneAround) {
    SceneText scene = onePixel();
    scene.camera += volume("air");
    scene.elements =
        rays("glass", 0, volume("glass")) + rays("ice", 2, volume("ice")) + constantMaterial("white", "1 1 1 1");
    addWall(scene, "a", -5, "glass");
    addWall(scene, "b", -6, "ice");
    addTurned(scene, "c", -8, "ice");
    addTurned(scene, "d", -11, "glass");
    addWall(scene, "e", -15, "white");
    EXPECT_EQ(probe(scene).at("R", 0, 0), 1);
    EXPECT_EQ(calls(), (Calls{call("volume air", 1, 4), call("volume glass", 3, 3), call("volume ice", 3, 2),
                              call("volume glass", 1, 1), call("volume air", 0, 5)}));
}

TEST_F(Media, LightComesThroughVolumes) {
    struct {
        const char* what;
        std::string options, surface;
        Calls expected;
    } cases[] = {
        {"whole way", "shadow on", "", {call("volume air", 4, 10)}},
        {"sorted", "shadow sort", "", {call("volume air", 4, 10)}},
        // From the point to the occluder, and from there to the light, which comes first.
        {"segments", "shadow segments", "", {call("volume air", 5, 8), call("volume air", 5, 2)}},
        {"segments, no shadow here", "shadow segments", "shadow 8", {call("volume air", 5, 10)}},
        {"segments, nothing traced", "shadow segments trace off", "", {call("volume air", 4, 10)}},
        {"no shadows", "shadow off", "", {call("volume air", 4, 10)}},
    };
    for (const auto& c : cases) {
        SceneText scene = onePixel();
        scene.camera += volume("air");
        scene.options += " " + c.options;
        scene.elements =
            "light \"l\" \"plain_light\" () origin 0 0 5 end light\ninstance \"light\" \"l\" end instance\n"
            "material \"lit\" \"plain_material\" ( \"diffuse\" 1 1 1 1 ) end material\n"
            "material \"veil\" \"plain_constant\" () shadow \"plain_shadow\" ( \"transmission\" .5 .5 .5 1 ) "
            "end material\n";
        scene.members = "\"light\"";
        addWall(scene, "surface", -5, "lit", c.surface);
        addWall(scene, "occluder", -3, "veil", "visible off");
        const bool free = c.surface != "" || c.options == "shadow off" || c.options.ends_with("trace off");
        EXPECT_EQ(probe(scene).at("R", 0, 0), free ? 1 : .5) << c.what;
        Calls expected = c.expected;
        expected.push_back(call("volume air", 0, 5));
        EXPECT_EQ(calls(), expected) << c.what;
    }
}

TEST_F(Media, RaysThatMissSeeTheSurroundingsOfWhereTheyComeFrom) {
    struct {
        const char* what;
        int mode;
        bool own;
        std::string expected;
        float color;
    } cases[] = {
        {"reflection", 1, true, call("environment own", 2, 0), .25F},
        {"reflection, none of its own", 1, false, call("environment sky", 2, 0), .5F},
        {"refraction", 2, true, call("environment own", 3, 0), .25F},
        {"transparent", 0, true, call("environment own", 1, 0), .25F},
        {"transparent, none of its own", 0, false, call("environment sky", 1, 0), .5F},
        {"look-up", 4, true, call("environment own", 6, 0), .25F},
        {"look-up, none of its own", 4, false, call("environment sky", 6, 0), .5F},
        {"continued: not there", 3, true, call("environment sky", 0, 0), .5F},
    };
    for (const auto& c : cases) {
        SceneText scene = onePixel();
        scene.camera += surroundings("sky", ".5 .5 .5 1");
        scene.elements = rays("front", c.mode, c.own ? surroundings("own", ".25 .25 .25 1") : "");
        addWall(scene, "near", -5, "front");
        EXPECT_EQ(probe(scene).at("R", 0, 0), c.color) << c.what;
        EXPECT_EQ(calls(), Calls{c.expected}) << c.what;
    }
    SceneText empty = onePixel();
    empty.camera += surroundings("sky", ".5 .5 .5 1");
    EXPECT_EQ(probe(empty).at("R", 0, 0), .5F);
    EXPECT_EQ(calls(), Calls{call("environment sky", 0, 0)});
}

// Mirror rays need ray tracing; what lies straight behind a surface does not.
TEST_F(Media, WithoutRayTracingSurfacesStayTransparent) {
    for (const int mode : {0, 1}) {
        SceneText scene = onePixel();
        scene.options += " trace off";
        scene.camera += surroundings("sky", ".5 .5 .5 1");
        scene.elements = rays("front", mode) + constantMaterial("white", "1 1 1 1");
        addWall(scene, "near", -5, "front");
        addWall(scene, "far", -8, "white");
        addWall(scene, "behind", 4, "white");
        EXPECT_EQ(probe(scene).at("R", 0, 0), mode == 0 ? 1 : .5F);
    }
}

}  // namespace
}  // namespace rendertest
