// Files that are no scenes and scenes without end: the program says what is wrong and fails, or renders. It never crashes,
// hangs or succeeds without a picture. See broken.mi and odd.mi for scenes with one thing wrong.
#include "harness.h"

namespace rendertest {
namespace {

const std::string kGood = contentOf(LUMO_CASES "/Good.mi") + "render \"world\" \"cam_i\" \"opt\"\n";

class BrokenScene : public RenderTest {
protected:
    BrokenScene() { timeoutSeconds = 30; }

    static std::string edited(const std::string& text, const std::string& instead, std::string scene = kGood) {
        const auto at = scene.find(text);
        EXPECT_NE(at, std::string::npos) << text;
        return scene.replace(at, text.size(), instead);
    }
};

TEST_F(BrokenScene, FilesThatAreNoScenesFail) {
    std::string garbage;
    for (unsigned i = 0, n = 12345; i < 5000; ++i) garbage += static_cast<char>((n = n * 1664525 + 1013904223) >> 24);
    for (const std::string& scene :
         {std::string(), std::string("\n\n# only a comment\n"), garbage, std::string(3000, '\0'), kGood.substr(0, 100),
          kGood.substr(0, 1500), kGood.substr(0, kGood.size() - 30)}) {
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.exitCode, 1) << "signal " << outcome.signal << scene;
        EXPECT_NE(outcome.messages, "");
    }
    write("a.mi", "$include \"b.mi\"\n");
    write("b.mi", "\n$include \"a.mi\"\n");
    const Outcome looped = renderText("$include \"a.mi\"\n" + kGood), missing = run({"nowhere.mi"});
    EXPECT_TRUE(looped.exitCode == 1 && looped.says("include")) << looped.messages;
    EXPECT_TRUE(missing.exitCode == 1 && missing.says("nowhere.mi")) << missing.messages;
    // Corners that are no numbers, in binary: the polygon is left out.
    const Outcome noNumbers = renderText(edited("-9 -9 -5", std::string("`\x7F\xC0\0\0\x7F\xC0\0\0\x7F\xC0\0\0`", 14)));
    EXPECT_TRUE(noNumbers.exitCode == 1 && exists("out.exr") && noNumbers.says("\"o\"")) << noNumbers.messages;
}

/// Some chains end in the reader's limits, others work; none ends in a signal.
TEST_F(BrokenScene, DeepNestingDoesNotOverflow) {
    std::string groups = "instgroup \"g0\" \"i\" end instgroup\n", shaders = "shader \"s0\" \"plain_constant\" ()\n";
    for (int k = 1; k <= 20000; ++k) {
        const std::string n = std::to_string(k), before = std::to_string(k - 1);
        groups += "instance \"gi" + n + "\" \"g" + before + "\" end instance instgroup \"g" + n + "\" \"gi" + n +
                  "\" end instgroup\n";
        shaders += "shader \"s" + n + "\" \"plain_constant\" ( \"color\" = \"s" + before + "\" )\n";
    }
    const std::string color = "1 0 0 1";
    std::string conditions;
    for (int k = 0; k < 50000; ++k) conditions += "$ifdef \"x\"\n";
    for (const std::string& scene :
         {edited("instgroup \"world\"",
                 groups + "instance \"top\" \"g20000\" end instance instgroup \"world\" \"top\""),
          edited("shader \"red\"", shaders + "shader \"red\"", edited(color, "= \"s20000\"")),
          edited(color, std::string(200000, '[')), edited(color, std::string(200000, '{')), conditions + kGood,
          edited("\"look\"", "\"" + std::string(1000000, 'x') + "\"")}) {
        std::filesystem::remove(path("out.exr"));
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.signal, 0) << scene.substr(1000, 1000);
        EXPECT_FALSE(outcome.timedOut) << scene.substr(1000, 1000);
        EXPECT_TRUE(outcome.exitCode == 0 ? exists("out.exr") : outcome.says("error")) << outcome.messages;
    }
}

/// Phenomena that use the next one twice, a light list of a million names, and 30,000 instances with lists of their own.
TEST_F(BrokenScene, ListsAreBounded) {
    std::string phenomena, names, instances, group;
    for (int k = 0; k < 40; ++k) {
        const std::string next = std::to_string(k + 1);
        phenomena = "declare phenomenon color \"p" + std::to_string(k) + "\" () shader \"a\" \"p" + next +
                    "\" () shader \"b\" \"p" + next +
                    "\" () shader \"s\" \"example_sky\" ( \"zenith\" = \"a\", \"horizon\" = \"b\" ) root = \"s\" "
                    "end declare\n" +
                    phenomena;
    }
    const Outcome doubled = renderText(edited("shader \"red\"",
                                              "declare phenomenon color \"p40\" () shader \"s\" \"plain_constant\" () "
                                              "root = \"s\" end declare\n" +
                                                  phenomena + "shader \"many\" \"p0\" ()\nshader \"red\""));
    EXPECT_EQ(doubled.exitCode, 1);
    EXPECT_TRUE(doubled.says("there are more than 100000 phenomena")) << doubled.messages;

    for (int k = 0; k < 1'000'000; ++k) names += k > 0 ? ", \"lamp_i\"" : "\"lamp_i\"";
    for (int k = 0; k < 30'000; ++k) {
        const std::string name = "\"i" + std::to_string(k) + "\"";
        instances += "instance " + name + " \"o\" light [ \"lamp_i\" ] end instance\n";
        group += " " + name;
    }
    const Outcome lists =
        renderText(edited("instgroup \"world\"", "incremental instance \"i\" light [ " + names + " ] end instance\n" +
                                                     instances + "instgroup \"world\"" + group));
    EXPECT_EQ(lists.exitCode, 0) << lists.messages.substr(0, 1000);
    EXPECT_TRUE(exists("out.exr"));
}

}  // namespace
}  // namespace rendertest
