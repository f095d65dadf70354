#include "daylight/skylight.h"

#include "daylight/sky_sum.h"
#include "math/chromaticity.h"

namespace materials {

namespace {

/* Lower the curve has no meaning. */
constexpr miScalar kLeastCosine = .01f;

miScalar angleOf(miScalar cosine) { return std::acos(clamped(cosine, -1, 1)); }

/* One of the two numbers of the zenith's color; rows are factors of T^2, T and 1, columns of powers of the sun's angle. */
miScalar zenithChromaticity(const miScalar (&m)[3][4], miScalar turbidity, miScalar angle) {
    miScalar sum = 0;
    for (const auto& row : m) {
        const miScalar polynomial = ((row[0] * angle + row[1]) * angle + row[2]) * angle + row[3];
        sum = sum * turbidity + polynomial;
    }
    return sum;
}

constexpr miScalar kZenithX[3][4] = {
    {.00166f, -.00375f, .00209f, 0}, {-.02903f, .06377f, -.03202f, .00394f}, {.11693f, -.21196f, .06052f, .25886f}};
constexpr miScalar kZenithY[3][4] = {
    {.00275f, -.00610f, .00317f, 0}, {-.04214f, .08970f, -.04153f, .00516f}, {.15346f, -.26756f, .06670f, .26688f}};

miScalar zenithLuminance(miScalar turbidity, miScalar angle) {
    const miScalar chi = (4.0f / 9 - turbidity / 120) * (kPi - 2 * angle);
    return 1000 * std::max((4.0453f * turbidity - 4.9710f) * std::tan(chi) - .2155f * turbidity + 2.4192f, 0.0f);
}

/* By that of the zenith. */
miScalar relative(const PerezCurve& curve, miScalar up, miScalar cosSun, miScalar sunUp) {
    const miScalar cosZenith = std::max(up, kLeastCosine);
    return curve(cosZenith, cosSun, angleOf(cosSun)) / curve(1, sunUp, angleOf(sunUp));
}

miVector aboveHorizon(const miVector& dir) { return dir.z >= 0 ? dir : unit({dir.x, dir.y, 0}, {1, 0, 0}); }

}  // namespace

Skylight::Skylight(const miVector& toSun, miScalar turbidity) : toSun_(aboveHorizon(toSun)) {
    const miScalar t = clamped(turbidity, 1.7f, 20);
    luminance_ = {.1787f * t - 1.4630f, -.3554f * t + .4275f, -.0227f * t + 5.3251f, .1206f * t - 2.5771f,
                  -.0670f * t + .3703f};
    x_ = {-.0193f * t - .2592f, -.0665f * t + .0008f, -.0004f * t + .2125f, -.0641f * t - .8989f, -.0033f * t + .0452f};
    y_ = {-.0167f * t - .2608f, -.0950f * t + .0092f, -.0079f * t + .2102f, -.0441f * t - 1.6537f,
          -.0109f * t + .0529f};
    const miScalar angle = angleOf(toSun_.z);
    zenith_ = zenithLuminance(t, angle);
    zenithX_ = zenithChromaticity(kZenithX, t, angle);
    zenithY_ = zenithChromaticity(kZenithY, t, angle);
    if (toSun.z < 0) zenith_ *= std::pow(10.0f, std::asin(std::max(toSun.z, -1.0f)) * 60 / kPi);
}

miScalar Skylight::luminanceAt(miScalar up, miScalar cosSun) const {
    return zenith_ * relative(luminance_, up, cosSun, toSun_.z);
}

miColor Skylight::seenAt(const miVector& below) const {
    const miVector dir = aboveHorizon(below);
    const miScalar cosSun = dot(dir, toSun_);
    const miScalar x = zenithX_ * relative(x_, dir.z, cosSun, toSun_.z);
    const miScalar y = zenithY_ * relative(y_, dir.z, cosSun, toSun_.z);
    return finite(colorOfChromaticity(static_cast<double>(luminanceAt(dir.z, cosSun)),
                                      static_cast<double>(clamped(x, .05f, .7f)),
                                      static_cast<double>(clamped(y, .05f, .7f))));
}

miScalar Skylight::illuminance() const {
    return finite(sumOverSky(toSun_.z, [this](miScalar up, miScalar cosSun) { return luminanceAt(up, cosSun); }));
}

}  // namespace materials
