// Points of final gathering in files.
#include "harness.h"

namespace rendertest {
namespace {

class Points : public RenderTest {
protected:
    Outcome render(const std::string& options) const {
        const Outcome outcome = renderText(
            "$include <Crowd.mi>\nincremental options \"opt\" finalgather accuracy 32 finalgather file "
            "\"kept.points\" " +
                options + " end options\nrender \"world\" \"cam_i\" \"opt\"\n",
            {"-I", LUMO_CASES, "-verbose", "5", "-resolution", "60", "45"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        return outcome;
    }
};

TEST_F(Points, AreKeptInFiles) {
    render("");
    const Picture first(path("out.exr"));
    const std::string kept = contentOf(path("kept.points"));
    ASSERT_GT(kept.size(), 1000U);

    // Used as they are, or completed where a grid finds gaps, of which there are none. Broken ones are told, and made
    // anew.
    std::string flipped = kept;
    flipped[kept.size() / 2] ^= 1;
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {kept, "freeze", ""},
        {kept, "off", " points, 0 rays"},
        {kept.substr(0, kept.size() - 7), "off", "expected"},
        {flipped, "off", "is damaged"},
        {"", "off", "is no file of final gather points"}};
    for (const auto& [bytes, rebuild, message] : cases) {
        write("kept.points", bytes);
        const Outcome outcome = render("finalgather rebuild " + rebuild);
        EXPECT_TRUE(outcome.says(message)) << message << "\n" << outcome.messages;
        EXPECT_EQ(outcome.says("final gather file \"kept.points\" "), bytes != kept) << outcome.messages;
        EXPECT_EQ(outcome.says("grid of"), rebuild != "freeze") << outcome.messages;
        EXPECT_TRUE(first == Picture(path("out.exr"))) << message;
        EXPECT_EQ(contentOf(path("kept.points")), kept) << message;
    }

    // Several files: what any of them holds is known. `only` makes points and no picture.
    std::filesystem::remove(path("out.exr"));
    std::filesystem::rename(path("kept.points"), path("other.points"));
    const Outcome both =
        render("finalgather rebuild off finalgather file [ \"new.points\", \"other.points\" ] finalgather only");
    EXPECT_TRUE(both.says(" points, 0 rays")) << both.messages;
    EXPECT_FALSE(exists("out.exr") || exists("new.points"));
    const Outcome lost = render("finalgather rebuild freeze");
    EXPECT_TRUE(lost.says("\"kept.points\" is not there")) << lost.messages;
    EXPECT_FALSE(exists("kept.points"));
}

}  // namespace
}  // namespace rendertest
