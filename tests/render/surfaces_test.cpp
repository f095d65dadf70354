// Ordinary shaders whose colors are known in closed form: light, textures, connections, rays that go on.
#include "harness.h"
#include "pixels.h"
#include "scene_text.h"

namespace rendertest {
namespace {

using Surfaces = RenderTest;

// ---- Light.

struct Bulb {
    std::string name;
    V3 place;
    double color;
};

const Bulb kLeft{"left", {-3, 1, 0}, 20}, kRight{"right", {2, 2, -1}, 12};

std::string bulbText(const Bulb& bulb) {
    return fmt::format(
        "light \"{0}_l\" \"plain_light\" ( \"color\" {1} {1} {1} 1, \"falloff\" on ) origin {2} {3} {4} "
        "end light\ninstance \"{0}\" \"{0}_l\" end instance\n",
        bulb.name, bulb.color, bulb.place.x, bulb.place.y, bulb.place.z);
}

SceneText litScene(const std::string& lights, const std::string& ofInstance = {}) {
    SceneText scene;
    scene.elements = bulbText(kLeft) + bulbText(kRight) +
                     "material \"m\" \"plain_material\" ( \"diffuse\" .5 .25 1 1, \"ambience\" .125 0 0 0 " + lights +
                     " ) end material\n" + wall("surface", -5, "m", 1000, ofInstance);
    scene.members = "\"left\" \"right\" \"surface\"";
    return scene;
}

/// cosine / distance^2 for a surface that faces +z.
double received(const Bulb& bulb, V3 point) {
    const V3 way = bulb.place - point;
    return bulb.color * unit(way).z / dot(way, way);
}

TEST_F(Surfaces, LightLoopsSumUpTheirLights) {
    const auto both = [](int x, int y) {
        return received(kLeft, meeting(x, y, -5)) + received(kRight, meeting(x, y, -5));
    };
    const auto right = [](int x, int y) { return received(kRight, meeting(x, y, -5)); };

    const Picture all = picture(litScene("").text());
    expectPixels(all, "R", [&](int x, int y) { return .125 + .5 * both(x, y); });
    expectPixels(all, "B", both);
    expectPixels(picture(litScene(", \"lights\" [ \"right\" ]").text()), "B", right);
    expectPixels(picture(litScene("", "light [ \"right\" ]").text()), "B", right);
    expectPixels(picture(litScene("", "light \"exclusive\" [ \"left\" ]").text()), "B", right);

    // A group of lights is one name.
    SceneText grouped = litScene("", "light [ \"bulbs\" ]");
    grouped.elements =
        "instgroup \"bulb_group\" \"right\" end instgroup\n"
        "instance \"bulbs\" \"bulb_group\" end instance\n" +
        grouped.elements;
    grouped.members = "\"left\" \"bulbs\" \"surface\"";
    expectPixels(picture(grouped.text()), "B", right);
}

TEST_F(Surfaces, HighlightsFollowPhong) {
    SceneText scene;
    scene.elements =
        "light \"l\" \"plain_light\" ( \"color\" 1 1 1 1 ) origin 2 1 0 end light\n"
        "instance \"light\" \"l\" end instance\n"
        "material \"m\" \"plain_material\" ( \"diffuse\" 0 0 0 0, \"specular\" 1 .5 0 0, \"exponent\" 6 ) "
        "end material\n" +
        wall("surface", -5, "m");
    scene.members = "\"light\" \"surface\"";
    const Picture image = picture(scene.text());
    const auto highlight = [](int x, int y) {
        const V3 d = eyeRay(x, y), mirrored{d.x, d.y, -d.z}, point = meeting(x, y, -5);
        return std::pow(std::max(0., dot(mirrored, unit(V3{2, 1, 0} - point))), 6);
    };
    expectPixels(image, "R", highlight);
    expectPixels(image, "G", [&](int x, int y) { return .5 * highlight(x, y); });
}

TEST_F(Surfaces, ShadowsMultiplyWhatOccludersLetThrough) {
    for (const std::string mode : {"on", "sort", "segments"}) {
        SceneText scene = litScene(", \"lights\" [ \"right\" ]");
        scene.options += " shadow " + mode;
        for (const std::string name : {"a", "b"}) {
            scene.elements += "material \"" + name +
                              "_m\" \"plain_constant\" () shadow \"plain_shadow\" ( \"transmission\" " +
                              (name == "a" ? ".5 .5 .25 1" : ".5 1 .5 1") + " ) end material\n" +
                              wall(name, name == "a" ? -3 : -2, name + "_m", 1000, "visible off");
            scene.members += " \"" + name + "\"";
        }
        const Picture image = picture(scene.text());
        expectPixels(image, "R", [](int x, int y) { return .125 + .5 * .25 * received(kRight, meeting(x, y, -5)); });
        expectPixels(image, "B", [](int x, int y) { return .125 * received(kRight, meeting(x, y, -5)); });
    }
}

// ---- Textures and connections.

/// A PPM picture: rows from the top, red = column, green = row from the bottom, in steps.
std::string pictureFile(int size, int step) {
    std::string content = fmt::format("P6 {0} {0} 255\n", size);
    for (int y = size - 1; y >= 0; --y)
        for (int x = 0; x < size; ++x) {
            content += static_cast<char>(x * step);
            content += static_cast<char>(y * step);
            content += static_cast<char>(255);
        }
    return content;
}

TEST_F(Surfaces, TexturesLieAsTheirCoordinatesSay) {
    write("steps.ppm", pictureFile(4, 60));
    SceneText scene;
    scene.elements =
        "color texture \"image\" \"steps.ppm\"\n"
        "shader \"t\" \"plain_texture\" ( \"tex\" \"image\" )\n"
        "material \"m\" \"plain_constant\" ( \"color\" = \"t\" ) end material\n" +
        wall("surface", -5, "m", 5);
    scene.members = "\"surface\"";
    // The wall fills the picture, so that every pixel is the middle of its texel.
    const Picture image = picture(scene.text());
    expectPixels(image, "R", [](int x, int) { return x * 60 / 255.; });
    expectPixels(image, "G", [](int, int y) { return y * 60 / 255.; });

    // Three times as often: the fraction of 3 (x + .5) / 4 is .375, .125, .875, .625, the middle of a texel again.
    scene.elements += "incremental shader \"t\" \"plain_texture\" ( \"repeat\" 3 1 1 )\n";
    expectPixels(picture(scene.text()), "R", [](int x, int) { return (3 * x + 1) % 4 * 60 / 255.; });
}

TEST_F(Surfaces, MembersOfResultsConnect) {
    SceneText scene;
    scene.elements =
        "shader \"parts\" \"plain_parts\" ( \"scale\" 2 )\n"
        "material \"m\" \"plain_rays\" ( \"mode\" 4, \"own\" = \"parts.second\", \"otherwise\" = \"parts.tint\" ) "
        "end material\n" +
        wall("surface", -5, "m");
    scene.members = "\"surface\"";
    const Picture image = picture(scene.text());  // there is no environment: own + otherwise
    EXPECT_NEAR(image.at("R", 1, 1), .2 + 1, 1e-6);
    EXPECT_NEAR(image.at("G", 1, 1), .4 + .5, 1e-6);
    EXPECT_NEAR(image.at("B", 1, 1), .6 + .25, 1e-6);
    EXPECT_NEAR(image.at("A", 1, 1), .8 + 1, 1e-6);
}

// ---- Rays that go on.

/// Surfaces at z = -5, -6 ... that add .1 to half of what they see, and a white one behind them.
SceneText panes(int count, int mode, const std::string& depth) {
    SceneText scene;
    scene.options += " trace depth " + depth;
    scene.elements = fmt::format(
        "material \"pane\" \"plain_rays\" ( \"mode\" {}, \"own\" .1 .1 .1 0, \"tint\" .5 .5 .5 1, "
        "\"otherwise\" .6 .6 .6 1 ) end material\n",
        mode);
    for (int i = 0; i < count; ++i) {
        scene.elements += wall(fmt::format("pane{}", i), -5 - i, "pane");
        scene.members += fmt::format(" \"pane{}\"", i);
    }
    scene.elements += constantMaterial("white", "1 1 1 1") + wall("back", -20, "white");
    scene.members += " \"back\"";
    return scene;
}

/// The front pane's color where what the last of `seen` panes adds comes behind.
double throughPanes(int seen, double last) {
    double color = last;
    for (int i = 0; i < seen; ++i) color = .1 + .5 * color;
    return color;
}

TEST_F(Surfaces, TransparencyCountsAsRefraction) {
    const auto expectFront = [&](const SceneText& scene, double expected) {
        expectPixels(picture(scene.text()), "R", [=](int, int) { return expected; });
    };
    expectFront(panes(3, 0, "4 4 8"), throughPanes(3, 1));
    expectFront(panes(5, 0, "4 3 8"), throughPanes(3, .7));  // the fourth is refused: .1 + .6
    expectFront(panes(5, 0, "4 4 2"), throughPanes(2, .7));  // by the sum
    expectFront(panes(5, 0, "0 0 0"), .7);
    expectFront(panes(8, 3, "0 0 0"), throughPanes(8, 1));  // going on costs no depth
}

TEST_F(Surfaces, MirrorsSeeEachOtherUpToTheDepth) {
    SceneText scene;
    scene.options += " trace depth 3 0 3";
    scene.elements =
        "material \"mirror\" \"plain_rays\" ( \"mode\" 1, \"own\" .2 .2 .2 0, \"tint\" .5 .5 .5 1, \"otherwise\" "
        ".6 .6 .6 1 ) end material\n" +
        wall("front", -5, "mirror") +
        wall("back", -3, "mirror", 1000, "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1");
    scene.members = "\"front\" \"back\"";
    // Three reflections, then .2 + .6: .8, .6, .5, .45.
    expectPixels(picture(scene.text()), "R", [](int, int) { return .45; });
}

TEST_F(Surfaces, EnvironmentsAreSeenInTheirDirection) {
    SceneText scene;
    const std::string sky = "environment \"plain_environment\" ( \"down\" 0 0 1 1, \"up\" 1 0 0 1 )";
    const auto up = [](V3 direction) { return .5 + .5 * direction.y; };
    scene.camera = sky;
    const Picture alone = picture(scene.text());
    expectPixels(alone, "R", [&](int x, int y) { return up(eyeRay(x, y)); });
    expectPixels(alone, "B", [&](int x, int y) { return 1 - up(eyeRay(x, y)); });

    // A ceiling at y = 3, seen from below, mirrors what is under the camera; surroundings of its own win.
    const auto ceiling = [&](const std::string& mode, const std::string& own) {
        SceneText with = scene;
        with.elements = "material \"m\" \"plain_rays\" ( \"mode\" " + mode + ", \"otherwise\" 9 9 9 1 ) " + own +
                        " end material\n" +
                        wall("ceiling", 0, "m", 1000, "transform 1 0 0 0  0 0 -1 0  0 1 0 0  0 0 3 1");
        with.members = "\"ceiling\"";
        return picture(with.text());
    };
    for (const std::string mode : {"1", "4"}) {
        const Picture image = ceiling(mode, "");
        expectPixels(image, "R", [&](int x, int y) {
            const V3 d = eyeRay(x, y);
            return y > 1 ? up({d.x, -d.y, d.z}) : up(d);
        });
    }
    expectPixels(ceiling("1", "environment \"plain_constant\" ( \"color\" .25 .5 .75 1 )"), "B",
                 [&](int x, int y) { return y > 1 ? .75 : 1 - up(eyeRay(x, y)); });

    // Without any there is nothing to see, and the shader is told so.
    scene.camera = "";
    expectPixels(ceiling("1", ""), "R", [](int, int y) { return y > 1 ? 9. : 0.; });
    expectPixels(ceiling("4", ""), "R", [](int, int y) { return y > 1 ? 9. : 0.; });
}

TEST_F(Surfaces, RefractionFollowsSnell) {
    SceneText scene;
    scene.camera = "environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 )";
    const auto glass = [&](double ior, bool slab) {
        SceneText with = scene;
        with.elements = fmt::format(
                            "material \"m\" \"plain_rays\" ( \"mode\" 2, \"otherwise\" 9 9 9 1, \"ior\" {} ) end "
                            "material\n",
                            ior) +
                        wall("front", -5, "m") +
                        wall("rear", 6, "m", 1000, "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1");
        with.members = slab ? "\"front\" \"rear\"" : "\"front\"";
        return picture(with.text());
    };
    // One surface bends: what lies along it of the direction is divided by the index. A slab bends it back.
    expectPixels(glass(1.5, false), "R", [](int x, int y) { return .5 + .5 * eyeRay(x, y).y / 1.5; });
    expectPixels(glass(1.5, true), "R", [](int x, int y) { return .5 + .5 * eyeRay(x, y).y; });
    // Into a thinner medium: total reflection where the sine exceeds the index.
    expectPixels(glass(.5, false), "R", [](int x, int y) {
        const V3 d = eyeRay(x, y);
        return std::hypot(d.x, d.y) > .5 ? 9 : .5 + .5 * d.y / .5;
    });
}

}  // namespace
}  // namespace rendertest
