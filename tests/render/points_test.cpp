// Indirect light and occlusion between points that are made before tiles: noise, means, rays that are saved, and files.
#include "pixels.h"
#include "scene_text.h"

#include <fmt/format.h>

#include <regex>

namespace rendertest {
namespace {

const std::string kExact = " finalgather presample density 0 ";

/// Gathers, or shows its occlusion.
std::string gathering(const std::string& parameters = {}) { return "\"plain_gather\" ( " + parameters + " )"; }
const std::string kOccluded = "\"plain_occlusion\" ( \"rays\" 128 )";

/// A wall at z = -5 in a light that is brighter from above.
SceneText floorScene(const std::string& material, const std::string& options, const std::string& down = "0 0 0 1") {
    SceneText scene;
    scene.options = "samples 0 0 finalgather on finalgather accuracy 128 " + options;
    scene.camera = "resolution 32 32 environment \"plain_environment\" ( \"down\" " + down + ", \"up\" 1 1 2 1 )";
    scene.elements = "material \"m\" " + material + " end material\n" + wall("floor", -5, "m");
    scene.members = "\"floor\"";
    return scene;
}

/// With boxes on it.
SceneText crowded(const std::string& material, const std::string& options) {
    SceneText scene = floorScene(material, "finalgather trace depth 0 0 1 " + options, ".2 .1 .1 1");
    scene.camera += " resolution 100 75 aspect 1.3333";
    scene.cameraPlace = "transform 1 0 0 0  0 1 0 0  0 0 1 0  0 0 -1 1";
    for (int i = 0; i < 6; ++i) {
        const Placing place =
            turned({1, i * .4, .3}, 37 * i).then(moved({(i % 3 - 1) * 2.5, (i / 3 - .5) * 2.5, -4.2}));
        scene.elements += box(fmt::format("box{}", i), {.7, .5, .6}, place, false, "material \"m\"");
        scene.members += fmt::format(" \"box{}\"", i);
    }
    return scene;
}

class Points : public RenderTest {
protected:
    struct Statistics {
        double mean = 0, variance = 0;
    };
    static Statistics statisticsOf(const Picture& image, const std::string& channel = "R") {
        double sum = 0, squares = 0, n = 0;
        for (const float value : image.channels().at(channel).values) ++n, sum += value, squares += value * value;
        return {sum / n, squares / n - sum / n * (sum / n)};
    }
    Statistics statisticsOf(const SceneText& scene) { return statisticsOf(picture(scene.text())); }
};

TEST_F(Points, NoiseFallsWithTheRaysAndInterpolationKeepsTheMean) {
    const auto noise = [&](const std::string& rays) {
        return statisticsOf(floorScene(gathering(), kExact + "finalgather accuracy " + rays));
    };
    const Statistics few = noise("20"), more = noise("40"), many = noise("80");
    EXPECT_LE(more.variance, few.variance / 2);
    EXPECT_LE(many.variance, more.variance / 2);
    EXPECT_NEAR(many.mean, .5, .002);  // as much comes from above as is missing from below
    EXPECT_GT(few.variance, 1e-6);

    const std::string tinted = gathering("\"reflectance\" .7 .6 .5");
    const Picture exact = picture(crowded(tinted, kExact + "finalgather accuracy 64").text());
    const Picture quick = picture(crowded(tinted, "finalgather accuracy 256").text());
    for (const std::string channel : {"R", "G", "B"}) {
        const double mean = statisticsOf(exact, channel).mean;
        EXPECT_NEAR(statisticsOf(quick, channel).mean, mean, .01 * mean);
    }
    // It does interpolate, and what it blurs is little: the mean of the differences is below 3 percent.
    double difference = 0;
    const auto &a = exact.channels().at("R").values, &b = quick.channels().at("R").values;
    for (std::size_t i = 0; i < a.size(); ++i) difference += std::abs(a[i] - b[i]);
    EXPECT_LT(difference / static_cast<double>(a.size()), .03 * statisticsOf(exact).mean);
    EXPECT_GT(difference, 0);
}

// Out of sight shines a small bright patch. Of 64 rays from each place some one or two meet it; the filter makes the
// brightest count as the next one.
TEST_F(Points, SpecklesAreFiltered) {
    const auto lit = [&](const std::string& filter) {
        SceneText scene = floorScene(gathering(), kExact + "finalgather accuracy 64 finalgather filter " + filter);
        scene.elements += constantMaterial("bright", "100 100 100 0") +
                          wall("patch", -1, "bright", .6, "visible off transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 2 1");
        scene.members += " \"patch\"";
        return statisticsOf(scene);
    };
    const Statistics raw = lit("0"), filtered = lit("1"), more = lit("4");
    EXPECT_GT(raw.mean, filtered.mean);
    EXPECT_GT(filtered.mean, more.mean);
    EXPECT_LT(filtered.variance, raw.variance);
}

TEST_F(Points, SaveRaysOfOcclusion) {
    const auto rays = [&](const std::string& options) {
        const Outcome outcome = renderText(crowded(kOccluded, "finalgather off " + options).text(), {"-verbose", "5"});
        std::smatch ahead, tiles;
        std::regex_search(outcome.messages, ahead, std::regex("occlusion: (\\d+) points, (\\d+) rays"));
        EXPECT_TRUE(std::regex_search(outcome.messages, tiles, std::regex("(\\d+) secondary rays")))
            << outcome.messages;
        const auto number = [](const std::string& digits) { return digits.empty() ? 0. : std::stod(digits); };
        return std::pair(number(ahead[1]), number(ahead[2]) + number(tiles[1]));
    };
    const std::string cache = "\"ambient occlusion cache\" on ";
    const auto [noPoints, all] = rays("");
    const double exact = statisticsOf(Picture(path("out.exr"))).mean;
    const auto [points, some] = rays(cache);
    EXPECT_EQ(noPoints, 0);
    EXPECT_GT(points, 100);
    EXPECT_LT(some, all / 2);
    EXPECT_NEAR(statisticsOf(Picture(path("out.exr"))).mean, exact, .01 * exact);
    EXPECT_GT(rays(cache + "\"ambient occlusion cache density\" 2").first, points);
    EXPECT_EQ(rays(cache + "\"ambient occlusion\" off").first, 0);
}

TEST_F(Points, AreKeptInFiles) {
    const auto render = [&](const std::string& more) {
        const SceneText scene =
            crowded(gathering(), "finalgather accuracy 32 finalgather file \"kept.points\" " + more);
        const Outcome outcome = renderText(scene.text(), {"-verbose", "5", "-resolution", "60", "45"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        return outcome;
    };
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
        {"some text", "off", "is no file of final gather points"},
        {"", "off", "is no file of final gather points"}};
    for (const auto& [bytes, rebuild, message] : cases) {
        write("kept.points", bytes);
        const Outcome outcome = render("finalgather rebuild " + rebuild);
        EXPECT_TRUE(outcome.says(message)) << message << "\n" << outcome.messages;
        EXPECT_EQ(outcome.says("final gather file \"kept.points\" "), bytes != kept) << outcome.messages;
        EXPECT_EQ(outcome.says("grid of"), rebuild != "freeze") << outcome.messages;
        expectSameBits(first, Picture(path("out.exr")), message);
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
