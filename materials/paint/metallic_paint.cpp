/* mi_metallic_paint, mi_metallic_paint_x: paint without a mirroring coat; mi_bump_flakes: its flakes. */
#include "module/export.h"
#include "paint/paint.h"
#include "rays/hit_scope.h"

#include <cstring>

namespace materials {

namespace {

struct MetallicPaint {
    miColor ambient, base_color, edge_color;
    miScalar edge_color_bias;
    miColor lit_color;
    miScalar lit_color_bias, diffuse_weight, diffuse_bias, irradiance_weight;
    miColor spec;
    miScalar spec_weight, spec_exp;
    miColor spec_sec;
    miScalar spec_sec_weight, spec_sec_exp;
    miBoolean spec_glazing;
    miColor flake_color;
    miScalar flake_weight, flake_reflect, flake_exp, flake_decay;
    miTag flake_bump;
    miScalar global_weight;
    miInteger mode;
    LightArray lights;
};

struct PaintOutputs {
    miColor result;
    PaintTerms terms;
};

static_assert(sizeof(PaintOutputs) == 19 * 16);

struct BumpFlakes {
    miScalar density, strength, scale;
};

/* What mi_bump_flakes returns: beside the normal red is the share of flakes, green their mean square slope. */
struct FlakeBump {
    miVector normal;
    miColor flakes;
};

/* Of a bump shader of any kind: what tells nothing of shares is a flake all over. */
Flakes::Look flakesOfShader(miState* state, miTag shader) {
    const HitScope hit(state);
    AnyResult answer;
    if (shader == miNULLTAG || !mi_call_shader_x(answer.color(), miSHADER_TEXTURE, state, shader, nullptr))
        return {state->normal, 0, 0};
    FlakeBump told;
    std::memcpy(&told, answer.words, sizeof told);
    const miVector normal = isFinite(state->normal) ? unit(state->normal, state->normal_geom) : state->normal_geom;
    const bool tellsShares = told.flakes.a == 1;
    return {normal, tellsShares ? clamped(told.flakes.r, 0, 1) : 1, tellsShares ? clamped(told.flakes.g, 0, 1) : 0};
}

bool shade(miState* state, const MetallicPaint& p, PaintOutputs& out) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const PaintSettings paint(in, p);
    const Flakes::Look none = {state->normal, 0, 0};
    const Flakes::Look flakes = paint.hasFlakes() ? flakesOfShader(state, in(p.flake_bump)) : none;
    const LightList lights(state, p.mode, p.lights);
    out.terms = shadePaint(state, paint, flakes, lights, false).terms;
    out.terms.scale(in.within(p.global_weight, 0, 1000));
    out.result = out.terms.sum();
    return true;
}

bool metallicPaint(miColor& result, miState* state, MetallicPaint& p) {
    PaintOutputs out;
    if (!shade(state, p, out)) return false;
    result = out.result;
    return true;
}

bool metallicPaintX(PaintOutputs& out, miState* state, MetallicPaint& p) { return shade(state, p, out); }

bool bumpFlakes(FlakeBump& result, miState* state, BumpFlakes& p) {
    const Parameters in(state);
    const Flakes flakes{in.share(p.density), in.within(p.strength, 0, 100), in.within(p.scale, 0, miHUGE_SCALAR)};
    const Flakes::Look look = flakes.at(state, unit(state->normal, state->normal_geom));
    state->normal = look.normal;
    state->dot_nd = dot(state->normal, state->dir);
    result = {look.normal, {look.share, look.slope, 0, 1}};
    return true;
}

}  // namespace

MATERIALS_SHADER(mi_metallic_paint, miColor, MetallicPaint, metallicPaint)
MATERIALS_SHADER(mi_metallic_paint_x, PaintOutputs, MetallicPaint, metallicPaintX)
MATERIALS_SHADER(mi_bump_flakes, FlakeBump, BumpFlakes, bumpFlakes)

}  // namespace materials
