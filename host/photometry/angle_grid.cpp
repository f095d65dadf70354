#include "photometry/angle_grid.h"

#include <algorithm>
#include <cstddef>

namespace lumorender {

namespace {

struct Knot {
    double x = 0, y = 0;
};

/// Between the second and third of four knots, with the slopes of their neighbours' chords (Hermite form).
double smooth(const Knot (&k)[4], double x) {
    const double width = k[2].x - k[1].x, t = (x - k[1].x) / width, u = 1 - t;
    const double begin = width * (k[2].y - k[0].y) / (k[2].x - k[0].x);
    const double end = width * (k[3].y - k[1].y) / (k[3].x - k[1].x);
    return (1 + 2 * t) * u * u * k[1].y + t * u * u * begin + t * t * (3 - 2 * t) * k[2].y - t * t * u * end;
}

/// The knot that goes straight on behind b.
Knot beyond(Knot a, Knot b) { return {2 * b.x - a.x, 2 * b.y - a.y}; }

/// `value(i)` belongs to angles[i]. Smooth curves may swing below zero, which light does not.
template <class Value>
double between(const std::vector<double>& angles, double x, Curve curve, bool circular, const Value& value) {
    if (angles.size() == 1) return value(0);
    const auto above = std::upper_bound(angles.begin() + 1, angles.end() - 1, x);
    const auto i = static_cast<std::size_t>(above - angles.begin()) - 1, last = angles.size() - 1;
    const Knot b{angles[i], value(i)}, c{angles[i + 1], value(i + 1)};
    if (curve == Curve::Straight) return b.y + (x - b.x) / (c.x - b.x) * (c.y - b.y);

    const double turn = angles[last] - angles[0];
    Knot before = beyond(c, b), behind = beyond(b, c);
    if (i > 0)
        before = {angles[i - 1], value(i - 1)};
    else if (circular)
        before = {angles[last - 1] - turn, value(last - 1)};
    if (i + 2 <= last)
        behind = {angles[i + 2], value(i + 2)};
    else if (circular)
        behind = {angles[1] + turn, value(1)};
    return std::max(0.0, smooth({before, b, c, behind}, x));
}

bool isOutside(const std::vector<double>& angles, double x) {
    constexpr double kRounding = 1e-4;  // degrees
    return angles.size() > 1 && !(x >= angles.front() - kRounding && x <= angles.back() + kRounding);
}

}  // namespace

double AngleGrid::at(double h, double v, Curve curve, bool circular) const {
    if (isOutside(horizontal, h) || isOutside(vertical, v)) return 0;
    if (horizontal.size() > 1) h = std::clamp(h, horizontal.front(), horizontal.back());
    if (vertical.size() > 1) v = std::clamp(v, vertical.front(), vertical.back());
    return between(horizontal, h, curve, circular, [&](std::size_t column) {
        const float* of = values.data() + column * vertical.size();
        return between(vertical, v, curve, false, [&](std::size_t row) { return static_cast<double>(of[row]); });
    });
}

}  // namespace lumorender
