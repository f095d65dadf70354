/* Light of the clear sky. */
#pragma once

#include "math/vector.h"

namespace materials {

/* Perez' distribution: cosines of the angles to the zenith and to the sun, and the latter angle. */
struct PerezCurve {
    miScalar a, b, c, d, e;

    miScalar operator()(miScalar cosZenith, miScalar cosSun, miScalar angle) const {
        return (1 + a * std::exp(b / cosZenith)) * (1 + c * std::exp(d * angle) + e * cosSun * cosSun);
    }
};

/*
 * Source: Preetham, Shirley and Smits, "A Practical Analytic Model for Daylight", SIGGRAPH 1999.
 * Directions of unit length, in a space where z is up.
 */
class Skylight {
public:
    /* toSun: below the horizon the sky of the sunset gets darker by a tenth for each 3 degrees. turbidity: 2 to 17 */
    Skylight(const miVector& toSun, miScalar turbidity);

    /* In cd/m2 for each primary of Rec. 709; below the horizon that of the horizon. */
    miColor seenAt(const miVector& dir) const;

    /* Illuminance of level ground by the sky alone, lux; to about one percent. */
    miScalar illuminance() const;

    void setCurve(const PerezCurve& curve) { luminance_ = curve; }
    void setZenithLuminance(miScalar candela) { zenith_ = candela; }
    void scale(miScalar factor) { zenith_ *= factor; }

private:
    miScalar luminanceAt(miScalar up, miScalar cosSun) const;

    miVector toSun_;
    PerezCurve luminance_, x_, y_;
    miScalar zenith_, zenithX_, zenithY_;
};

}  // namespace materials
