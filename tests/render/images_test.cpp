// Layers, windows and files of pictures.
#include "contract_test.h"
#include "pixels.h"

namespace rendertest {
namespace {

using Images = RenderTest;
using Names = std::vector<std::string>;

TEST_F(Images, LayersHaveTheirTypesAndNames) {
    SceneText scene;
    scene.buffers = "framebuffer \"beauty\" datatype \"rgba_h\" primary on filename \"out.exr\" filetype \"exr\"";
    for (const auto& [name, type] :
         {std::pair("full", "rgba_fp"), std::pair("half", "rgb_h"), std::pair("depth", "z"), std::pair("normal", "n"),
          std::pair("motion", "m"), std::pair("label", "tag"), std::pair("matte", "a_fp"), std::pair("scalar", "s_fp")})
        scene.buffers += userBuffer(name, type);
    scene.elements = constantMaterial("m", ".1 .2 .3 1") + wall("surface", -5, "m");
    scene.members = "\"surface\"";
    const Picture image = picture(scene.text());
    EXPECT_EQ(image.names(),
              (Names{"A",        "B",        "G",        "R",        "depth.Z",  "full.A",   "full.B",
                     "full.G",   "full.R",   "half.B",   "half.G",   "half.R",   "label.id", "matte.A",
                     "motion.X", "motion.Y", "motion.Z", "normal.X", "normal.Y", "normal.Z", "scalar.Y"}));
    EXPECT_EQ(image.format("half.R"), Picture::Format::Half);
    EXPECT_EQ(image.format("full.R"), Picture::Format::Float);
    EXPECT_EQ(image.format("depth.Z"), Picture::Format::Float);
    EXPECT_EQ(image.format("label.id"), Picture::Format::Integer);
    EXPECT_EQ(image.at("R", 1, 1), 1638.F / 16384.F);  // the nearest half to .1
}

TEST_F(Images, WindowsCropAndBuffersGoToTheFilesTheyName) {
    SceneText scene;
    scene.camera = "environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 ) window 1 2 2 3";
    scene.buffers += userBuffer("one", "rgba_fp") + " filename \"second.exr\"" + userBuffer("two", "z") +
                     " filename \"second.exr\"\nframebuffer \"unwritten\" datatype \"rgba_fp\" user on";
    scene.camera += " output \"rgba\" \"png\" \"look.png\"";
    const Picture crop = picture(scene.text());
    EXPECT_EQ(crop.names(), (Names{"A", "B", "G", "R"}));
    EXPECT_EQ(Picture(path("second.exr")).names(), (Names{"one.A", "one.B", "one.G", "one.R", "two.Z"}));
    EXPECT_TRUE(exists("look.png"));
    EXPECT_EQ(crop.width, 4);
    EXPECT_EQ(crop.height, 4);
    EXPECT_EQ(crop.windowX, 1);
    EXPECT_EQ(crop.windowY, 2);
    EXPECT_EQ(crop.windowWidth, 2);
    EXPECT_EQ(crop.windowHeight, 2);
    for (int y = 2; y < 4; ++y)
        for (int x = 1; x < 3; ++x) EXPECT_FLOAT_EQ(crop.at("R", x, y), static_cast<float>(.5 + .5 * eyeRay(x, y).y));
}

}  // namespace
}  // namespace rendertest
