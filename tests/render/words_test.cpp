// The words of the command line that stand for statements of scenes: they do what these do, whatever the scene says.
#include "harness.h"

#include "application/progress_line.h"
#include "support/messages.h"

#include <sstream>

namespace rendertest {
namespace {

/// In floats, and in 8 bits.
struct Pictures {
    Picture floats;
    std::string bytes;
    bool operator==(const Pictures&) const = default;
};

struct Row {
    std::string arguments, options, camera;
};

class Words : public RenderTest {
protected:
    Outcome run(const std::string& edits, const std::string& arguments) {
        std::vector<std::string> all{"-I", LUMO_CASES};
        std::istringstream stream(arguments);
        for (std::string word; stream >> word;) all.push_back(word);
        std::filesystem::remove(path("out.exr"));
        const Outcome outcome =
            renderText("$include <Words.mi>\n" + edits + "\nrender \"world\" \"cam_i\" \"opt\"\n", all);
        EXPECT_EQ(outcome.exitCode, 0) << arguments << "\n" << outcome.messages;
        return outcome;
    }

    Pictures render(const std::string& edits, const std::string& arguments) {
        run(edits, arguments);
        return {Picture(path("out.exr")), contentOf(path("eight.pic"))};
    }

    static std::string edit(const std::string& element, const std::string& statements) {
        return statements.empty() ? ""
                                  : "incremental " + element + " " + statements + " end " +
                                        element.substr(0, element.find(' ')) + "\n";
    }
};

TEST_F(Words, DoWhatStatementsOfTheSceneDo) {
    const Row rows[] = {
        {"-resolution 20 12", "", "resolution 20 12"},
        {"-window 2 3 20 11", "", "window 2 3 20 11"},
        {"-offset 3 -2.5", "", "offset 3 -2.5"},
        {"-aspect 1.5", "", "aspect 1.5"},
        {"-aperture 1.2", "", "aperture 1.2"},
        {"-focal 2", "", "focal 2"},
        {"-focal infinity", "", "focal infinity"},
        {"-clip 5.5 6.5", "", "clip 5.5 6.5"},
        {"-gamma 2", "gamma 2", ""},
        {"-colorclip alpha", "colorclip alpha", ""},
        {"-desaturate on", "desaturate on", ""},
        {"-premultiply off", "premultiply off", ""},
        {"-dither on", "dither on", ""},
        {"-samples 0", "samples 0", ""},
        {"-filter triangle", "filter triangle", ""},
        {"-filter clip gauss 3 2", "filter clip gauss 3 2", ""},
        {"-time_contrast .1 .2 .3 .4", "time contrast .1 .2 .3 .4", ""},
        {"-motion_steps 3", "motion steps 3", ""},
        {"-jitter 0", "jitter 0", ""},
        {"-trace off", "trace off", ""},
        {"-trace_depth 0 4", "trace depth 0 4", ""},
        {"-trace_depth 4 1 1", "trace depth 4 1 1", ""},
        {"-shadow off", "shadow off", ""},
        {"-shadow segments", "shadow segments", ""},
        {"-face both", "face both", ""},
        {"-motion off", "motion off", ""},
        {"-shutter 0", "shutter 0", ""},
        {"-shutter .8 .8", "shutter .8 .8", ""},
        {"-shutter_delay 1", "shutter 1 1", ""},
        {"-shutter .5 -shutter_delay .5", "shutter .5 .5", ""},
        {"-lens off", "lens off", ""},
        {"-volume off", "volume off", ""},
        {"-autovolume off", "autovolume off", ""},
        {"-displace off", "displace off", ""},
        {"-max_displace .1", "max displace .1", ""},
        {"-hair off", "hair off", ""},
        {"-finalgather off", "finalgather off", ""},
        {"-finalgather_accuracy 7 2 .1", "finalgather accuracy 7 2 .1", ""},
        {"-finalgather_presample 9", "finalgather presample density 9", ""},
        {"-finalgather_presample 9 -finalgather_accuracy view 16 3 1",
         "finalgather presample density 9 finalgather accuracy view 16 3 1", ""},
        {"-finalgather_depth 0 0 1", "finalgather trace depth 0 0 1", ""},
        {"-finalgather_falloff .2 1.5", "finalgather falloff .2 1.5", ""},
        {"-finalgather_falloff 2", "finalgather falloff 2", ""},
        {"-finalgather_filter 1", "finalgather filter 1", ""},
        {"-finalgather_scale 1 2 3", "finalgather scale 1 2 3", ""},
        {"-finalgather_depth 0 0 1 -finalgather_secondary_scale 1 0 3",
         "finalgather trace depth 0 0 1 finalgather secondary scale 1 0 3", ""},
        {"-ao off", "\"ambient occlusion\" off", ""},
        {"-ao_rays 5", "\"ambient occlusion rays\" 5", ""},
        {"-ao_cache on", "\"ambient occlusion cache\" on", ""},
        {"-ao_cache on -ao_cache_density 4", "\"ambient occlusion cache\" on \"ambient occlusion cache density\" 4",
         ""},
    };
    const Pictures plain = render("", "");
    for (const Row& row : rows) {
        const Pictures wanted = render(edit("options \"opt\"", row.options) + edit("camera \"cam\"", row.camera), "");
        EXPECT_FALSE(wanted == plain) << row.arguments << " changes nothing";
        EXPECT_TRUE(render("", row.arguments) == wanted) << row.arguments;
    }
}

/// Points that were made in another way show, and stay as they are.
TEST_F(Words, GatheringGoesByFilesAndCanBeAllThereIs) {
    const Pictures plain = render("", "");
    for (const char* word : {"-finalgather on", "-finalgather fastlookup"})
        EXPECT_TRUE(render(edit("options \"opt\"", "finalgather off"), word) == plain) << word;

    run(edit("options \"opt\"", "finalgather presample density 9 finalgather only finalgather file \"stated.points\""),
        "");
    EXPECT_FALSE(exists("out.exr"));
    run("", "-finalgather only -finalgather_presample 9 -finalgather_file given.points");
    EXPECT_FALSE(exists("out.exr"));
    const std::string made = contentOf(path("given.points"));
    EXPECT_TRUE(!made.empty() && made == contentOf(path("stated.points")));

    const std::string frozen = "finalgather rebuild freeze finalgather file \"stated.points\"";
    const Pictures wanted = render(edit("options \"opt\"", frozen), "");
    EXPECT_FALSE(wanted == plain);
    EXPECT_TRUE(render("", "-finalgather_rebuild freeze -finalgather_file given.points") == wanted);
    EXPECT_EQ(contentOf(path("given.points")), made);
    EXPECT_TRUE(render(edit("options \"opt\"", frozen), "-finalgather_file off") == plain);
}

/// Without a terminal: a line every ten percent or half minute, none in the first second after another.
TEST(Progress, LogsGetALineNowAndThen) {
    std::string told;
    lumorender::setMessageSink([&](auto, auto, std::string_view text) { told += std::string(text) + "\n"; });
    {
        const lumorender::ProgressLine line;
        const double states[][2] = {{.05, .5}, {.12, .9}, {.15, 2}, {.19, 3}, {.21, 2.5}, {.22, 5}, {.24, 34}, {1, 60}};
        for (const auto& [done, seconds] : states) lumorender::tellProgress({"a", done, seconds, 0});
        lumorender::tellProgress({"b", .5, 100, 0});
    }
    lumorender::tellProgress({"b", .9, 300, 0});
    lumorender::setMessageSink({});
    // 2 s for .15: 11.3 s are left; 5 s for .22: 17.7 s; 34 s had no line for 29 s.
    EXPECT_EQ(told, "a: 15 %, 0:11 left\na: 22 %, 0:18 left\nb: 50 %, 1:40 left\n");
}

}  // namespace
}  // namespace rendertest
