#include "photometry/photometric_files.h"
#include "photometry/photometric_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

constexpr int kMostAngles = 1440;
constexpr int kMostLamps = 20;
constexpr double kLargest = 1e12;

enum Symmetry { kNone, kAxis, kPlaneC0, kPlaneC90, kBothPlanes };

/// The file lists all planes, and the intensities of those that do not follow by symmetry.
struct PlaneRange {
    int first = 0, count = 0;
};

PlaneRange measuredPlanes(int symmetry, int planes) {
    switch (symmetry) {
        case kAxis: return {0, 1};
        case kPlaneC0: return {0, planes / 2 + 1};
        case kPlaneC90: return {3 * planes / 4, planes / 2 + 1};
        case kBothPlanes: return {0, planes / 4 + 1};
        default: return {0, planes};
    }
}

/// Lamps come in alternative sets of six lines each; the first set is the one that was measured.
double readFlux(PhotometricText& text) {
    const int sets = text.lineCount("the number of lamp sets", 0, kMostLamps);
    double flux = 0;
    for (int i = 0; i < sets; ++i) {
        text.skipLines(2, "number and type of the lamps");
        const double lumens = text.lineNumber("the flux of the lamps", 0, kLargest);
        if (i == 0) flux = lumens;
        text.skipLines(3, "color, rendering and watts of the lamps");
    }
    return flux;
}

/// Planes that begin at C270 come to lie between 90 and 270 when they are mirrored at C90, in the opposite order.
void mirrorAtC90(AngleGrid& grid) {
    for (double& angle : grid.horizontal) angle = angle > 180 ? 540 - angle : 180 - angle;
    std::reverse(grid.horizontal.begin(), grid.horizontal.end());
    std::vector<float> values;
    const auto rows = static_cast<std::ptrdiff_t>(grid.vertical.size());
    for (auto column = grid.values.end(); column != grid.values.begin(); column -= rows)
        values.insert(values.end(), column - rows, column);
    grid.values = std::move(values);
}

}  // namespace

PhotometricData readEulumdat(std::string_view content) {
    PhotometricText text(content);
    text.skipLines(2, "maker and type");
    const int symmetry = text.lineCount("the symmetry", kNone, kBothPlanes);
    const int planes = text.lineCount("the number of C planes", 1, kMostAngles);
    text.skipLines(1, "the distance of the C planes");
    const int rows = text.lineCount("the number of angles in a C plane", 2, kMostAngles);
    text.skipLines(17, "names, sizes and light output ratios");
    const double conversion = text.lineNumber("the conversion factor", 0, kLargest);
    text.skipLines(1, "the tilt");
    const double flux = readFlux(text);
    text.skipLines(10, "direct ratios");

    const auto next = [&](std::string_view what, double low, double high) { return text.lineNumber(what, low, high); };
    const std::vector<double> all = text.angles(planes, "a C angle", 0, 360, next);
    PhotometricData data;
    AngleGrid& grid = data.candela;
    grid.vertical = text.angles(rows, "an angle in the C planes", 0, 180, next);
    const PlaneRange range = measuredPlanes(symmetry, planes);
    const double factor = (conversion > 0 ? conversion : 1) * (flux > 0 ? flux / 1000 : 1);
    for (int i = 0; i < range.count; ++i) {
        grid.horizontal.push_back(all[static_cast<std::size_t>((range.first + i) % planes)]);
        for (int row = 0; row < rows; ++row)
            grid.values.push_back(static_cast<float>(factor * text.lineNumber("an intensity", 0, kLargest)));
    }
    if (symmetry == kPlaneC90) mirrorAtC90(grid);
    return data;
}

}  // namespace lumorender
