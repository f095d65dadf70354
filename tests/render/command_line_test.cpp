// The command line as users type it.
#include "harness.h"

namespace rendertest {
namespace {

/// 4 x 4 pixels of one color, wherever one looks.
const std::string kScene = R"(
options "opt" object space samples 0 0 end options
camera "cam" framebuffer "beauty" datatype "rgba_fp" primary on filename "out.exr" filetype "exr"
    resolution 4 4 environment "plain_constant" ( "color" .25 .5 .75 1 ) end camera
instance "cam_i" "cam" end instance
instgroup "world" "cam_i" end instgroup
render "world" "cam_i" "opt"
)";

class CommandLine : public RenderTest {
protected:
    /// The picture of one color; fails unless the messages hold this text, or are none.
    Picture render(const std::vector<std::string>& arguments, const std::string& says = {},
                   const std::string& file = "out.exr") {
        std::filesystem::remove(path("out.exr"));
        const Outcome outcome = renderText(scene_, arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        if (says.empty()) {
            EXPECT_EQ(outcome.messages, "");
        }
        EXPECT_TRUE(outcome.says(says)) << says << "\n" << outcome.messages;
        EXPECT_EQ(exists("out.exr"), file == "out.exr");
        return Picture(path(file));
    }
    std::string scene_ = "$include <modules.mi>\n" + kScene;
};

TEST_F(CommandLine, HelpVersionAndWrongUse) {
    const struct {
        std::vector<std::string> arguments;
        int exitCode;
        const char* says;
    } cases[] = {{{"-help"}, 0, "-texture_continue"},
                 {{"-he"}, 0, "-file_name"},
                 {{"-version"}, 0, "lumorender "},
                 {{"-nonsense", "scene.mi"}, 2, "-nonsense is unknown"},
                 {{"-resolutoin", "4", "4"}, 2, "mean -resolution?"},
                 {{"-t", "2", "scene.mi"}, 2, "-threads"},  // -threads or -task_size or -texture_continue
                 {{"-verbose", "loud"}, 2, "loud"},
                 {{"-threads", "0"}, 2, "threads"},
                 {{"-threads", "many"}, 2, "threads"},
                 {{"-resolution", "10"}, 2, "resolution"},
                 {{"-hair", "maybe"}, 2, "hair"},
                 {{"a.mi", "b.mi"}, 2, "b.mi"}};
    for (const auto& c : cases) {
        const Outcome outcome = run(c.arguments);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << c.says << outcome.messages;
        const std::string told = c.exitCode ? outcome.messages + outcome.output : outcome.output;
        EXPECT_NE(told.find(c.says), std::string::npos) << c.says << "\n" << told;
    }
}

TEST_F(CommandLine, OptionsAndTheirAbbreviationsWinOverTheScene) {
    const Picture resized = render({"-resolution", "7", "3"});
    EXPECT_EQ(resized.width, 7);
    EXPECT_EQ(resized.height, 3);
    render({"-samples", "1", "1", "-verbose", "5"}, "rendered 64 eye rays");  // 4 x 4 pixels, four each
    render({"-samples", "2", "-verbose", "on"}, "rendered 256 eye rays");
    render({"-res", "5", "2", "-th", "1", "-verb", "5", "-sam", "0"}, "rendered 10 eye rays");
    render({"-file_name", "other.exr"}, "", "other.exr");
    std::filesystem::create_directory(path("pictures"));
    EXPECT_EQ(render({"-file_dir", "pictures"}, "", "pictures/out.exr").at("G", 1, 1), .5);
    render({"-verbose", "0"});
    scene_ = "verbose 5\n" + scene_;
    render({}, "info");
    render({"-verbose", "3"});
}

/// Values that may be left out end where a value does not fit; what the scene changes later does not count.
TEST_F(CommandLine, WhatTheSceneSaysBetweenRendersDoesNotWin) {
    scene_ += "incremental camera \"cam\" resolution 9 9 end camera\nrender \"world\" \"cam_i\" \"opt\"\n";
    EXPECT_EQ(render({"-resolution", "3", "2", "-shutter", ".5"}).width, 3);
    EXPECT_EQ(render({"-resolution", "3", "2", "-resolution", "5", "2"}).width, 5);
    render({"-task_order", "spiral"}, "-task_order has no effect: ");
}

TEST_F(CommandLine, ScenesComeFromStandardInputToo) {
    const Outcome outcome = run({"-ld_path", LUMO_TEST_MODULES, "-I", LUMO_TEST_MODULES}, scene_);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(Picture(path("out.exr")).at("B", 0, 0), .75);
    const Outcome broken = run({}, "options \"opt\" object space nonsense\n");
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_TRUE(broken.says("standard input:1")) << broken.messages;
}

TEST_F(CommandLine, ModulesAndIncludesAreSearchedWhereItSays) {
    // The module comes from the command line, and .mi is added.
    write("linked.mi",
          "$include <sdk_mirror.mi> declare shader color \"plain_constant\" ( color \"color\" ) end declare" + kScene);
    const std::string modules = LUMO_TEST_MODULES;
    const auto rendering = [&](const std::string& paths, const std::string& includes) {
        return run({"-L", paths, "-I", includes, "-link", "plain.so", "lumovexa.so", "--", "-link", "sdk_mirror.so",
                    "linked"});
    };
    const Outcome good = rendering("nowhere:" + modules, "nowhere:" + modules);
    EXPECT_EQ(good.exitCode, 0) << good.messages;
    EXPECT_TRUE(exists("out.exr"));
    const Outcome notFound = rendering("nowhere", modules), noInclude = rendering(modules, "nowhere");
    EXPECT_EQ(notFound.exitCode, 1);
    EXPECT_TRUE(notFound.says("plain.so")) << notFound.messages;
    EXPECT_EQ(noInclude.exitCode, 1);
    EXPECT_TRUE(noInclude.says("sdk_mirror.mi")) << noInclude.messages;
}

}  // namespace
}  // namespace rendertest
