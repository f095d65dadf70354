// The command line as users type it.
#include "harness.h"
#include "scene_text.h"

namespace rendertest {
namespace {

class CommandLine : public RenderTest {
protected:
    /// A wall of one color, with nothing to be found elsewhere but the test modules.
    static SceneText plainScene() {
        SceneText scene;
        scene.elements = constantMaterial("m", ".25 .5 .75 1") + wall("surface", -5, "m");
        scene.members = "\"surface\"";
        return scene;
    }

    Outcome renderPlain(const std::vector<std::string>& arguments) const {
        return renderText(plainScene().text(), arguments);
    }
};

TEST_F(CommandLine, HelpAndVersionSayWhatTheyShouldAndEndWell) {
    for (const char* help : {"-help", "-he"}) {
        const Outcome outcome = run({help});
        EXPECT_EQ(outcome.exitCode, 0) << help << outcome.messages;
        for (const char* option :
             {"-verbose", "-threads", "-resolution", "-samples", "-file_name", "-ld_path", "-texture_continue"})
            EXPECT_NE(outcome.output.find(option), std::string::npos) << option << "\n" << outcome.output;
    }
    const Outcome version = run({"-version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_NE(version.output.find("lumorender "), std::string::npos) << version.output;
}

TEST_F(CommandLine, WrongUseIsRefusedWithTheReason) {
    const auto expectRefusal = [&](const std::vector<std::string>& arguments, const std::string& reason) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << reason << "\n" << outcome.messages;
        EXPECT_NE((outcome.messages + outcome.output).find(reason), std::string::npos)
            << outcome.messages << outcome.output;
    };
    expectRefusal({"-nonsense", "scene.mi"}, "nonsense");
    expectRefusal({"-t", "2", "scene.mi"}, "-threads");  // -threads or -task_size or -texture_continue
    expectRefusal({"-verbose", "loud"}, "loud");
    expectRefusal({"-threads", "0"}, "threads");
    expectRefusal({"-threads", "many"}, "threads");
    expectRefusal({"-resolution", "10"}, "resolution");
    expectRefusal({"a.mi", "b.mi"}, "b.mi");
}

TEST_F(CommandLine, OptionsWinOverTheScene) {
    ASSERT_EQ(renderPlain({"-resolution", "7", "3"}).exitCode, 0);
    const Picture resized(path("out.exr"));
    EXPECT_EQ(resized.width, 7);
    EXPECT_EQ(resized.height, 3);

    const Outcome levels = renderPlain({"-samples", "1", "1", "-verbose", "5"});
    EXPECT_EQ(levels.exitCode, 0) << levels.messages;
    EXPECT_TRUE(levels.says("rendered 64 eye rays")) << levels.messages;  // 4 x 4 pixels, four each
    const Outcome level = renderPlain({"-samples", "2", "-verbose", "5"});
    EXPECT_EQ(level.exitCode, 0) << level.messages;
    EXPECT_TRUE(level.says("rendered 256 eye rays")) << level.messages;
}

TEST_F(CommandLine, UnambiguousAbbreviationsAreUnderstood) {
    const Outcome outcome = renderPlain({"-res", "5", "2", "-th", "1", "-verb", "5", "-sam", "0"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_TRUE(outcome.says("rendered 10 eye rays")) << outcome.messages;
}

TEST_F(CommandLine, FilesGoWhereTheyAreSent) {
    ASSERT_EQ(renderPlain({"-file_name", "other.exr"}).exitCode, 0);
    EXPECT_TRUE(exists("other.exr"));
    EXPECT_FALSE(exists("out.exr"));

    std::filesystem::create_directory(path("pictures"));
    ASSERT_EQ(renderPlain({"-file_dir", "pictures"}).exitCode, 0);
    EXPECT_EQ(Picture(path("pictures/out.exr")).at("G", 1, 1), .5F);
    EXPECT_FALSE(exists("out.exr"));
}

TEST_F(CommandLine, VerbosityCountsMessageClasses) {
    const Outcome silent = renderPlain({"-verbose", "0"});
    EXPECT_EQ(silent.exitCode, 0);
    EXPECT_EQ(silent.messages, "");
    EXPECT_EQ(renderPlain({}).messages, "");  // warnings, of which there are none
    for (const char* all : {"on", "5"}) {
        const Outcome outcome = renderPlain({"-verbose", all});
        EXPECT_TRUE(outcome.says("info")) << all;
    }
    // The command line wins over the scene's own statement.
    SceneText scene = plainScene();
    scene.before = "verbose 5";
    EXPECT_TRUE(renderText(scene.text()).says("info"));
    EXPECT_EQ(renderText(scene.text(), {"-verbose", "3"}).messages, "");
}

TEST_F(CommandLine, ScenesComeFromStandardInputToo) {
    const Outcome outcome =
        run({"-ld_path", LUMO_TEST_MODULES, "-I", LUMO_TEST_MODULES, "-threads", "1"}, plainScene().text());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(Picture(path("out.exr")).at("B", 0, 0), .75F);

    const Outcome broken = run({}, "options \"opt\" object space nonsense\n");
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_TRUE(broken.says("standard input:1")) << broken.messages;
}

TEST_F(CommandLine, ModulesAndIncludesAreSearchedWhereItSays) {
    // Nothing of the scene's own but a declaration; the module comes from the command line, and .mi is added.
    SceneText scene = plainScene();
    std::string text = scene.text();
    while (text.rfind("link", 0) == 0) text.erase(0, text.find('\n') + 1);
    write("linked.mi", text);
    const std::string modules = LUMO_TEST_MODULES;
    const std::vector<std::string> list = {"-link",       "plain_material.so", "plain_surroundings.so", "plain_rays.so",
                                           "cxx_lens.so", "probe_calls.so",    "probe_rays.so",         "--"};
    std::vector<std::string> arguments = {"-L", "nowhere:" + modules, "-I", "nowhere:" + modules};
    arguments.insert(arguments.end(), list.begin(), list.end());
    arguments.emplace_back("linked");
    const Outcome good = run(arguments);
    EXPECT_EQ(good.exitCode, 0) << good.messages;
    EXPECT_EQ(good.messages, "");
    EXPECT_TRUE(exists("out.exr"));

    const Outcome notFound = run({"-I", modules, "-link", "plain_material.so", "linked.mi"});
    EXPECT_EQ(notFound.exitCode, 1);
    EXPECT_TRUE(notFound.says("plain_material.so")) << notFound.messages;
    const Outcome noInclude = run({"-L", modules, "linked.mi"});
    EXPECT_EQ(noInclude.exitCode, 1);
    EXPECT_TRUE(noInclude.says("modules.mi")) << noInclude.messages;
}

}  // namespace
}  // namespace rendertest
