// Photometric files made by hand, and intensities between their angles.
#include "photometry/photometric_files.h"
#include "photometry/photometric_text.h"
#include "tests/host/as_text.h"

namespace lumorender {
namespace {

const std::string kHead = "TILT=NONE\n1 1 1 ", kRest = " 1 2 0 0 0\n1 1 1\n";  // between them: how many angles

/// A newer file with line ends of another system: three vertical angles and rows of values for the horizontal ones.
std::string ies(int type, const char* vertical, int horizontals, const std::string& horizontal,
                const std::string& values) {
    return fmt::format(
        "IESNA:LM-63-2002\r\n[TEST] made by hand\r\nTILT=NONE\r\n1 1000 1 3 {} {} 2 0 0 0\r\n1 1 50\r\n"
        "{}\r\n{}\r\n{}\r\n",
        horizontals, type, vertical, horizontal, values);
}

std::string ldt(int symmetry, const std::string& planes, const std::string& values, const std::string& lamps = "0") {
    std::string text = fmt::format("maker\n2\n{}\n4\n0\n2\n0\n", symmetry);
    for (int i = 0; i < 16; ++i) text += "name or size\n";
    return text + "1,5\n0\n" + lamps + "\n" + std::string(10, '\n') + planes + "\n0\n90\n" + values;
}

LightDistribution distribution(const std::string& text, Curve curve = Curve::Straight) {
    return {text.starts_with("maker") ? readEulumdat(text) : readIes(text), curve};
}

/// Each digit for three vertical angles, or for the two of the other format.
std::string iesPlanes(int count, const char* angles, const std::string& digits) {
    std::string rows;
    for (const char digit : digits) rows += fmt::format("{0} {0} {0}\n", digit);
    return ies(1, "0 45 90", count, angles, rows);
}
std::string ldtPlanes(int symmetry, const std::string& digits) {
    std::string rows;
    for (const char digit : digits) rows += fmt::format("{0}\n{0}\n", digit);
    return ldt(symmetry, "0\n90\n180\n270", rows, "2\n1\nlamp\n2000\n-\n-\n10\n1\nother\n7\n-\n-\n5");
}

/// 100 in the middle, 0 at 90 degrees of the horizontal angle.
std::string tent(int type, bool half) {
    return half ? ies(type, "-90 0 90", 2, "0 90", "100 100 100 0 0 0")
                : ies(type, "-90 0 90", 3, "-90 0 90", "0 0 0 100 100 100 0 0 0");
}

TEST(Photometry, IntensitiesByDirection) {
    // Multiplier 4, ballast factor .5, and a second factor that newer files leave at 0: twice what is listed.
    const std::string quadrant =
        "a label of 1986\nTILT=INCLUDE\n1\n3\n0 45 90\n1 .9 .8\n1 1000 4 3 3 1 2 0 0 0\n.5 0 60\n"
        "0 45 90\n0 45 90\n100 50 0\n80 40, 20\n60 30 40\n";
    const std::string parabola = kHead + "4 1" + kRest + "0 30 60 90\n0\n0 10 40 90\n";
    const std::string turn = kHead + "2 4" + kRest + "0 90\n0 90 180 270\n0 0 30 30 60 60 90 90\n";
    const struct {
        std::string text;
        Curve curve;
        std::vector<double> directions;  ///< phi, theta, intensity
        // clang-format off
    } cases[] = {
        // The middle of four measured angles: 2 (100 + 50 + 80 + 40) / 4.
        {quadrant, Curve::Straight, {0, 0, 200, 0, 45, 100, 180, 45, 100, 90, 45, 60, 270, 45, 60, -90, 90, 80, 450, 90, 80,
         22.5, 22.5, 135, -22.5, 22.5, 135, 157.5, 22.5, 135, 202.5, 22.5, 135, 0, 91, 0, 123, 180, 0}},
        // Axis, half from 0, half from 90, closed and open turn.
        {iesPlanes(1, "0", "7"), Curve::Straight, {0, 30, 7, 123, 30, 7, -10, 30, 7}},
        {iesPlanes(3, "0 90 180", "123"), Curve::Straight, {90, 30, 2, 270, 30, 2, 225, 30, 2.5, -45, 30, 1.5}},
        {iesPlanes(3, "90 180 270", "123"), Curve::Straight, {0, 30, 2, 90, 30, 1, 270, 30, 3, 45, 30, 1.5, 315, 30, 2.5}},
        {iesPlanes(5, "0 90 180 270 360", "12341"), Curve::Straight, {315, 30, 2.5, 225, 30, 3.5, 45, 30, 1.5}},
        {iesPlanes(4, "0 90 180 270", "1234"), Curve::Straight, {315, 30, 2.5, 360, 30, 1}},
        // Times 1.5 (conversion) times 2000 lm / 1000 of the first lamps: no symmetry, axis, C0, C90, both.
        {ldtPlanes(0, "1234"), Curve::Straight, {0, 30, 3, 270, 30, 12, 315, 30, 7.5}},
        {ldtPlanes(1, "5"), Curve::Straight, {0, 30, 15, 200, 30, 15}},
        {ldtPlanes(2, "123"), Curve::Straight, {180, 30, 9, 270, 30, 6}},
        {ldtPlanes(3, "123"), Curve::Straight, {270, 30, 3, 0, 30, 6, 90, 30, 9, 180, 30, 6, 315, 30, 4.5, 225, 30, 4.5,
         135, 30, 7.5}},
        {ldtPlanes(4, "12"), Curve::Straight, {180, 30, 3, 270, 30, 6, 45, 30, 4.5}},
        // Right 45 degrees up and 60 off the axis lies (.6124, .6124, .5): asin .6124 is 37.7612, atan .6124 / .5 50.7685.
        {tent(2, false), Curve::Straight, {45, 60, 58.0431, 135, 60, 58.0431}},
        {tent(2, true), Curve::Straight, {45, 60, 58.0431, 135, 60, 58.0431}},
        {tent(3, false), Curve::Straight, {45, 60, 43.5906}}, {tent(3, true), Curve::Straight, {45, 60, 43.5906}},
        // 10 (45 / 30)^2: chords have the slopes of a parabola.
        {parabola, Curve::Straight, {0, 45, 25, NAN, 45, 0}}, {parabola, Curve::Smooth, {0, 45, 22.5}},
        // Around the turn at 315 the slopes of opposite chords are alike: the mean of 90 and 0. At 225, between 60 and 90,
        // they are 60 / 180 and -60 / 180: 75 + 90 / 8 (1/3 + 1/3).
        {turn, Curve::Smooth, {315, 10, 45, 225, 10, 82.5}}};
    // clang-format on
    for (const auto& c : cases) {
        const LightDistribution d = distribution(c.text, c.curve);
        for (std::size_t i = 0; i < c.directions.size(); i += 3) {
            const double phi = c.directions[i] * M_PI / 180, theta = c.directions[i + 1] * M_PI / 180;
            EXPECT_NEAR(d.at(phi, std::cos(theta)), c.directions[i + 2], 1e-3) << &c - cases << ": " << c.directions[i];
        }
    }
    EXPECT_EQ(distribution(quadrant).peak(), 200);
    // Steps of 45 degrees: straight from the curve's value at 45 to the 90 at the end.
    LightDistribution smooth = distribution(parabola, Curve::Smooth);
    smooth.resample(8, 2);
    EXPECT_EQ(asText(smooth.grid().horizontal.size(), smooth.grid().vertical.size(), smooth.at(1, std::sqrt(0.5))),
              "9 3 22.5");
}

TEST(Photometry, ErrorsNameLineAndExpectation) {
    const struct {
        std::string text;
        int line;
        const char* message;
    } cases[] = {
        {"IESNA91\nnothing", 2, "found the end of the file, expected a line that begins with TILT="},
        {"TILT=NONE\n1 1 many", 2, "found \"many\", expected the multiplier"},
        {kHead + "2 1 4", 2, "found 4, expected the photometric type (1, 2 or 3) from 1 to 3"},
        {kHead + "2.5 1", 2, "found 2.5, expected the number of vertical angles, a whole number"},
        {kHead + "99999 1", 2, "expected the number of vertical angles from 2 to 10000"},
        {kHead + "9999 9999", 2, "found 9999 x 9999 angles"},
        {kHead + "1e99 1", 2, "found 1e+99, expected"},
        {kHead + "3 1" + kRest + "0 45\n30 0", 5, "found angle 30 after 45, expected angles in ascending order"},
        {kHead + "2 1" + kRest + "0 200", 4, "found 200, expected a vertical angle from 0 to 180"},
        {kHead + "2 1" + kRest + "0 90 0 5 -1", 4, "found -1, expected an intensity from 0"},
        {kHead + "2 1" + kRest + "0 90 0 5 nan", 4, "found \"nan\", expected an intensity"},
        {kHead + "2 2" + kRest + "0 90 0 45 1 1 1 1", 0, "found horizontal angles from 0 to 45, expected 0 alone"},
        {kHead + "2 1" + kRest + "0 90 0 5\n", 4, "found the end of the file, expected an intensity"},
        {"maker\n1\n5\n", 3, "found 5, expected the symmetry from 0 to 4"},
        {"maker\n1\n\n", 3, "found \"\", expected the symmetry"},
        {ldt(2, "0\n90\n180\n270", "1\n1\n2\n2\n"), 46, "found the end of the file, expected an intensity"},
        {ldt(2, "0\n90\n90\n270", ""), 39, "found angle 90 after 90"},
        {ldt(4, "0\n30\n60\n90", "1\n1\n1\n1\n"), 0, "found horizontal angles from 0 to 30"},
    };
    for (const auto& c : cases) try {
            distribution(c.text);
            ADD_FAILURE() << "no error: " << c.message;
        } catch (const PhotometricError& error) {
            EXPECT_EQ(error.line, c.line) << error.text;
            expectParts(error.text, {c.message});
        }
}

}  // namespace
}  // namespace lumorender
