/* dgs_material, path_material: diffuse, glossy and specular reflection and transmission. */
#include "module/export.h"
#include "physics/dgs.h"

namespace materials {

namespace {

/* Light straight through; what is bent or spread arrives elsewhere. */
bool shadow(miColor& result, const Parameters& in, const Dgs& p) {
    const miColor through = in.reflectance(p.specular) * in.share(p.transp);
    result = {result.r * through.r, result.g * through.g, result.b * through.b, result.a};
    return !isBlack(result);
}

bool shaded(miColor& result, miState* state, Dgs& p, bool tracesDiffuse) {
    const Parameters in(state);
    if (state->type == miRAY_SHADOW) return shadow(result, in, p);
    if (!shadesSurface(state)) return false;
    DgsSurface surface = surfaceOf(in, p);
    surface.tracesDiffuse = tracesDiffuse;
    result = surface.shaded(state, LightList(state, p.mode, p.lights));
    return true;
}

bool dgsMaterial(miColor& result, miState* state, Dgs& p) { return shaded(result, state, p, false); }
bool pathMaterial(miColor& result, miState* state, Dgs& p) { return shaded(result, state, p, true); }

}  // namespace

MATERIALS_SHADER(dgs_material, miColor, Dgs, dgsMaterial)
MATERIALS_SHADER(path_material, miColor, Dgs, pathMaterial)

}  // namespace materials
