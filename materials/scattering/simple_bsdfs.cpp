/* builtin_bsdf_lambert, _phong, _ashikhmin, _mirror: surfaces by how they scatter light. */
#include "module/export.h"
#include "physics/dgs_surface.h"

namespace materials {

namespace {

struct LambertBsdf {
    miColor diffuse;
    LightArray lights;
    miInteger mode;
};

struct PhongBsdf {
    miColor diffuse, glossy;
    miScalar exponent;
    LightArray lights;
    miInteger mode;
};

struct AshikhminBsdf {
    miColor diffuse, glossy;
    miScalar exponent_u, exponent_v;
    LightArray lights;
    miInteger mode;
};

struct MirrorBsdf {
    miColor reflection;
};

/* Without lights named and with mode 0 those of the instance light the surface. */
LightList lightsOf(miState* state, const miInteger& mode, const LightArray& array) {
    const LightList named(state, mode, array);
    const bool namesNone = Parameters(state)(mode) == 0 && named.begin() == named.end();
    return namesNone ? LightList(state) : named;
}

bool lambertBsdf(miColor& result, miState* state, LambertBsdf& p) {
    if (!shadesSurface(state)) return false;
    DgsSurface surface;
    surface.diffuse = Parameters(state).reflectance(p.diffuse);
    result = surface.shaded(state, lightsOf(state, p.mode, p.lights));
    return true;
}

bool phongBsdf(miColor& result, miState* state, PhongBsdf& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    DgsSurface surface;
    surface.diffuse = in.reflectance(p.diffuse);
    surface.glossy = in.reflectance(p.glossy);
    surface.shinyU = surface.shinyV = in.within(p.exponent, 0, 1e6f);
    result = surface.shaded(state, lightsOf(state, p.mode, p.lights));
    return true;
}

bool ashikhminBsdf(miColor& result, miState* state, AshikhminBsdf& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    DgsSurface surface;
    surface.diffuse = in.reflectance(p.diffuse);
    surface.glossy = in.reflectance(p.glossy);
    surface.shinyU = in.within(p.exponent_u, 0, 1e6f);
    surface.shinyV = in.within(p.exponent_v, 0, 1e6f);
    result = surface.shaded(state, lightsOf(state, p.mode, p.lights));
    return true;
}

bool mirrorBsdf(miColor& result, miState* state, MirrorBsdf& p) {
    if (!shadesSurface(state)) return false;
    DgsSurface surface;
    surface.specular = Parameters(state).reflectance(p.reflection);
    result = surface.shaded(state, LightList());
    return true;
}

}  // namespace

MATERIALS_SHADER(builtin_bsdf_lambert, miColor, LambertBsdf, lambertBsdf)
MATERIALS_SHADER(builtin_bsdf_phong, miColor, PhongBsdf, phongBsdf)
MATERIALS_SHADER(builtin_bsdf_ashikhmin, miColor, AshikhminBsdf, ashikhminBsdf)
MATERIALS_SHADER(builtin_bsdf_mirror, miColor, MirrorBsdf, mirrorBsdf)

}  // namespace materials
