#include "photometry/light_distribution.h"

#include "photometry/photometric_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <map>
#include <numbers>
#include <span>

namespace lumorender {

namespace {

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr double kSameAngle = .01;  // files round their angles

bool isNear(double a, double b) { return std::abs(a - b) < kSameAngle; }

std::span<const float> column(const AngleGrid& grid, std::size_t i) {
    return std::span(grid.values).subspan(i * grid.vertical.size(), grid.vertical.size());
}

/// Columns sorted by their angle; where two fall together the first stands.
class Columns {
public:
    void add(double angle, std::span<const float> values) {
        const auto next = columns_.lower_bound(angle - kSameAngle);
        if (next == columns_.end() || !isNear(next->first, angle)) columns_.emplace(angle, values);
    }

    AngleGrid grid(const std::vector<double>& vertical) const {
        AngleGrid result;
        result.vertical = vertical;
        for (const auto& [angle, values] : columns_) {
            result.horizontal.push_back(angle);
            result.values.insert(result.values.end(), values.begin(), values.end());
        }
        return result;
    }

private:
    std::map<double, std::span<const float>> columns_;
};

/// All angles at which the column of one angle stands.
std::vector<double> imagesOf(double angle, double first, double last) {
    if (isNear(first, last)) return {0};
    if (isNear(first, 0) && isNear(last, 90)) return {angle, 180 - angle, 180 + angle, 360 - angle};
    if (isNear(first, 0) && isNear(last, 180)) return {angle, 360 - angle};
    if (isNear(first, 90) && isNear(last, 270)) return {angle, angle <= 180 ? 180 - angle : 540 - angle};
    if (isNear(first, 0) && last > 180 && last < 360 + kSameAngle) return {angle};
    throw PhotometricError{0, fmt::format("found horizontal angles from {} to {}, expected 0 alone, 0 to 90, 0 to 180, "
                                          "90 to 270 or 0 to 360",
                                          first, last)};
}

/// The whole turn of C planes: symmetries unfolded, and the end like the beginning.
AngleGrid wholeTurn(const AngleGrid& measured) {
    const double first = measured.horizontal.front(), last = measured.horizontal.back();
    Columns columns;
    for (std::size_t i = 0; i < measured.horizontal.size(); ++i)
        for (const double angle : imagesOf(measured.horizontal[i], first, last)) {
            columns.add(angle, column(measured, i));
            if (isNear(angle, 0)) columns.add(360, column(measured, i));
            if (isNear(angle, 360)) columns.add(0, column(measured, i));
        }
    return columns.grid(measured.vertical);
}

/// The angles of A and B planes in a direction. Right and up are the C planes 0 and 90.
std::pair<double, double> planeAngles(PhotometricPlanes planes, double phi, double theta) {
    const double forward = std::cos(theta), right = std::sin(theta) * std::cos(phi),
                 up = std::sin(theta) * std::sin(phi);
    const auto height = [](double sine) { return kDegrees * std::asin(std::clamp(sine, -1., 1.)); };
    if (planes == PhotometricPlanes::A) return {kDegrees * std::atan2(right, forward), height(up)};
    return {height(right), kDegrees * std::atan2(up, forward)};
}

/// `count` + 1 angles.
std::vector<double> steps(double first, double last, int count) {
    std::vector<double> angles;
    for (int i = 0; i <= count; ++i) angles.push_back(first + (last - first) * i / count);
    return angles;
}

template <class Value>
void fill(AngleGrid& grid, const Value& value) {
    grid.values.reserve(grid.horizontal.size() * grid.vertical.size());
    for (const double h : grid.horizontal)
        for (const double v : grid.vertical) grid.values.push_back(static_cast<float>(value(h, v)));
}

/// Half a degree: the cut-off of a headlamp is hardly narrower.
constexpr int kPlaneSteps = 720;

/// A and B planes, looked up in C planes.
AngleGrid inCPlanes(const PhotometricData& data, Curve curve) {
    const AngleGrid& grid = data.candela;
    // Files that begin at 0 are alike on both sides.
    const bool mirroredH = isNear(grid.horizontal.front(), 0), mirroredV = isNear(grid.vertical.front(), 0);
    AngleGrid result{steps(0, 360, kPlaneSteps), steps(0, 180, kPlaneSteps / 2), {}};
    fill(result, [&](double phi, double theta) {
        const auto [h, v] = planeAngles(data.planes, phi / kDegrees, theta / kDegrees);
        return grid.at(mirroredH ? std::abs(h) : h, mirroredV ? std::abs(v) : v, curve, false);
    });
    return result;
}

}  // namespace

LightDistribution::LightDistribution(PhotometricData data, Curve curve)
    : grid_(data.planes == PhotometricPlanes::C ? wholeTurn(data.candela) : inCPlanes(data, curve)), curve_(curve) {
    findPeak();
}

void LightDistribution::findPeak() {
    peak_ = static_cast<double>(*std::max_element(grid_.values.begin(), grid_.values.end()));
}

double LightDistribution::at(double phi, double cosTheta) const {
    if (!std::isfinite(phi) || !std::isfinite(cosTheta)) return 0;
    double h = std::fmod(kDegrees * phi, 360);
    if (h < 0) h += 360;
    return grid_.at(h, kDegrees * std::acos(std::clamp(cosTheta, -1., 1.)), curve_, true);
}

void LightDistribution::resample(int horizontal, int vertical) {
    AngleGrid even{grid_.horizontal, grid_.vertical, {}};
    if (horizontal > 0) even.horizontal = steps(0, 360, horizontal);
    if (vertical > 0) even.vertical = steps(grid_.vertical.front(), grid_.vertical.back(), vertical);
    fill(even, [&](double h, double v) { return grid_.at(h, v, curve_, true); });
    grid_ = std::move(even);
    findPeak();
}

}  // namespace lumorender
