/* mi_car_paint_phen, mi_car_paint_phen_x: metallic paint with flakes under a mirroring coat, and dirt on it. */
#include "lobes/fresnel.h"
#include "module/export.h"
#include "paint/paint.h"
#include "rays/reflections.h"

namespace materials {

namespace {

struct CarPaint {
    miColor ambient, base_color, edge_color;
    miScalar edge_color_bias;
    miColor lit_color;
    miScalar lit_color_bias, diffuse_weight, diffuse_bias;
    miColor flake_color;
    miScalar flake_weight, flake_reflect, flake_exp, flake_density, flake_decay, flake_strength, flake_scale;
    miColor spec;
    miScalar spec_weight, spec_exp;
    miColor spec_sec;
    miScalar spec_sec_weight, spec_sec_exp;
    miBoolean spec_glazing;
    miColor reflection_color;
    miScalar edge_factor, reflection_edge_weight, reflection_base_weight;
    miInteger samples;
    miScalar glossy_spread, max_distance;
    miBoolean single_env_sample;
    miColor dirt_color;
    miScalar dirt_weight, irradiance_weight, global_weight;
    miInteger mode;
    LightArray lights;
};

static_assert(sizeof(CarPaint) == 66 * 4);

struct CarPaintOutputs {
    miColor result;
    PaintTerms paint;
    Term reflection, dirt;
};

static_assert(sizeof(CarPaintOutputs) == 25 * 16);

Flakes::Look flakesOf(miState* state, const Parameters& in, const CarPaint& p) {
    const Flakes flakes{in.share(p.flake_density), in.within(p.flake_strength, 0, 100),
                        in.within(p.flake_scale, 0, miHUGE_SCALAR)};
    return flakes.at(state, unit(state->normal, state->normal_geom));
}

/* What the clear coat mirrors; `share` of it is seen. */
Term coat(miState* state, const Parameters& in, const CarPaint& p, miScalar share) {
    const miVector normal = unit(state->normal, state->normal_geom);
    const miScalar cosine = clamped(std::fabs(dot(normal, state->dir)), 0, 1);
    const miScalar weight = edgeWeight(cosine, in.within(p.reflection_base_weight, 0, 1000),
                                       in.within(p.reflection_edge_weight, 0, 1000), in.within(p.edge_factor, 0, 1e6f));
    const miColor level = in.reflectance(p.reflection_color) * (weight * share);
    if (isBlack(level)) return {kBlack, kBlack, kBlack};
    Reflections rays;
    const miScalar spread = in.share(p.glossy_spread);
    rays.limits = {spread > 0 ? in.count(p.samples, 0, kMostRays) : 0, 0, 0};
    rays.reach.distance = in.within(p.max_distance, 0, miHUGE_SCALAR);
    rays.singleEnvironment = in.isOn(p.single_env_sample);
    const miScalar width = std::max(spread, 1e-3f);
    const Facets lobe(frameAround(normal), width, width);
    return termOf(rays.traced(state, normal, rays.limits.samples > 0 ? &lobe : nullptr, level), level);
}

bool shade(miState* state, const CarPaint& p, CarPaintOutputs& out) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const PaintSettings paint(in, p);
    const Flakes::Look none = {state->normal, 0, 0};
    const Flakes::Look flakes = paint.hasFlakes() ? flakesOf(state, in, p) : none;
    const LightList lights(state, p.mode, p.lights);
    const miScalar dirt = in.share(p.dirt_weight);
    const miScalar clean = (1 - dirt) * in.within(p.global_weight, 0, 1000);

    const PaintShading shading = shadePaint(state, paint, flakes, lights, dirt > 0);
    out.paint = shading.terms;
    out.paint.scale(clean);
    out.reflection = coat(state, in, p, clean);
    out.dirt = termOf(shading.lambert, in.reflectance(p.dirt_color) * dirt);
    out.result = out.paint.sum() + out.reflection.result + out.dirt.result;
    return true;
}

bool carPaint(miColor& result, miState* state, CarPaint& p) {
    CarPaintOutputs out;
    if (!shade(state, p, out)) return false;
    result = out.result;
    return true;
}

bool carPaintX(CarPaintOutputs& out, miState* state, CarPaint& p) { return shade(state, p, out); }

struct OutputMixer {
    miTag paint;
    miColor reflection_color, dirt_color;
    miScalar dirt_mix;
};

/* Of a paint, the reflection of its coat, and dirt. */
bool outputMixer(miColor& result, miState* state, OutputMixer& p) {
    const Parameters in(state);
    AnyResult paint;
    const miTag shader = in(p.paint);
    if (shader != miNULLTAG && !mi_call_shader_x(paint.color(), miSHADER_MATERIAL, state, shader, nullptr))
        return false;
    result = mix(*paint.color() + in.color(p.reflection_color), in.color(p.dirt_color), in.share(p.dirt_mix));
    return true;
}

}  // namespace

MATERIALS_SHADER(mi_car_paint_phen, miColor, CarPaint, carPaint)
MATERIALS_SHADER(mi_car_paint_phen_x, CarPaintOutputs, CarPaint, carPaintX)
MATERIALS_SHADER(mi_metallic_paint_output_mixer, miColor, OutputMixer, outputMixer)

}  // namespace materials
