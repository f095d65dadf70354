/* compute_phong_specular, compute_blinn_specular, compute_hairtubeshader_specular: highlights.
 *
 * Sources: B. T. Phong, "Illumination for Computer Generated Pictures", 1975; J. F. Blinn, "Models of Light Reflection
 * for Computer Synthesized Pictures", 1977, with the facets of Trowbridge and Reitz. How ours differ is told at each:
 * pictures that were made with them have to come out the same, so nothing here is to be "repaired".
 */
#include "SDK/lumo.h"

#include "SDK/surface/lobes.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

miVector halfway(const miVector& light, const miVector& dir) {
    miVector h = {light.x - dir.x, light.y - dir.y, light.z - dir.z};
    const miScalar length = mi_vector_norm(&h);
    if (length != 0) mi_vector_div(&h, length);
    return h;
}

/* Of the facets' normals, over the cosine of the surface's and the one that mirrors: 1 at the peak, however narrow it
 * is. There the quotient is 0 / 0 for an eccentricity of 0, and right above, where rounding may lead, others have a
 * pole. */
miScalar distribution(miScalar nh, miScalar a) {
    const miScalar square = nh * nh;
    const bool isPeak = square >= 1 && square < 1 + VEXA_EPS;
    return isPeak ? 1 : (a + 1) / (square + a);
}

/* Share of the facets that neither shade nor hide each other, over the cosine of normal and view. Which of the two
 * bounds is asked depends on the flatter one of light and view. */
miScalar facetsSeen(miScalar nl, miScalar nv, miScalar nh, miScalar vh) {
    const miScalar t = 2 * nh;
    if (nl > nv) return vh > t * nv ? t / vh : 1 / nv;
    return vh > t * nl ? t * nl / (vh * nv) : 1 / nv;
}

}  // namespace
}  // namespace lumo

miScalar compute_phong_specular(const miVector* reflection, miScalar cosinePower, miScalar secondarySpecularScale,
                                const miVector* light, const miState* state) {
    const miScalar d = mi_vector_dot(light, reflection);
    if (d <= 0) return 0;
    // A highlight never ends before a right angle: it has a floor, which is kept.
    const miScalar y = cosinePower * std::log(d / mi_vector_norm(light));
    const miScalar s = y < -10 ? 4.54e-5f : std::exp(y);
    return lumo::highlightOnRay(s, secondarySpecularScale, state);
}

miScalar compute_blinn_specular(miScalar cosine, miScalar normalEye, const miVector* light, miScalar eccentricity,
                                miScalar specularRollOff, miScalar secondarySpecularScale, const miVector* normal,
                                const miState* state) {
    const miVector h = lumo::halfway(*light, state->dir);
    const miScalar nh = mi_vector_dot(normal, &h), vh = -mi_vector_dot(&state->dir, &h);

    // Close to 1 from either side the eccentricity counts as just above it.
    miScalar k = eccentricity * eccentricity - 1;
    if (std::fabs(k) < VEXA_EPS) k = VEXA_EPS;
    const miScalar d = lumo::distribution(nh, 1 / k);

    // The distribution is squared, and light is reflected by (1 - cosine)^3, not by the fifth power.
    miScalar s = lumo::facetsSeen(cosine, normalEye, nh, vh) * d * d;
    const miScalar away = 1 - vh, f = away * away * away;
    s = ((1 - f) * specularRollOff + f) * s;
    if (s <= 0) return 0;
    return lumo::highlightOnRay(s, secondarySpecularScale, state);
}

miScalar compute_hairtubeshader_specular(miScalar power, const miVector* a, const miVector* b,
                                         const miVector* tangent) {
    const miScalar x = std::fabs(mi_vector_dot(tangent, a) - mi_vector_dot(tangent, b)) * 0.5f;
    // Rounding may bring the fall-off's end a little below 0, of which there is no power.
    return std::pow(std::max((2 * x - 3) * (x * x) + 1, 0.0f), power);
}
