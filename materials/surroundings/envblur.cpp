/* mia_envblur: surroundings as blurred as a glossy surface would mirror them. */
#include "lobes/facets.h"
#include "module/export.h"
#include "module/parameters.h"
#include "rays/gloss_of_ray.h"
#include "rays/ray_points.h"

namespace materials {

namespace {

struct EnvBlur {
    miTag environment;
    miBoolean mia_material_blur;
    miScalar blur;
    miInteger resolution;
};

miColor seenAt(miState* state, miTag environment, const miVector& dir) {
    const miVector before = state->dir;
    miColor color = kBlack;
    state->dir = dir;
    if (!mi_call_shader_x(&color, miSHADER_ENVIRONMENT, state, environment, nullptr)) color = kBlack;
    state->dir = before;
    return finite(color);
}

/* `resolution` is that of a sphere, on which the looks lie: as many as it has pixels within the blur, up to 256. */
int looksFor(int resolution, miScalar width) {
    const miScalar across = static_cast<miScalar>(resolution) * width;
    return static_cast<int>(clamped(across * across, 16, 256));
}

bool envBlur(miColor& result, miState* state, EnvBlur& p) {
    const Parameters in(state);
    result = kBlack;
    const miTag environment = in(p.environment);
    if (environment == miNULLTAG) return true;
    const miScalar own = 1 - in.share(p.blur), gloss = in.isOn(p.mia_material_blur) ? own * glossOfRay(state) : own;
    const miVector dir = unit(state->dir, {0, 0, -1});
    if (gloss >= 1) {
        result = seenAt(state, environment, dir);
        return true;
    }
    const miScalar width = widthOfGloss(gloss);
    const Facets lobe(frameAround(dir), width, width);
    result = meanOverPoints(state, looksFor(in.count(p.resolution, 1, 10000), width), [&](const double* point) {
        return seenAt(state, environment, mirrored(-dir, lobe.facetNormal(dir, point)));
    });
    return true;
}

}  // namespace

MATERIALS_SHADER(mia_envblur, miColor, EnvBlur, envBlur)

}  // namespace materials
