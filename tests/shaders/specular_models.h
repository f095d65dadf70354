/* The highlights once more, in double precision: the tests' own idea of what the materials compute. Directions lead
 * away from the surface; n is its normal. */
#pragma once

#include <algorithm>
#include <cmath>

#include <shader.h>

namespace specular {

struct Vec {
    double x = 0, y = 0, z = 0;
    Vec(double a, double b, double c) : x(a), y(b), z(c) {}
    Vec(const miVector& v) : x(v.x), y(v.y), z(v.z) {}
};
inline double operator*(const Vec& a, const Vec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec operator+(const Vec& a, const Vec& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec operator*(double s, const Vec& a) { return {s * a.x, s * a.y, s * a.z}; }
inline double size(const Vec& a) { return std::sqrt(a * a); }

/* Powers of cosines that are below 4.54e-5 count as that. */
inline double phong(const Vec& mirror, double power, const Vec& light) {
    const double cosine = mirror * light / size(light);
    return cosine > 0 ? std::max(std::pow(cosine, power), 4.54e-5) : 0;
}

/* Facets: e^2 / (e^2 cos^2 + sin^2), squared; the smaller bound of geometry; Fresnel cubed. An e^2 that
 * is within 1e-5 of 1 counts as 1 + 1e-5. */
inline double blinn(const Vec& n, const Vec& light, const Vec& view, double eccentricity, double rollOff) {
    const Vec sum = light + view;
    const Vec h = size(sum) != 0 ? (1 / size(sum)) * sum : sum;
    const double nh = n * h, vh = view * h, nl = n * light, nv = n * view;
    double e2 = eccentricity * eccentricity;
    if (std::abs(e2 - 1) < 1e-5) e2 = 1 + 1e-5;
    const double facets = e2 / (1 - (1 - e2) * nh * nh);
    const double bounds = std::min(1.0, 2 * nh * std::min(nl, nv) / vh) / nv;
    const double cube = std::pow(1 - vh, 3);
    return std::max(0.0, bounds * facets * facets * (rollOff + (1 - rollOff) * cube));
}

inline double phongE(const Vec& mirror, const Vec& light, double cosine, double roughness, double highlightSize) {
    const double t = (highlightSize - 1 + light * mirror / size(light)) / highlightSize;
    const double below = 1 - t * t * (1 - roughness);
    const double s = t > 0 && std::abs(below) >= 1e-5 ? t * roughness / below : 0;
    return cosine < .1 && s > .001 ? 10 * cosine * s : s;
}

/* (1 - x)^2 (1 + 2 x) for half the difference of the two cosines, to a power. */
inline double hair(double power, const Vec& a, const Vec& b, const Vec& tangent) {
    const double x = std::abs(tangent * a - tangent * b) / 2;
    return std::pow((1 - x) * (1 - x) * (1 + 2 * x), power);
}

/* Light that a boundary between air and this index reflects, the mean of both polarisations, from Snell's law. */
inline double fresnel(double cosine, double index) {
    const double inside = std::sqrt(1 - (1 - cosine * cosine) / (index * index));
    const double s = (cosine - index * inside) / (cosine + index * inside);
    const double p = (index * cosine - inside) / (index * cosine + inside);
    return (s * s + p * p) / 2;
}

/* pi x BRDF x cosine of the light: distribution in tangents, shadowing by the two lambdas. The grain is x and y. */
inline double anisotropic(const Vec& light, const Vec& view, double ax, double ay, double index) {
    if (light.z <= 0 || view.z <= 0) return 0;
    const Vec sum = light + view, h = (1 / size(sum)) * sum;
    const auto spread = [&](const Vec& w, double x, double y) {
        return (x * x * w.x * w.x + y * y * w.y * w.y) / (w.z * w.z);
    };
    const double d = 1 / (M_PI * ax * ay * std::pow(h.z, 4) * std::pow(1 + spread(h, 1 / ax, 1 / ay), 2));
    const auto lambda = [&](const Vec& w) { return (std::sqrt(1 + spread(w, ax, ay)) - 1) / 2; };
    const double g = 1 / (1 + lambda(light) + lambda(view));
    return M_PI * d * g * fresnel(view * h, index) / (4 * view.z);
}

}  // namespace specular
