/* Reflection models of the textbooks. Directions are of unit length; `in` points towards the surface like state->dir,
   `out` and `dir` away from it, to the light. Where either is below the normal nothing is reflected. */
#include "support/geometry.h"
#include "shader.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace lumorender;

constexpr float kPi = std::numbers::pi_v<float>;

/// The cosines that microfacet models are made of: n normal, l light, v viewer, h half way between them.
struct Facet {
    miVector half;
    float nl, nv, nh, vh;

    Facet(const miVector& in, const miVector& out, const miVector& normal)
        : half(unit(out - in)), nl(dot(normal, out)), nv(-dot(normal, in)), nh(dot(normal, half)), vh(-dot(half, in)) {}

    bool visible() const { return nl > 0 && nv > 0 && nh > 0 && vh > 0; }

    /// Shadowing and masking of facets in V-shaped grooves (Torrance and Sparrow 1967).
    float unshadowed() const { return std::min({1.0f, 2 * nh * nv / vh, 2 * nh * nl / vh}); }

    /// tan^2 of the facet's tilt.
    float squaredTilt() const { return std::max(0.0f, 1 / (nh * nh) - 1); }
};

/// Reflected fraction at a dielectric for unpolarized light that comes at cosine `c`; in the form of Cook and Torrance
/// 1982, which needs the index only.
float dielectricFresnel(float c, float ior) {
    const float squaredG = ior * ior + c * c - 1;
    if (!(squaredG > 0)) return 1;
    const float g = std::sqrt(squaredG);
    const float a = (g - c) / (g + c);
    const float b = (c * (g + c) - 1) / (c * (g - c) + 1);
    return 0.5f * a * a * (1 + b * b);
}

/// Width of a lobe of the half vector that is as wide as cos^shiny of the reflected direction: the half vector turns by
/// half the angle, and exp(-tan^2 / a^2) is near cos^(2 / a^2), so a^2 = 1 / (2 shiny).
float squaredWidth(float shiny) { return 1 / (2 * std::max(shiny, 1e-3f)); }

}  // namespace

extern "C" {

/* Fresnel's equations for unpolarized light. */
miScalar mi_fresnel(miScalar n1, miScalar n2, miScalar t1, miScalar t2) {
    const float acrossSum = n1 * t1 + n2 * t2, alongSum = n1 * t2 + n2 * t1;
    if (acrossSum == 0 || alongSum == 0) return 1;
    const float across = (n1 * t1 - n2 * t2) / acrossSum;
    const float along = (n1 * t2 - n2 * t1) / alongSum;
    return 0.5f * (across * across + along * along);
}

/* 1 where the ray is totally reflected. */
miScalar mi_fresnel_reflection(miState* state, miScalar ior_in, miScalar ior_out) {
    const float cosIn = std::min(1.0f, std::fabs(dot(state->dir, state->normal)));
    const float eta = ior_in / ior_out;
    const float squaredCosOut = 1 - eta * eta * (1 - cosIn * cosIn);
    return squaredCosOut > 0 ? mi_fresnel(ior_in, ior_out, cosIn, std::sqrt(squaredCosOut)) : 1.0f;
}

/* cos^exponent of the angle between the light and the mirror direction. */
miScalar mi_phong_specular(miScalar exponent, miState* state, const miVector* dir) {
    const float cosine = dot(*dir, mirrored(state->dir, state->normal));
    return cosine > 0 ? std::pow(cosine, exponent) : 0.0f;
}

/* D G F / (n.v) with D = (c^2 / (cos^2 (c^2 - 1) + 1))^2 and c the roughness from 0 (mirror) to 1.
   Source: Blinn, "Models of Light Reflection for Computer Synthesized Pictures", SIGGRAPH 1977. */
miScalar mi_blinn_specular(const miVector* in, const miVector* out, const miVector* normal, miScalar roughness,
                           miScalar ior) {
    const Facet facet(*in, *out, *normal);
    if (!facet.visible()) return 0;
    const float squaredC = roughness * roughness;
    const float denominator = facet.nh * facet.nh * (squaredC - 1) + 1;
    if (!(denominator > 0)) return 0;
    const float d = squaredC / denominator;
    return d * d * facet.unshadowed() * dielectricFresnel(facet.vh, ior) / facet.nv;
}

/* F D G / (pi n.l n.v) with Beckmann's D = exp(-tan^2 / m^2) / (m^2 cos^4) and m the roughness.
   Source: Cook and Torrance, "A Reflectance Model for Computer Graphics", ACM TOG 1(1), 1982. */
miBoolean mi_cooktorr_specular(miColor* result, const miVector* in, const miVector* out, const miVector* normal,
                               miScalar roughness, const miColor* ior) {
    const Facet facet(*in, *out, *normal);
    *result = {0, 0, 0, 0};
    if (!facet.visible() || !(roughness > 0)) return miFALSE;
    const float squaredM = roughness * roughness;
    const float squaredCos = facet.nh * facet.nh;
    const float d = std::exp(-facet.squaredTilt() / squaredM) / (squaredM * squaredCos * squaredCos);
    const float strength = d * facet.unshadowed() / (kPi * facet.nl * facet.nv);
    result->r = strength * dielectricFresnel(facet.vh, ior->r);
    result->g = strength * dielectricFresnel(facet.vh, ior->g);
    result->b = strength * dielectricFresnel(facet.vh, ior->b);
    return miTRUE;
}

/* exp(-tan^2 / a^2) / (4 pi a^2 sqrt(n.l n.v)).
   Source: Ward, "Measuring and Modeling Anisotropic Reflection", SIGGRAPH 1992; the width a comes from an exponent, so
   that a highlight is as wide as the reflections of mi_reflection_dir_glossy with the same exponent. */
miScalar mi_ward_glossy(const miVector* in, const miVector* out, const miVector* normal, miScalar shiny) {
    const Facet facet(*in, *out, *normal);
    if (!facet.visible()) return 0;
    const float width = squaredWidth(shiny);
    return std::exp(-facet.squaredTilt() / width) / (4 * kPi * width * std::sqrt(facet.nl * facet.nv));
}

/* The same with a width along each of the tangents u and v, which are of unit length. */
miScalar mi_ward_anisglossy(const miVector* in, const miVector* out, const miVector* normal, const miVector* u,
                            const miVector* v, miScalar shiny_u, miScalar shiny_v) {
    const Facet facet(*in, *out, *normal);
    if (!facet.visible()) return 0;
    const float widthU = squaredWidth(shiny_u), widthV = squaredWidth(shiny_v);
    const float hu = dot(facet.half, *u) / facet.nh, hv = dot(facet.half, *v) / facet.nh;
    const float peak = 4 * kPi * std::sqrt(widthU * widthV * facet.nl * facet.nv);
    return std::exp(-(hu * hu / widthU + hv * hv / widthV)) / peak;
}

}  // extern "C"
