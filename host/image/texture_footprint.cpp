// Footprints of look-ups as ellipses.
#include "image/texture.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

Footprint limitedFootprint(const Footprint& footprint, int width, int height, float eccentricity, float factor) {
    struct Axis {
        double u, v;
        double length() const { return std::hypot(u, v); }
    };
    const Axis x{1.0 * footprint.dudx * width, 1.0 * footprint.dvdx * height};
    const Axis y{1.0 * footprint.dudy * width, 1.0 * footprint.dvdy * height};
    // Turned by this angle the two conjugate half axes of the ellipse are at right angles.
    const double angle = std::atan2(2 * (x.u * y.u + x.v * y.v), x.u * x.u + x.v * x.v - y.u * y.u - y.v * y.v) / 2;
    const double c = std::cos(angle), s = std::sin(angle);
    const Axis longer{c * x.u + s * y.u, c * x.v + s * y.v};
    Axis shorter{c * y.u - s * x.u, c * y.v - s * x.v};
    if (eccentricity >= 1 && shorter.length() * eccentricity < longer.length()) {
        // At right angles to the longer one, which also serves where the shorter one has no length.
        const double side = longer.u * shorter.v - longer.v * shorter.u < 0 ? -1.0 : 1.0;
        shorter = {-side * longer.v / eccentricity, side * longer.u / eccentricity};
    }
    Footprint result = footprint;
    result.dudx = static_cast<float>(factor * longer.u / width);
    result.dvdx = static_cast<float>(factor * longer.v / height);
    result.dudy = static_cast<float>(factor * shorter.u / width);
    result.dvdy = static_cast<float>(factor * shorter.v / height);
    return result;
}

}  // namespace lumorender
