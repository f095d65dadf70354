// Intensities over two angles, as photometric files list them.
#pragma once

#include <vector>

namespace lumorender {

/// How values between the measured angles follow.
enum class Curve { Straight, Smooth };

/// Angles in degrees, strictly ascending, at least one of each. `values` runs through the vertical angles of the first
/// horizontal one, then of the second ...
struct AngleGrid {
    std::vector<double> horizontal;
    std::vector<double> vertical;
    std::vector<float> values;

    /// 0 outside of the measured angles. A single horizontal angle stands for all.
    /// @param circular the horizontal angles are a whole turn: the last one has the values of the first
    double at(double h, double v, Curve curve, bool circular) const;
};

}  // namespace lumorender
