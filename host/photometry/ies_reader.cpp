#include "photometry/photometric_files.h"
#include "photometry/photometric_text.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

constexpr int kMostAngles = 10000;
constexpr int kMostValues = 1'000'000;
constexpr int kMostTilts = 1000;
constexpr double kLargest = 1e12;

/// Labels and keywords end at the line that says how the lamp behaves when tilted.
void readHead(PhotometricText& text) {
    constexpr std::string_view kTilt = "TILT=";
    std::string_view line = text.line("a line that begins with TILT=");
    while (!line.starts_with(kTilt)) line = text.line("a line that begins with TILT=");
    if (line.substr(kTilt.size()) != "INCLUDE") return;
    text.number("the geometry of the lamp");
    const int count = text.count("the number of tilt angles", 0, kMostTilts);
    for (int i = 0; i < 2 * count; ++i) text.number("a tilt angle or factor");
}

PhotometricPlanes planesOf(int type) {
    return type == 1 ? PhotometricPlanes::C : type == 2 ? PhotometricPlanes::B : PhotometricPlanes::A;
}

}  // namespace

PhotometricData readIes(std::string_view content) {
    PhotometricText text(content);
    readHead(text);
    text.number("the number of lamps");
    text.number("the lumens of a lamp");
    double factor = text.number("the multiplier of the intensities", 0, kLargest);
    const int verticals = text.count("the number of vertical angles", 2, kMostAngles);
    const int horizontals = text.count("the number of horizontal angles", 1, kMostAngles);
    if (verticals * horizontals > kMostValues)
        text.fail(fmt::format("{} x {} angles", verticals, horizontals),
                  fmt::format("at most {} intensities", kMostValues));
    PhotometricData data;
    data.planes = planesOf(text.count("the photometric type (1, 2 or 3)", 1, 3));
    for (const char* what : {"the units", "the width", "the length", "the height"}) text.number(what);
    factor *= text.number("the ballast factor", 0, kLargest);
    // A factor of lamp and ballast at first, unused since 1995 and then sometimes 0.
    const double further = text.number("the ballast-lamp factor", 0, kLargest);
    if (further > 0) factor *= further;
    text.number("the input watts");

    const bool isC = data.planes == PhotometricPlanes::C;
    const auto next = [&](std::string_view what, double low, double high) { return text.number(what, low, high); };
    AngleGrid& grid = data.candela;
    grid.vertical = text.angles(verticals, "a vertical angle", isC ? 0 : -90, isC ? 180 : 90, next);
    grid.horizontal = text.angles(horizontals, "a horizontal angle", isC ? 0 : -90, isC ? 360 : 90, next);
    grid.values.reserve(static_cast<std::size_t>(verticals) * static_cast<std::size_t>(horizontals));
    for (int i = 0; i < verticals * horizontals; ++i)
        grid.values.push_back(static_cast<float>(factor * text.number("an intensity", 0, kLargest)));
    return data;
}

}  // namespace lumorender
