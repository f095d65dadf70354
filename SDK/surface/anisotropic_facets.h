/* Facets whose slopes spread differently in two directions.
 *
 * Sources: B. Walter et al., "Microfacet Models for Refraction through Rough Surfaces", 2007, and E. Heitz,
 * "Understanding the Masking-Shadowing Function in Microfacet-Based BRDFs", 2014: the distribution of Trowbridge and
 * Reitz with widths a_x, a_y, and masking and shadowing of correlated heights. R. L. Cook and K. E. Torrance, "A
 * Reflectance Model for Computer Graphics", 1982: unpolarised light reflected by a facet. We differ in scale alone: a
 * highlight is pi x BRDF x cosine of the light, as for the diffuse term, where white scatters a whole light back.
 */
#pragma once

#include <algorithm>
#include <cmath>

#include <shader.h>

namespace lumo {

/* Share of light that a facet with this index of refraction (not below 1) reflects, for the cosine of light and its
 * normal, 0 to 1. */
inline miScalar facetReflectance(miScalar cosine, miScalar index) {
    const miScalar n = std::max(index, 1.0f), c = cosine;
    const miScalar g = std::sqrt(n * n - 1 + c * c);
    if (!(g + c > 0) || !std::isfinite(g)) return 1;
    const miScalar across = (g - c) / (g + c), along = (c * (g + c) - 1) / (c * (g - c) + 1);
    return 0.5f * across * across * (1 + along * along);
}

class AnisotropicFacets {
public:
    /* Widths above 0. x and y are unit vectors at right angles in the surface of unit normal n. The view is a unit
     * direction from the surface: lights are many, it is one. */
    AnisotropicFacets(miScalar widthX, miScalar widthY, const miVector& x, const miVector& y, const miVector& n,
                      const miVector& view)
        : ax_(widthX), ay_(widthY), x_(x), y_(y), n_(n), view_(local(view)), stretchedView_(stretched(view_)) {}

    /* Of light from a unit direction, from the surface. 0 where one of the two is not above it. */
    miScalar highlight(const miVector& light, miScalar index) const {
        const miVector l = local(light), &v = view_;
        if (!(l.z > 0) || !(v.z > 0)) return 0;
        miVector h = {l.x + v.x, l.y + v.y, l.z + v.z};
        mi_vector_normalize(&h);
        // D G / (4 nl nv) with both written out, so that nothing is divided by a cosine that may be close to 0.
        const miScalar qx = h.x / ax_, qy = h.y / ay_, q = qx * qx + qy * qy + h.z * h.z;
        const miScalar hidden = l.z * stretchedView_ + v.z * stretched(l);
        const miScalar f = facetReflectance(std::clamp(mi_vector_dot(&v, &h), 0.0f, 1.0f), index);
        return f * l.z / (2 * ax_ * ay_ * q * q * hidden);
    }

private:
    miVector local(const miVector& w) const {
        return {mi_vector_dot(&w, &x_), mi_vector_dot(&w, &y_), mi_vector_dot(&w, &n_)};
    }
    miScalar stretched(const miVector& w) const {
        const miScalar x = ax_ * w.x, y = ay_ * w.y;
        return std::sqrt(x * x + y * y + w.z * w.z);
    }

    const miScalar ax_, ay_;
    const miVector x_, y_, n_;
    const miVector view_; /* in x, y and n */
    const miScalar stretchedView_;
};

}  // namespace lumo
