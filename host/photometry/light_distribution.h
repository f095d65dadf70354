// How much a luminaire shines in which direction.
#pragma once

#include "photometry/angle_grid.h"

namespace lumorender {

/// The planes in which a file's angles are measured.
enum class PhotometricPlanes {
    C,  ///< half planes through the axis: horizontal = turn around the axis, vertical = angle from the axis
    B,  ///< floodlights: vertical = turn around the crossing axis, horizontal = angle out of the plane across it
    A,  ///< car lamps: horizontal = turn around the upright axis, vertical = height above the plane
};

/// What a photometric file says. Files leave out what follows by symmetry.
struct PhotometricData {
    PhotometricPlanes planes = PhotometricPlanes::C;
    AngleGrid candela;
};

/// Luminous intensity in all directions. `phi` turns around the axis of the luminaire, `theta` leads away from it.
/// Read-only once made, so any thread may look.
class LightDistribution {
public:
    /// Completes what the file left out. Throws PhotometricError (line 0) where the horizontal angles are no symmetry
    /// of their planes.
    LightDistribution(PhotometricData data, Curve curve);

    /// In candela, 0 where nothing was measured. Angles in radians; any phi.
    double at(double phi, double cosTheta) const;
    double peak() const { return peak_; }

    /// Puts the values at evenly spaced angles; 0 leaves the angles of that direction as they are.
    void resample(int horizontal, int vertical);

    const AngleGrid& grid() const { return grid_; }

private:
    void findPeak();

    AngleGrid grid_;  ///< a whole turn, from 0 to 360 degrees
    Curve curve_;
    double peak_ = 0;
};

}  // namespace lumorender
