/* mib_texture_checkerboard, _polkadot, _polkasphere, _turbulence, _wave: patterns of coordinates. */
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct Checkerboard {
    miVector coord;
    miScalar size[3];
    miColor color[8]; /* digits of the number: x y z */
};

struct Polka {
    miVector coord;
    miScalar radius;
    miColor around, dot;
};

struct Turbulence {
    miVector coord, spacing;
    miScalar strength, power;
    miInteger iteration, polar_dim;
};

struct Wave {
    miVector coord;
    miScalar amplitude[3], offset;
};

bool checkerboard(miColor& result, miState* state, Checkerboard& p) {
    const Parameters in(state);
    const miVector coord = in(p.coord);
    const miScalar places[3] = {coord.x, coord.y, coord.z};
    int number = 0;
    for (int i = 0; i < 3; ++i) number = 2 * number + (fraction(places[i]) < in(p.size[i]) ? 0 : 1);
    result = in.color(p.color[number]);
    return true;
}

/* A dot in the middle of each unit square, or a sphere in that of each unit cube. */
bool polka(miColor& result, miState* state, const Polka& p, bool isSphere) {
    const Parameters in(state);
    const miVector coord = in(p.coord);
    const miVector way = {fraction(coord.x) - .5f, fraction(coord.y) - .5f, isSphere ? fraction(coord.z) - .5f : 0};
    result = in.color(length(way) < in(p.radius) ? p.dot : p.around);
    return true;
}

bool polkadot(miColor& result, miState* state, Polka& p) { return polka(result, state, p, false); }
bool polkasphere(miColor& result, miState* state, Polka& p) { return polka(result, state, p, true); }

/* One of the dimensions is an angle, whole turns of which look the same: it goes around a circle one unit long. */
miVector unrolled(const miVector& a, int dimension) {
    const miScalar angle = dimension == 1 ? a.x : dimension == 2 ? a.y : a.z;
    const miScalar left = dimension == 1 ? a.y : a.x;
    const miScalar further = dimension == 3 ? a.y : a.z;
    const miScalar radius = 1 / (2 * kPi) + further;
    return {radius * std::cos(2 * kPi * angle), radius * std::sin(2 * kPi * angle), left};
}

/* 0 to `strength`: the mean of |noise| over octaves, each half as strong as the one before, to a power. */
bool turbulence(miScalar& result, miState* state, Turbulence& p) {
    const Parameters in(state);
    const auto orOne = [](miScalar a) { return std::isfinite(a) && a != 0 ? a : 1; };
    const miVector coord = in(p.coord), spacing = in(p.spacing);
    miVector place = {coord.x / orOne(spacing.x), coord.y / orOne(spacing.y), coord.z / orOne(spacing.z)};
    const int dimension = in(p.polar_dim), given = in(p.iteration);
    if (dimension >= 1 && dimension <= 3) place = unrolled(place, dimension);
    const int octaves = given > 0 ? std::min(given, 8) : 2;
    miScalar sum = 0, weights = 0, weight = 1;
    for (int i = 0; i < octaves && isFinite(place); ++i, weight /= 2, place = place * 2) {
        sum += weight * std::fabs(mi_noise_3d(&place));
        weights += weight;
    }
    const miScalar mean = weights > 0 ? clamped(sum / weights, 0, 1) : 0;
    result = orOne(in(p.strength)) * std::pow(mean, clamped(orOne(in(p.power)), 0, 100));
    return true;
}

/* A cosine along each axis, one wave to a unit. */
bool wave(miColor& result, miState* state, Wave& p) {
    const Parameters in(state);
    const miVector coord = in(p.coord);
    const miScalar places[3] = {coord.x, coord.y, coord.z};
    miScalar value = in(p.offset);
    for (int i = 0; i < 3; ++i) value += in(p.amplitude[i]) * std::cos(2 * kPi * fraction(places[i]));
    value = finite(value);
    result = {value, value, value, value};
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_texture_checkerboard, miColor, Checkerboard, checkerboard)
MATERIALS_SHADER(mib_texture_polkadot, miColor, Polka, polkadot)
MATERIALS_SHADER(mib_texture_polkasphere, miColor, Polka, polkasphere)
MATERIALS_SHADER(mib_texture_turbulence, miScalar, Turbulence, turbulence)
MATERIALS_SHADER(mib_texture_wave, miColor, Wave, wave)

}  // namespace materials
