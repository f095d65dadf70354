/* compute_lambert_translucence: light that shines through a thin surface. */
#include "SDK/lumo.h"

#include <algorithm>
#include <cmath>

const miScalar TRANSLUCENCE_ANGLE_FAC = -11.5f;
const miScalar TRANSLUCENCE_FADE = 0.15f;

namespace lumo {
namespace {

/* How straight the light comes towards the eye, 0 to 1. Across an area light the average stands for it: its value in
 * place of the cosine, with the eye ray as normal. */
miScalar straightness(const miState* state, const miVector& direction, const miVector* corners) {
    const miScalar d = corners ? arealight_lambertian_reflect(&state->point, &state->dir, corners)
                               : mi_vector_dot(&state->dir, &direction);
    return (std::clamp(d, -1.0f, 1.0f) + 1) * 0.5f;
}

}  // namespace
}  // namespace lumo

miScalar compute_lambert_translucence(miState* state, miScalar cosine, const miVector* direction, miScalar translucence,
                                      miScalar focus, miScalar depth, const miVector* corners) {
    // The depth says how far beyond the terminator the light reaches.
    const miScalar threshold = TRANSLUCENCE_ANGLE_FAC * depth;
    if (threshold >= cosine) return 0;

    miScalar value = translucence;
    if (focus != 0) value *= std::pow(lumo::straightness(state, *direction, corners), focus / (1.00001f - focus));

    // A linear fade starts at the threshold; without depth it is over after TRANSLUCENCE_FADE.
    const miScalar ramp = std::min(TRANSLUCENCE_FADE - threshold, 1.0f);
    return threshold + ramp > cosine ? value * (cosine - threshold) / ramp : value;
}
