// The command line as users type it.
#include "harness.h"

#include <cstdlib>
#include <sstream>

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
            EXPECT_FALSE(outcome.says("warning") || outcome.says("error")) << outcome.messages;
        }
        EXPECT_TRUE(outcome.says(says)) << says << "\n" << outcome.messages;
        EXPECT_EQ(exists("out.exr"), file.starts_with("out."));
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
    render({"-samples", "2", "-contrast", "-1", "-1", "-1", "-verbose", "on"}, "rendered 256 eye rays");
    render({"-res", "5", "2", "-th", "1", "-verb", "5", "-sam", "0", "0"}, "rendered 10 eye rays");
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
    EXPECT_EQ(render({"-resolution", "3", "2", "-shutter", ".5"}, "out.2.exr", "out.2.exr").width, 3);
    EXPECT_EQ(render({"-resolution", "3", "2", "-resolution", "5", "2"}, "out.2.exr", "out.2.exr").width, 5);
    // A picture whose name an earlier one has gets a number.
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
          "$include <sdk_mirror.mi> declare shader color \"plain_constant\" ( color \"color\" ) version 1 end declare" +
              kScene);
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

TEST_F(CommandLine, SomeOfTheSceneIsRendered) {
    scene_ +=
        "incremental camera \"cam\" resolution 5 5 end camera\nrender \"world\" \"cam_i\" \"opt\"\n"
        "incremental camera \"cam\" resolution 6 6 end camera\nrender \"world\" \"cam_i\" \"opt\"\n";
    EXPECT_EQ(render({"-render", "2"}).width, 5);
    EXPECT_EQ(render({"-render", "1", "2"}, "out.2.exr", "out.2.exr").width, 5);
    EXPECT_EQ(render({"-render", "1", "2", "-o", "two.exr"}, "two.2.exr", "two.2.exr").width, 5);
    EXPECT_EQ(render({"-render", "2", "9", "3"}).width, 5);
    EXPECT_EQ(render({"-render", "on"}, "out.3.exr", "out.3.exr").width, 6);
    std::filesystem::remove(path("out.exr"));
    const Outcome none = renderText(scene_, {"-render", "4"}), off = renderText(scene_, {"-render", "off"});
    EXPECT_TRUE(none.exitCode == 1 && none.says("none of the scene's 3 render commands")) << none.messages;
    EXPECT_TRUE(off.exitCode == 0 && !exists("out.exr")) << off.messages;
}

/// Told one by one, except where nothing is what was asked for.
TEST_F(CommandLine, WhatHasNoEffectSaysSo) {
    const std::vector<std::string> words = {"-importon on",  "-acceleration bsp2", "-bsp_size 9",
                                            "-bsp_depth 9",  "-task_order x",      "-progressive on",
                                            "-shadowmap on", "-hosts a b --",      "-fb_dir x"};
    std::vector<std::string> arguments{"-photonmap_only", "off"};
    for (const std::string& each : words) {
        std::istringstream stream(each);
        for (std::string word; stream >> word;) arguments.push_back(word);
    }
    const Outcome outcome = renderText(scene_, arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
    for (const std::string& each : words)
        EXPECT_TRUE(outcome.says(each.substr(0, each.find(' ')) + " has no effect: ")) << each << outcome.messages;
    EXPECT_FALSE(outcome.says("photonmap_only")) << outcome.messages;
    EXPECT_TRUE(outcome.says("/out.exr in ") && outcome.says(" s, 9 warnings\n")) << outcome.messages;
}

/// 0 where all is as it was asked for, 1 where something is not, whether there is a picture or not.
TEST_F(CommandLine, ExitCodesTellFarmsWhatHappened) {
    const std::string broken = "material \"m\" \"no_such_shader\" () end material\n" + scene_;
    // What shaders find wrong comes before what takes long, too.
    std::string unnamed = "link \"lumovexa.so\"\n$include <lumovexa.mi>\n" + scene_;
    const std::string sky = "\"plain_constant\" ( \"color\" .25 .5 .75 1 )";
    unnamed.replace(unnamed.find(sky), sky.size(), "\"lumoVexaAssetBinder\" ( \"selector\" \"night\" )");
    const struct {
        std::string scene;
        std::vector<std::string> arguments;
        bool good, picture;
        const char* says;
    } rows[] = {
        {scene_, {"-task_order", "x"}, true, true, "-task_order has no effect"},
        {scene_, {"-task_order", "x", "-strict"}, false, false, "as -strict says"},
        {scene_, {"-strict"}, true, true, "/out.exr in "},
        {unnamed, {"-strict"}, false, false, "as -strict says"},
        {unnamed, {"-lenient"}, true, true, "A name is not among the names"},
        {broken, {}, false, false, "because of the errors above"},
        {broken, {"-lenient"}, false, true, "/out.exr in "},
        {scene_, {"-lenient"}, true, true, "/out.exr in "},
        {scene_, {"-code", "x.c"}, false, true, "-code is not done: "},
        {scene_, {"-copyright", "on"}, true, true, "Apache License"},
        {scene_, {"-file_dir", "nowhere"}, false, false, "wrote nothing in "},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(path("out.exr"));
        const Outcome outcome = renderText(row.scene, row.arguments);
        EXPECT_EQ(outcome.exitCode, row.good ? 0 : 1) << row.says << "\n" << outcome.messages;
        EXPECT_EQ(exists("out.exr"), row.picture) << row.says << "\n" << outcome.messages;
        EXPECT_TRUE(outcome.says(row.says)) << row.says << "\n" << outcome.messages;
    }
}

TEST_F(CommandLine, FilesAreNamedAndMadeAsItSays) {
    scene_.replace(scene_.find("out.exr"), 7, "{stem}.exr");
    EXPECT_EQ(render({"-registry", "stem", "registered"}, "", "registered.exr").width, 4);
    const std::string type = "-file_type", registry = "-registry";
    EXPECT_EQ(renderText(scene_, {type, "png", registry, "stem", "a"}).exitCode, 0);
    EXPECT_EQ(renderText(scene_, {type, "png", "-gamma", "2.2", registry, "stem", "b"}).exitCode, 0);
    EXPECT_TRUE(exists("a.png") && !exists("a.exr"));
    EXPECT_NE(contentOf(path("a.png")), contentOf(path("b.png")));
}

TEST_F(CommandLine, ShadersAreListedAndDescribed) {
    const auto with = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"-ld_path", LUMO_TEST_MODULES});
        return run(more);
    };
    const Outcome list = with({"-link", "lumovexa.so", "plain.so", "--", "-list"}), all = with({"-list"});
    EXPECT_EQ(countOf(list.output, "  lumoVexaLambert  "), 1) << list.output;
    EXPECT_EQ(countOf(list.output, "lumovexa.so: 61 shaders"), 1) << list.output;
    EXPECT_EQ(countOf(list.output, "plain.so: there are no declarations beside it, plain.mi"), 1) << list.output;
    EXPECT_EQ(countOf(all.output, "  vexabase  "), 1) << all.output;
    const Outcome one = with({"-describe", "lumoVexaClamp"}), slip = with({"-describe", "lumoVexaClmap"});
    EXPECT_EQ(countOf(one.output, "declare shader"), 1) << one.output;
    EXPECT_EQ(countOf(one.output, "# Limits each channel, alpha too.\n"), 1) << one.output;
    EXPECT_EQ(countOf(one.output, "end declare\n"), 1) << one.output;
    EXPECT_TRUE(slip.exitCode == 1 && slip.says("\"lumoVexaClamp\"?")) << slip.messages;
}

/// Values that are words, and names, in a real shell.
TEST_F(CommandLine, ShellsCompleteIt) {
    write("completions", run({"-completion", "bash"}).output);
    const auto completed = [&](const std::string& words, int at) {
        const std::string command = "bash -c 'source " + path("completions").string() + "; COMP_WORDS=(lumorender " +
                                    words + "); COMP_CWORD=" + std::to_string(at) +
                                    "; _lumorender; echo ${COMPREPLY[*]}' > " + path("reply").string();
        EXPECT_EQ(std::system(command.c_str()), 0);
        return contentOf(path("reply"));
    };
    EXPECT_EQ(completed("-shadow s", 2), "simple sort segments\n");
    EXPECT_EQ(completed("-threads 2 -task_s", 3), "-task_size\n");
}

}  // namespace
}  // namespace rendertest
