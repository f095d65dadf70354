/* Directions of reflected and transmitted rays at state->point. They leave on the side of the true surface on which
   they have to: reflections on the side the ray came from, transmissions on the other. Where the interpolated or bumped
   normal would lead a direction to the wrong side, it is mirrored at the true surface. */
#include "support/geometry.h"
#include "shader.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace lumorender;

constexpr float kTwoPi = 2 * std::numbers::pi_v<float>;

/// Two independent numbers in [0, 1).
struct Pair {
    double sample[2];

    explicit Pair(miState* state) { mi_sample(sample, nullptr, state, 2, nullptr); }
};

/// Mirrors the direction at the true surface if it leaves on the wrong side. A state without a surface keeps it.
miVector onSide(const miVector& dir, const miState& state, bool reflected) {
    const float across = dot(dir, state.normal_geom) * dot(state.dir, state.normal_geom);
    const bool wrong = reflected ? across > 0 : across < 0;
    return wrong ? mirrored(dir, state.normal_geom) : dir;
}

miVector mirrorDirection(const miState& state) { return unit(mirrored(state.dir, state.normal)); }

/// Snell's law for a ray from a medium with index `in` to one with `out`, at either side of the normal.
/// @return false where the ray is totally reflected.
bool refract(miVector& result, const miState& state, float in, float out) {
    const float cosine = -dot(state.dir, state.normal);
    const miVector normal = cosine < 0 ? -state.normal : state.normal;
    const float cosIn = std::fabs(cosine);
    const float eta = in / out;
    const float squaredCosOut = 1 - eta * eta * (1 - cosIn * cosIn);
    if (!(squaredCosOut >= 0)) return false;
    result = unit(state.dir * eta + normal * (eta * cosIn - std::sqrt(squaredCosOut)));
    return true;
}

/// A lobe around an axis with density proportional to cos^n of the angle to the axis, where n varies around it:
/// n = shinyU cos^2 phi + shinyV sin^2 phi. With equal exponents it is the modified Phong lobe, of mean cosine
/// (n + 1) / (n + 2).
/// Source: Ashikhmin and Shirley, "An Anisotropic Phong BRDF Model", JGT 5(2), 2000, equations 6 and 7. They spread the
/// half vector around the normal; here the direction itself is spread around the ideal one, so that equal exponents
/// give the isotropic lobe.
miVector lobe(const Frame& frame, float shinyU, float shinyV, const double sample[2]) {
    shinyU = std::max(shinyU, 0.0f);
    shinyV = std::max(shinyV, 0.0f);
    const float angle = kTwoPi * static_cast<float>(sample[0]);
    const float x = std::sqrt(shinyV + 1) * std::cos(angle);
    const float y = std::sqrt(shinyU + 1) * std::sin(angle);
    const float radius = std::hypot(x, y);
    const float cosPhi = x / radius, sinPhi = y / radius;
    const float exponent = shinyU * cosPhi * cosPhi + shinyV * sinPhi * sinPhi;
    const float cosAlpha = std::pow(1 - static_cast<float>(sample[1]), 1 / (exponent + 1));
    const float sinAlpha = std::sqrt(std::max(0.0f, 1 - cosAlpha * cosAlpha));
    return unit(frame.toWorld(sinAlpha * cosPhi, sinAlpha * sinPhi, cosAlpha));
}

miVector lobe(const miVector& axis, float shiny, const double sample[2]) {
    return lobe(frameAround(axis), shiny, shiny, sample);
}

/// A frame around the axis whose u and v are as near as possible to the surface's.
Frame alignedFrame(const miVector& axis, const miVector& u, const miVector& v) {
    const miVector along = u - axis * dot(u, axis);
    if (!(dot(along, along) > 1e-12f * dot(u, u))) return frameAround(axis);
    const miVector unitU = unit(along);
    const miVector across = cross(axis, unitU);
    return {unitU, dot(across, v) < 0 ? -across : across, axis};
}

/// Density proportional to the cosine: a point of the unit disc, projected up to the hemisphere.
miVector cosineDirection(const miVector& normal, const double sample[2]) {
    const float angle = kTwoPi * static_cast<float>(sample[0]);
    const float squaredRadius = static_cast<float>(sample[1]);
    const float radius = std::sqrt(squaredRadius);
    const Frame frame = frameAround(normal);
    return unit(frame.toWorld(radius * std::cos(angle), radius * std::sin(angle),
                              std::sqrt(std::max(0.0f, 1 - squaredRadius))));
}

}  // namespace

extern "C" {

void mi_reflection_dir(miVector* dir, miState* state) { *dir = onSide(mirrorDirection(*state), *state, true); }

miBoolean mi_refraction_dir(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out) {
    miVector refracted;
    if (!refract(refracted, *state, ior_in, ior_out)) return miFALSE;
    *dir = onSide(refracted, *state, false);
    return miTRUE;
}

void mi_reflection_dir_specular(miVector* dir, miState* state) { mi_reflection_dir(dir, state); }

void mi_reflection_dir_glossy_x(miVector* dir, miState* state, miScalar shiny, double sample[2]) {
    *dir = onSide(lobe(mirrorDirection(*state), shiny, sample), *state, true);
}

void mi_reflection_dir_glossy(miVector* dir, miState* state, miScalar shiny) {
    Pair random(state);
    mi_reflection_dir_glossy_x(dir, state, shiny, random.sample);
}

void mi_reflection_dir_anisglossy_x(miVector* dir, miState* state, miVector* u, miVector* v, miScalar shiny_u,
                                    miScalar shiny_v, double sample[2]) {
    const Frame frame = alignedFrame(mirrorDirection(*state), *u, *v);
    *dir = onSide(lobe(frame, shiny_u, shiny_v, sample), *state, true);
}

void mi_reflection_dir_anisglossy(miVector* dir, miState* state, miVector* u, miVector* v, miScalar shiny_u,
                                  miScalar shiny_v) {
    Pair random(state);
    mi_reflection_dir_anisglossy_x(dir, state, u, v, shiny_u, shiny_v, random.sample);
}

void mi_reflection_dir_diffuse_x(miVector* dir, miState* state, double sample[2]) {
    *dir = onSide(cosineDirection(state->normal, sample), *state, true);
}

void mi_reflection_dir_diffuse(miVector* dir, miState* state) {
    Pair random(state);
    mi_reflection_dir_diffuse_x(dir, state, random.sample);
}

miBoolean mi_transmission_dir_specular(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out) {
    return mi_refraction_dir(dir, state, ior_in, ior_out);
}

miBoolean mi_transmission_dir_glossy_x(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out, miScalar shiny,
                                       double sample[2]) {
    miVector refracted;
    if (!refract(refracted, *state, ior_in, ior_out)) return miFALSE;
    *dir = onSide(lobe(refracted, shiny, sample), *state, false);
    return miTRUE;
}

miBoolean mi_transmission_dir_glossy(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out, miScalar shiny) {
    Pair random(state);
    return mi_transmission_dir_glossy_x(dir, state, ior_in, ior_out, shiny, random.sample);
}

miBoolean mi_transmission_dir_anisglossy_x(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out,
                                           miVector* u, miVector* v, miScalar shiny_u, miScalar shiny_v,
                                           double sample[2]) {
    miVector refracted;
    if (!refract(refracted, *state, ior_in, ior_out)) return miFALSE;
    *dir = onSide(lobe(alignedFrame(refracted, *u, *v), shiny_u, shiny_v, sample), *state, false);
    return miTRUE;
}

miBoolean mi_transmission_dir_anisglossy(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out, miVector* u,
                                         miVector* v, miScalar shiny_u, miScalar shiny_v) {
    Pair random(state);
    return mi_transmission_dir_anisglossy_x(dir, state, ior_in, ior_out, u, v, shiny_u, shiny_v, random.sample);
}

miBoolean mi_transmission_dir_diffuse_x(miVector* dir, miState* state, double sample[2]) {
    *dir = onSide(cosineDirection(-state->normal, sample), *state, false);
    return miTRUE;
}

miBoolean mi_transmission_dir_diffuse(miVector* dir, miState* state) {
    Pair random(state);
    return mi_transmission_dir_diffuse_x(dir, state, random.sample);
}

}  // extern "C"
