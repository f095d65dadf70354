#include "architectural/mia_light.h"

#include "rays/hit_scope.h"
#include "rays/ray_points.h"
#include "rays/reach.h"

namespace materials {

namespace {

miColor gathered(const MiaCall& call, miUchar side) {
    const auto& [state, p, x, in] = call;
    const miScalar quality = in.within(p.fg_quality, 0, 1000) * in.within(p.fg_quality_w, 0, 1000);
    miColor color = kBlack;
    miIrrad_options options;
    const bool asUsual = quality == 1;
    if (!asUsual) {
        miIRRAD_DEFAULT(&options, state);
        const auto rays = static_cast<miScalar>(options.finalgather_rays) * quality;
        options.finalgather_rays = static_cast<int>(clamped(rays, 1, 1e6f));
    }
    return mi_compute_avg_radiance(&color, state, side, asUsual ? nullptr : &options) ? color : kBlack;
}

struct Occlusion {
    miColor openness = kWhite;
    miColor bleeding = kBlack; /* light of what occludes, where rays looked at it */
    bool isColored = false;
};

/* Rays that bring the colors of what they meet. */
Occlusion coloredOcclusion(const MiaCall& call, int rays, const Reach& reach) {
    miState* const state = call.state;
    Occlusion result;
    result.isColored = true;
    miScalar open = 0;
    int taken = 0;
    result.bleeding = meanOverPoints(state, rays, [&](const double* point) {
        const HitScope hit(state);
        double pair[2] = {point[0], point[1]};
        miVector dir;
        mi_reflection_dir_diffuse_x(&dir, state, pair);
        ++taken;
        const bool met = mi_trace_probe(state, &dir, &state->point) && state->child;
        const miScalar near = !met ? 0 : reach.isLimited() ? reach.share(state->child->dist) : 1;
        open += 1 - near;
        miColor color = kBlack;
        if (near > 0) mi_trace_reflection(&color, state, &dir);
        return color * near;
    });
    result.openness = gray(taken > 0 ? open / static_cast<miScalar>(taken) : 1);
    return result;
}

Occlusion occlusion(const MiaCall& call) {
    constexpr int kWithColors = 2;
    const auto& [state, p, x, in] = call;
    const int rays = in.count(p.ao_samples, 1, kMostRays);
    const Reach reach{in.within(p.ao_distance, 0, miHUGE_SCALAR), false, kBlack};
    const bool first = state->reflection_level + state->refraction_level == 0 && state->type != miRAY_FINALGATHER;
    if (in(p.ao_do_details) == kWithColors && first) return coloredOcclusion(call, rays, reach);

    miAmboccl_options options;
    miAMBOCCL_DEFAULT(&options, state);
    options.rays = rays;
    options.mindist = 0;
    options.maxdist = reach.distance;
    options.falloff = 1;
    return {gray(1 - clamped(mi_ambient_occlusion(state, &options, nullptr), 0, 1)), kBlack, false};
}

}  // namespace

MiaIndirect indirectLight(const MiaCall& call, const MiaSurface& surface, const MiaLevels& levels) {
    const auto& [state, p, x, in] = call;
    MiaIndirect light;
    const bool emulates = in.isOn(p.refl_hl_only) && !isBlack(levels.reflection + levels.baseReflection);
    const bool isLit = !isBlack(levels.diffuse) || emulates;
    const bool isTranslucent = !isBlack(levels.translucency);
    if (!isLit && !isTranslucent) return light;

    const HitScope hit(state);
    state->normal = surface.diffuse;
    const miScalar factor = in.within(p.indirect_multiplier, 0, miHUGE_SCALAR);
    if (isTranslucent) light.back = gathered(call, 'b') * factor;
    if (!isLit) return light;
    light.raw = gathered(call, 'f');
    light.occluded = light.raw * factor;
    if (!in.isOn(p.ao_on)) return light;

    const Occlusion near = occlusion(call);
    light.openness = near.openness;
    /* Without details gathering is trusted with all shadows, and only the ambient light needs some. */
    if (in(p.ao_do_details) > 0) {
        const miColor dark = near.isColored ? kBlack : in.reflectance(p.ao_dark);
        light.occluded = light.occluded * (dark + (kWhite - dark) * near.openness) + near.bleeding;
    }
    light.occluded += in.color(p.ao_ambient) * near.openness;
    return light;
}

}  // namespace materials
