/* Parameters of dgs_material, which those of its photons are, too. */
#pragma once

#include "physics/dgs_surface.h"

namespace materials {

struct Dgs {
    miColor diffuse, glossy, specular;
    miScalar shiny, shiny_u, shiny_v, transp, ior;
    LightArray lights;
    miInteger mode;
};

/* `shiny` is for both directions, where it is given. */
inline DgsSurface surfaceOf(const Parameters& in, const Dgs& p) {
    DgsSurface surface;
    surface.diffuse = in.reflectance(p.diffuse);
    surface.glossy = in.reflectance(p.glossy);
    surface.specular = in.reflectance(p.specular);
    const miScalar shiny = in.within(p.shiny, 0, 1e6f), ior = in(p.ior);
    surface.shinyU = shiny > 0 ? shiny : in.within(p.shiny_u, 0, 1e6f);
    surface.shinyV = shiny > 0 ? shiny : in.within(p.shiny_v, 0, 1e6f);
    surface.transp = in.share(p.transp);
    if (ior > 0) surface.ior = clamped(ior, 1e-3f, 1000);
    return surface;
}

}  // namespace materials
