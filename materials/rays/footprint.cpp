#include "rays/footprint.h"

#include <algorithm>

namespace materials {

miScalar wayFromEye(const miState* state) {
    double way = 0;
    for (const miState* ray = state; ray; ray = ray->parent) {
        const bool counts = ray->type == miRAY_EYE || ray->type == miRAY_REFLECT || ray->type == miRAY_REFRACT ||
                            ray->type == miRAY_TRANSPARENT;
        if (counts) way += ray->dist;
        if (ray->type == miRAY_EYE) break;
    }
    return static_cast<miScalar>(way);
}

miScalar pixelWidth(const miState* state) {
    for (const miState* ray = state; ray; ray = ray->parent)
        if (ray->type == miRAY_FINALGATHER) return miHUGE_SCALAR;
    const miCamera& camera = *state->camera;
    const miScalar atUnit = camera.aperture / static_cast<miScalar>(std::max(camera.x_resolution, 1));
    if (camera.orthographic) return atUnit;
    return camera.focal > 0 ? atUnit / camera.focal * wayFromEye(state) : 0;
}

}  // namespace materials
