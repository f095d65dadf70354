// Photometric files made by hand, and intensities between their angles.
#include "photometry/photometric_files.h"
#include "photometry/photometric_text.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace lumorender {
namespace {

double lookup(const LightDistribution& distribution, double phi, double theta) {
    constexpr double kRadians = std::numbers::pi / 180;
    return distribution.at(phi * kRadians, std::cos(theta * kRadians));
}

/// Three vertical angles and as many rows of values as there are horizontal ones.
std::string ies(int type, const std::string& vertical, int horizontals, const std::string& horizontal,
                const std::string& values) {
    return fmt::format(
        "IESNA:LM-63-2002\r\n[TEST] made by hand\r\nTILT=NONE\r\n1 1000 1 3 {} {} 2 0 0 0\r\n1 1 50\r\n"
        "{}\r\n{}\r\n{}\r\n",
        horizontals, type, vertical, horizontal, values);
}

std::string ldt(int symmetry, const std::string& planes, int planeCount, const std::string& values,
                const std::string& lamps = "0") {
    const std::string filler(10, '\n');
    std::string text = fmt::format("maker\n2\n{}\n{}\n0\n2\n0\n", symmetry, planeCount);
    for (int i = 0; i < 16; ++i) text += "name or size\n";
    return text + "1,5\n0\n" + lamps + "\n" + filler + planes + "\n0\n90\n" + values;
}

TEST(Photometry, IesAppliesFactorsAndMirrorsAQuadrant) {
    // Multiplier 4, ballast factor .5, and a second factor that newer files leave at 0: twice what is listed.
    const LightDistribution d(readIes("a label of 1986\nTILT=INCLUDE\n1\n3\n0 45 90\n1 .9 .8\n"
                                      "1 1000 4 3 3 1 2 0 0 0\n.5 0 60\n0 45 90\n0 45 90\n"
                                      "100 50 0\n80 40, 20\n60 30 40\n"),
                              Curve::Straight);
    struct {
        double phi, theta, value;
    } cases[] = {
        {0, 0, 200},
        {0, 45, 100},
        {180, 45, 100},
        {90, 45, 60},
        {270, 45, 60},
        {-90, 90, 80},
        {450, 90, 80},
        // The middle of four measured angles: 2 (100 + 50 + 80 + 40) / 4.
        {22.5, 22.5, 135},
        {-22.5, 22.5, 135},
        {157.5, 22.5, 135},
        {202.5, 22.5, 135},
        {0, 91, 0},
        {123, 180, 0},
    };
    for (const auto& c : cases) EXPECT_NEAR(lookup(d, c.phi, c.theta), c.value, 1e-3) << c.phi << " " << c.theta;
    EXPECT_EQ(d.peak(), 200);
}

struct Planes {
    const char* name;
    std::string text;
    bool isIes;
    std::vector<std::pair<double, double>> expected;  ///< phi, intensity
};

TEST(Photometry, SymmetriesCompleteTheTurn) {
    const auto iesPlanes = [](int count, const std::string& angles, const std::string& ids) {
        std::string rows;
        for (const char id : ids) rows += fmt::format("{0} {0} {0}\n", id);
        return ies(1, "0 45 90", count, angles, rows);
    };
    const auto ldtPlanes = [](int symmetry, const std::string& ids) {
        std::string rows;
        for (const char id : ids) rows += fmt::format("{0}\n{0}\n", id);
        return ldt(symmetry, "0\n90\n180\n270", 4, rows, "2\n1\nlamp\n2000\n-\n-\n10\n1\nother\n7\n-\n-\n5");
    };
    const Planes cases[] = {
        {"axis", iesPlanes(1, "0", "7"), true, {{0, 7}, {123, 7}, {-10, 7}}},
        {"half from 0", iesPlanes(3, "0 90 180", "123"), true, {{90, 2}, {270, 2}, {225, 2.5}, {-45, 1.5}}},
        {"half from 90", iesPlanes(3, "90 180 270", "123"), true, {{0, 2}, {90, 1}, {270, 3}, {45, 1.5}, {315, 2.5}}},
        {"closed turn", iesPlanes(5, "0 90 180 270 360", "12341"), true, {{315, 2.5}, {225, 3.5}, {45, 1.5}}},
        {"open turn", iesPlanes(4, "0 90 180 270", "1234"), true, {{315, 2.5}, {360, 1}}},
        // Eulumdat: times 1.5 (conversion) times 2000 lm / 1000 of the first lamps.
        {"ldt none", ldtPlanes(0, "1234"), false, {{0, 3}, {270, 12}, {315, 7.5}}},
        {"ldt axis", ldtPlanes(1, "5"), false, {{0, 15}, {200, 15}}},
        {"ldt C0", ldtPlanes(2, "123"), false, {{180, 9}, {270, 6}}},
        {"ldt C90",
         ldtPlanes(3, "123"),
         false,
         {{270, 3}, {0, 6}, {90, 9}, {180, 6}, {315, 4.5}, {225, 4.5}, {135, 7.5}}},
        {"ldt both", ldtPlanes(4, "12"), false, {{180, 3}, {270, 6}, {45, 4.5}}},
    };
    for (const Planes& c : cases) {
        const LightDistribution d(c.isIes ? readIes(c.text) : readEulumdat(c.text), Curve::Straight);
        for (const auto& [phi, value] : c.expected)
            EXPECT_NEAR(lookup(d, phi, 30), value, 1e-4) << c.name << " " << phi;
    }
}

// A tent over the horizontal angle: 100 in the middle, 0 at 90 degrees. Right 45 degrees up and 60 off the axis lies
// (right, up, forward) = (.6124, .6124, .5).
TEST(Photometry, OtherPlanesMeasureTheirOwnAngles) {
    const auto tent = [](int type, bool half) {
        const std::string rows = half ? "100 100 100 0 0 0" : "0 0 0 100 100 100 0 0 0";
        return LightDistribution(readIes(ies(type, "-90 0 90", half ? 2 : 3, half ? "0 90" : "-90 0 90", rows)),
                                 Curve::Straight);
    };
    for (const bool half : {false, true}) {
        EXPECT_NEAR(lookup(tent(2, half), 45, 60), 100 * (1 - 37.7612 / 90), .01);  // asin .6124
        EXPECT_NEAR(lookup(tent(3, half), 45, 60), 100 * (1 - 50.7685 / 90), .01);  // atan .6124 / .5
        EXPECT_NEAR(lookup(tent(2, half), 135, 60), 100 * (1 - 37.7612 / 90), .01);
    }
}

TEST(Photometry, SmoothCurvesAndResampling) {
    const std::string parabola = "TILT=NONE\n1 1 1 4 1 1 2 0 0 0\n1 1 1\n0 30 60 90\n0\n0 10 40 90\n";
    const LightDistribution straight(readIes(parabola), Curve::Straight);
    LightDistribution smooth(readIes(parabola), Curve::Smooth);
    EXPECT_NEAR(lookup(straight, 0, 45), 25, 1e-4);
    EXPECT_NEAR(lookup(smooth, 0, 45), 22.5, 1e-4);  // 10 (45 / 30)^2: chords have the slopes of a parabola
    // Steps of 45 degrees: straight from the curve's value at 45 to the 90 at the end.
    smooth.resample(8, 2);
    EXPECT_EQ(smooth.grid().horizontal.size(), 9u);
    EXPECT_EQ(smooth.grid().vertical.size(), 3u);
    EXPECT_NEAR(lookup(smooth, 17, 45), 22.5, 1e-4);

    // A smooth curve goes around: at 315 between 90 at 270 and 0 at 360, with equal slopes of opposite chords.
    const std::string turn = "TILT=NONE\n1 1 1 2 4 1 2 0 0 0\n1 1 1\n0 90\n0 90 180 270\n0 0 30 30 60 60 90 90\n";
    // Chords: at 270 (0 - 60) / 180, at 0 (30 - 90) / 180: alike, so the middle is the mean.
    EXPECT_NEAR(lookup(LightDistribution(readIes(turn), Curve::Smooth), 315, 10), 45, 1e-4);
    // At 225, between 60 and 90, slopes 60 / 180 and -60 / 180: 75 + 90 / 8 (1/3 + 1/3).
    EXPECT_NEAR(lookup(LightDistribution(readIes(turn), Curve::Smooth), 225, 10), 82.5, 1e-4);
    EXPECT_EQ(straight.at(std::nan(""), 1), 0);
}

TEST(Photometry, ErrorsNameLineAndExpectation) {
    const std::string head = "TILT=NONE\n1 1 1 ", rest = " 1 2 0 0 0\n1 1 1\n";
    struct {
        std::string text;
        bool isIes;
        int line;
        const char* message;
    } cases[] = {
        {"IESNA91\nnothing", true, 2, "found the end of the file, expected a line that begins with TILT="},
        {"TILT=NONE\n1 1 many", true, 2, "found \"many\", expected the multiplier"},
        {"TILT=NONE\n1 1 1 2 1 4", true, 2, "found 4, expected the photometric type (1, 2 or 3) from 1 to 3"},
        {head + "2.5 1", true, 2, "found 2.5, expected the number of vertical angles, a whole number"},
        {head + "99999 1", true, 2, "expected the number of vertical angles from 2 to 10000"},
        {head + "9999 9999", true, 2, "found 9999 x 9999 angles"},
        {head + "1e99 1", true, 2, "found 1e+99, expected"},
        {head + "3 1" + rest + "0 45\n30 0", true, 5, "found angle 30 after 45, expected angles in ascending order"},
        {head + "2 1" + rest + "0 200", true, 4, "found 200, expected a vertical angle from 0 to 180"},
        {head + "2 1" + rest + "0 90 0 5 -1", true, 4, "found -1, expected an intensity from 0"},
        {head + "2 1" + rest + "0 90 0 5 nan", true, 4, "found \"nan\", expected an intensity"},
        {head + "2 2" + rest + "0 90 0 45 1 1 1 1", true, 0, "found horizontal angles from 0 to 45, expected 0 alone"},
        {head + "2 1" + rest + "0 90 0 5\n", true, 4, "found the end of the file, expected an intensity"},
        {"maker\n1\n5\n", false, 3, "found 5, expected the symmetry from 0 to 4"},
        {"maker\n1\n\n", false, 3, "found \"\", expected the symmetry"},
        {ldt(2, "0\n90\n180\n270", 4, "1\n1\n2\n2\n"), false, 46, "found the end of the file, expected an intensity"},
        {ldt(2, "0\n90\n90\n270", 4, ""), false, 39, "found angle 90 after 90"},
        {ldt(4, "0\n30\n60\n90", 4, "1\n1\n1\n1\n"), false, 0, "found horizontal angles from 0 to 30"},
    };
    for (const auto& c : cases) {
        try {
            LightDistribution(c.isIes ? readIes(c.text) : readEulumdat(c.text), Curve::Straight);
            ADD_FAILURE() << "no error: " << c.message;
        } catch (const PhotometricError& error) {
            EXPECT_EQ(error.line, c.line) << error.text;
            EXPECT_NE(error.text.find(c.message), std::string::npos) << error.text << "\n" << c.message;
        }
    }
}

}  // namespace
}  // namespace lumorender
