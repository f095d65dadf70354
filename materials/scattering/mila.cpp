/* mila_diffuse_reflection: the matte layer, on its own. */
#include "lights/light_list.h"
#include "lobes/oren_nayar.h"
#include "module/export.h"
#include "rays/gathered_light.h"
#include "rays/hit_scope.h"

namespace materials {

namespace {

struct DiffuseReflection {
    miColor tint;
    miScalar roughness, quality, direct, indirect;
};

struct Matt {
    miColor light = {0, 0, 0, 0};

    void add(const Matt& more, miScalar factor) { light += more.light * factor; }
};

bool diffuseReflection(miColor& result, miState* state, DiffuseReflection& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const OrenNayar surface(in.within(p.roughness, 0, 10), state->normal, -state->dir);
    const miScalar direct = in.within(p.direct, 0, 1e6f), indirect = in.within(p.indirect, 0, 1e6f);
    miColor light = kBlack;
    if (direct > 0)
        light = sumOfLights<Matt>(
                    state, LightList(state),
                    [&](Matt& sum, const LightSample& sample) { sum.light += sample.color * surface(sample.dir); })
                    .light *
                direct;
    if (indirect > 0) light += gatheredLight(state) * indirect;
    result = in.reflectance(p.tint) * light;
    return true;
}

}  // namespace

MATERIALS_SHADER(mila_diffuse_reflection, miColor, DiffuseReflection, diffuseReflection)

}  // namespace materials
