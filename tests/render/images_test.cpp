// Engines, frame buffers and what of them reaches files.
#include "harness.h"
#include "scene_text.h"
#include "space.h"

namespace rendertest {
namespace {

using Images = RenderTest;

/// A scene with the shader library's state shaders; passes are buffers by number.
SceneText libraryScene(const std::string& passNames, const std::string& moreState = {}) {
    SceneText scene;
    scene.before = libraryPrelude() + "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [" +
                   passNames +
                   "], \"frameBufferInfo\" [], \"FrameBufferTypeCounts\" [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
                   "0,0,0,0,0,0,0,0,0,0,0,0,0] )\n";
    scene.options = "samples 0 0 state [ \"vexabase\" (), \"lumoFrameBufferState\" ()" + moreState + " ]";
    scene.camera = "data \"fbuf\"";
    return scene;
}

std::string buffer(const std::string& name, const std::string& type, const std::string& more = {},
                   const std::string& file = "out.exr") {
    return fmt::format("\nframebuffer \"{}\" datatype \"{}\" user on {} filename \"{}\" filetype \"exr\"", name, type,
                       more, file);
}

/// A wall from this column of the 4 x 4 picture (a fraction of pixels) to the right, at z = -5.
std::string wallFrom(double column, const std::string& material) {
    const double x = 5 * (column / 4 - .5) * 2;
    return wall("right", -5, material, 500,
                "transform 1 0 0 0  0 1 0 0  0 0 1 0  " + fmt::format("{:.9g}", -x - 500) + " 0 0 1");
}

TEST_F(Images, SimpleEngineHandsTheColorOnForEyeRays) {
    SceneText scene = libraryScene("");
    scene.elements =
        "shader \"paint\" \"plain_constant\" ( \"color\" .1 .2 .3 .4 )\n"
        "material \"m\" \"lumoVexaSimpleShadingEngine\" ( \"color\" = \"paint\", \"alpha\" .75 ) end material\n"
        "material \"mirror\" \"plain_rays\" ( \"mode\" 0, \"otherwise\" 5 6 7 8 ) end material\n" +
        wallFrom(2, "mirror") + wall("back", -8, "m");
    scene.members = "\"right\" \"back\"";
    const Picture image = picture(scene.text());
    EXPECT_FLOAT_EQ(image.at("R", 0, 1), .1F);
    EXPECT_FLOAT_EQ(image.at("G", 1, 3), .2F);
    EXPECT_FLOAT_EQ(image.at("B", 1, 0), .3F);
    EXPECT_FLOAT_EQ(image.at("A", 0, 0), .75F);
    EXPECT_EQ(image.at("R", 2, 1), 5);  // through a transparent surface the engine says no
    EXPECT_EQ(image.at("A", 3, 1), 8);
}

TEST_F(Images, RenderTargetEnginePaintsTheScreen) {
    SceneText scene = libraryScene("");
    scene.elements =
        "shader \"where\" \"plain_coordinate\" ()\n"
        "material \"m\" \"lumoVexaRenderTargetShadingEngine\" ( \"color\" = \"where\", \"alpha\" .5 ) end "
        "material\n" +
        wall("surface", -5, "m", 20);
    scene.members = "\"surface\"";
    const Picture image = picture(scene.text());
    // (raster + .5) / resolution, where raster is the pixel's centre already.
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(image.at("R", i, 1), static_cast<float>(i + 1) / 4);
        EXPECT_EQ(image.at("G", 1, i), static_cast<float>(i + 1) / 4);
        EXPECT_EQ(image.at("A", i, i), .5F);
    }
}

TEST_F(Images, FrameBufferInitFillsWhatNoPassWrites) {
    SceneText scene = libraryScene("\"depth\", \"motion\"",
                                   ", \"lumoFrameBufferInit\" ( \"pass\" 0, \"value\" 7 0 0 0 ), "
                                   "\"lumoFrameBufferInit\" ( \"pass\" 1, \"value\" .5 .25 1 0 )");
    scene.buffers += buffer("depth", "z") + buffer("motion", "m");
    scene.elements =
        "material \"m\" \"lumoVexaSimpleShadingEngine\" ( \"color\" 1 1 1 1 ) \"lumoPassCameraDepth\" ( \"pass\" "
        "0 ) end material\n" +
        wallFrom(2, "m");
    scene.members = "\"right\"";
    const Picture image = picture(scene.text());
    EXPECT_EQ(image.at("depth.Z", 0, 1), 7);
    EXPECT_EQ(image.at("motion.X", 0, 1), .5F);
    EXPECT_EQ(image.at("motion.Y", 3, 1), .25F);
    EXPECT_EQ(image.at("motion.Z", 3, 1), 1);
    EXPECT_NEAR(image.at("depth.Z", 3, 1), 5 * std::sqrt(.75 * .75 + .25 * .25 + 1), 1e-4);
}

TEST_F(Images, LayersHaveTheirTypesAndNames) {
    SceneText scene;
    scene.buffers = "framebuffer \"beauty\" datatype \"rgba_h\" primary on filename \"out.exr\" filetype \"exr\"" +
                    buffer("full", "rgba_fp") + buffer("half", "rgb_h") + buffer("depth", "z") + buffer("normal", "n") +
                    buffer("motion", "m") + buffer("label", "tag") + buffer("matte", "a_fp") + buffer("scalar", "s_fp");
    scene.elements = constantMaterial("m", ".1 .2 .3 1") + wall("surface", -5, "m");
    scene.members = "\"surface\"";
    const Picture image = picture(scene.text());
    const std::vector<std::string> expected = {"A",        "B",        "G",        "R",        "depth.Z",  "full.A",
                                               "full.B",   "full.G",   "full.R",   "half.B",   "half.G",   "half.R",
                                               "label.id", "matte.A",  "motion.X", "motion.Y", "motion.Z", "normal.X",
                                               "normal.Y", "normal.Z", "scalar.Y"};
    EXPECT_EQ(image.names(), expected);
    EXPECT_EQ(image.format("R"), Picture::Format::Half);
    EXPECT_EQ(image.format("half.R"), Picture::Format::Half);
    EXPECT_EQ(image.format("full.R"), Picture::Format::Float);
    EXPECT_EQ(image.format("depth.Z"), Picture::Format::Float);
    EXPECT_EQ(image.format("label.id"), Picture::Format::Integer);
    // The nearest half to .1 is 1638 / 16384.
    EXPECT_EQ(image.at("R", 1, 1), 1638.F / 16384.F);
}

TEST_F(Images, FilteredBuffersAverageAndOthersKeepOneSample) {
    for (const auto& [edge, mean, kept] : {std::tuple{1.6, .5F, 0.F}, std::tuple{1.3, .75F, 1.F}}) {
        // Sixteen samples lie in columns .125, .375, .625 and .875 of the pixel; one of the middle four stands for it.
        SceneText scene = libraryScene("\"mean\", \"kept\"");
        scene.options += " samples 2 2 filter box 1 1";
        scene.buffers += buffer("mean", "a_fp", "filtering on") + buffer("kept", "a_fp", "filtering off");
        scene.elements =
            "material \"m\" \"lumoVexaSimpleShadingEngine\" ( \"color\" .5 1 2 1 ) \"lumoPassCoverage\" ( "
            "\"pass\" 0 ) \"lumoPassCoverage\" ( \"pass\" 1 ) end material\n" +
            wallFrom(edge, "m");
        scene.members = "\"right\"";
        const Picture image = picture(scene.text());
        EXPECT_EQ(image.at("mean.A", 1, 2), mean);
        EXPECT_EQ(image.at("kept.A", 1, 2), kept);
        EXPECT_EQ(image.at("B", 1, 2), 2 * mean);
        EXPECT_EQ(image.at("mean.A", 0, 2), 0);
        EXPECT_EQ(image.at("mean.A", 2, 2), 1);
    }
}

/// Every pixel has a color of its own: the environment's, which tells the direction's height, and a wall.
SceneText gradient() {
    SceneText scene;
    scene.camera = "environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 )";
    scene.elements = constantMaterial("m", ".25 2 .5 1") + wallFrom(2, "m");
    scene.members = "\"right\"";
    return scene;
}

TEST_F(Images, WindowsCropWithoutChangingPixels) {
    SceneText scene = gradient();
    const Picture full = picture(scene.text());
    EXPECT_EQ(full.windowWidth, 4);
    scene.camera += " window 1 2 2 3";
    const Picture crop = picture(scene.text());
    EXPECT_EQ(crop.width, 4);
    EXPECT_EQ(crop.height, 4);
    EXPECT_EQ(crop.windowX, 1);
    EXPECT_EQ(crop.windowY, 2);
    EXPECT_EQ(crop.windowWidth, 2);
    EXPECT_EQ(crop.windowHeight, 2);
    for (int y = 2; y < 4; ++y)
        for (int x = 1; x < 3; ++x) EXPECT_EQ(crop.at("R", x, y), full.at("R", x, y));
    EXPECT_NE(full.at("R", 1, 2), full.at("R", 1, 3));
}

TEST_F(Images, OffsetsMoveThePictureRightAndUp) {
    SceneText scene = gradient();
    const Picture plain = picture(scene.text());
    scene.camera += " offset 1 1";
    const Picture moved = picture(scene.text());
    for (int y = 1; y < 4; ++y)
        for (int x = 1; x < 4; ++x)
            EXPECT_NEAR(moved.at("R", x, y), plain.at("R", x - 1, y - 1), 1e-6) << x << " " << y;
    EXPECT_NE(plain.at("R", 2, 1), plain.at("R", 1, 1));
}

TEST_F(Images, OrthographicCamerasLookAlongTheAxis) {
    // A film of width 2 without perspective: the wall's edge at x = .5 lies at column 3 however far away it is.
    for (const std::string z : {"-2", "-50"}) {
        SceneText scene;
        scene.camera = "focal infinity";
        scene.elements = constantMaterial("m", "1 1 1 1") +
                         wall("right", std::stod(z), "m", 500, "transform 1 0 0 0  0 1 0 0  0 0 1 0  -500.5 0 0 1");
        scene.members = "\"right\"";
        const Picture image = picture(scene.text());
        for (int x = 0; x < 4; ++x) EXPECT_EQ(image.at("R", x, 1), x == 3 ? 1 : 0) << z;
    }
}

TEST_F(Images, BuffersGoToTheFilesTheyName) {
    SceneText scene = gradient();
    scene.buffers += buffer("one", "rgba_fp", "", "second.exr") + buffer("two", "z", "", "second.exr") +
                     "\nframebuffer \"unwritten\" datatype \"rgba_fp\" user on";
    scene.camera += " output \"rgba\" \"png\" \"look.png\"";
    const Picture first = picture(scene.text());
    EXPECT_EQ(first.names(), (std::vector<std::string>{"A", "B", "G", "R"}));
    const Picture second(path("second.exr"));
    EXPECT_EQ(second.names(), (std::vector<std::string>{"one.A", "one.B", "one.G", "one.R", "two.Z"}));
    EXPECT_TRUE(exists("look.png"));
}

TEST_F(Images, EachRenderCommandSeesTheEditsBeforeIt) {
    SceneText scene = gradient();
    scene.after =
        "incremental material \"m\" \"plain_constant\" ( \"color\" .5 0 0 1 ) end material\n"
        "incremental camera \"cam\" framebuffer \"beauty\" filename \"second.exr\" end camera\n"
        "render \"world\" \"cam_i\" \"opt\"\n"
        "incremental instance \"right\" transform 1 0 0 0  0 1 0 0  0 0 1 0  -502.5 0 0 1 end instance\n"
        "incremental options \"opt\" samples 1 1 end options\n"
        "incremental camera \"cam\" framebuffer \"beauty\" filename \"third.exr\" resolution 8 4 end camera\n"
        "render \"world\" \"cam_i\" \"opt\"\n";
    const Picture first = picture(scene.text());
    EXPECT_EQ(first.at("G", 2, 1), 2);
    EXPECT_EQ(first.at("R", 3, 1), .25F);
    const Picture second(path("second.exr"));
    EXPECT_EQ(second.at("R", 2, 1), .5F);
    EXPECT_EQ(second.at("G", 2, 1), 0);
    // The edge at x = 2.5 is column 6 of 8.
    const Picture third(path("third.exr"));
    EXPECT_EQ(third.width, 8);
    EXPECT_EQ(third.at("R", 6, 1), .5F);
    EXPECT_NE(third.at("R", 5, 1), .5F);
}

}  // namespace
}  // namespace rendertest
