/* mib_amb_occlusion: how open a surface is, by rays of its own; which objects count can be chosen. */
#include "module/export.h"
#include "module/parameters.h"
#include "rays/hit_scope.h"
#include "rays/ray_points.h"
#include "rays/reflections.h"

namespace materials {

namespace {

struct AmbOcclusion {
    miInteger samples;
    miColor bright, dark;
    miScalar spread, max_distance;
    miBoolean reflective;
    miInteger output_mode;
    miBoolean occlusion_in_alpha;
    miScalar falloff;
    miInteger id_includeexclude, id_nonself;
};

enum Output { kPlain, kEnvironment, kBentInWorld, kBentInCamera, kBentInObject };

int labelOf(miState* state, miTag instance) {
    int label = 0;
    mi_query(miQ_INST_LABEL, state, instance, &label);
    return label;
}

/* Which objects hide the sky: those with a label, all but these, and none of a group from its own members. */
struct Occluders {
    int wanted, nonself, own;
    miScalar reach; /* 0: any distance */

    bool counts(miState* state, miTag instance) const {
        if (wanted == 0 && nonself == 0) return true;
        const int label = labelOf(state, instance);
        if (nonself != 0 && own == nonself && label == nonself) return false;
        return wanted > 0 ? label == wanted : wanted == 0 || label != -wanted;
    }

    /* Distance of the first that counts; 0 for none. */
    double hitAlong(miState* state, const miVector& dir) const {
        constexpr int kMostPassed = 16;
        const miVector start = state->point;
        miVector from = start;
        double way = 0;
        for (int passed = 0; passed < kMostPassed; ++passed) {
            if (!mi_trace_probe(state, &dir, &from) || !state->child) return 0;
            way += state->child->dist;
            if (reach > 0 && way >= static_cast<double>(reach)) return 0;
            if (counts(state, state->child->instance)) return way;
            from = state->child->point;
        }
        return 0;
    }
};

/* What the rays found: the share of open sky, its light, and where it lies. */
struct Sky {
    miScalar open = 0;
    miColor light = kBlack;
    miVector direction = {0, 0, 0};
};

/* A direction around the axis, more of them near to it by the cosine. */
miVector inCone(const Frame& around, miScalar sine, const double point[2]) {
    const miScalar radius = sine * static_cast<miScalar>(std::sqrt(point[0]));
    const miScalar angle = 2 * kPi * static_cast<miScalar>(point[1]);
    const miScalar height = std::sqrt(std::max(0.0f, 1 - radius * radius));
    return around.toWorld({radius * std::cos(angle), radius * std::sin(angle), height});
}

Sky lookAround(miState* state, const Parameters& in, const AmbOcclusion& p, bool wantsLight) {
    const HitScope hit(state);
    const miVector normal = unit(state->normal, state->normal_geom);
    const bool mirrors = in.isOn(p.reflective);
    const Frame around = frameAround(mirrors ? aboveSurface(state, mirrored(state->dir, normal)) : normal);
    const miScalar sine = std::sin(in.share(p.spread) * kPi / 2), falloff = in.within(p.falloff, 0, 100);
    const Occluders occluders = {in(p.id_includeexclude), in(p.id_nonself), labelOf(state, state->instance),
                                 in.within(p.max_distance, 0, miHUGE_SCALAR)};
    const int given = in(p.samples);
    Sky sky;
    int rays = 0;
    meanOverPoints(state, raysAtLevel(state, given > 0 ? given : 16), [&](const double* point) {
        const miVector dir = aboveSurface(state, inCone(around, sine, point));
        const double way = occluders.hitAlong(state, dir);
        const miScalar near = occluders.reach > 0 ? 1 - static_cast<miScalar>(way) / occluders.reach : 1;
        const miScalar open = way > 0 ? 1 - std::pow(clamped(near, 0, 1), falloff) : 1;
        ++rays;
        sky.open += open;
        sky.direction = sky.direction + dir * open;
        miColor light = kBlack;
        if (wantsLight && open > 0 && mi_trace_environment(&light, state, &dir)) sky.light += finite(light) * open;
        return kBlack;
    });
    const miScalar each = 1 / static_cast<miScalar>(std::max(rays, 1));
    sky.open *= each;
    sky.light = sky.light * each;
    sky.direction = unit(sky.direction, around.n);
    return sky;
}

/* A direction as a color, from 0 to 1. */
miColor shown(const miState* state, const miVector& direction, int output) {
    miVector seen = direction;
    if (output == kBentInCamera)
        mi_vector_to_camera(state, &seen, &direction);
    else if (output == kBentInObject)
        mi_vector_to_object(state, &seen, &direction);
    else
        mi_vector_to_world(state, &seen, &direction);
    seen = unit(seen);
    return {.5f + seen.x / 2, .5f + seen.y / 2, .5f + seen.z / 2, 1};
}

bool ambOcclusion(miColor& result, miState* state, AmbOcclusion& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const int output = in(p.output_mode);
    const Sky sky = lookAround(state, in, p, output == kEnvironment);
    if (output >= kBentInWorld) {
        result = shown(state, sky.direction, output);
    } else {
        const miColor bright = in.color(p.bright), dark = in.color(p.dark);
        const miColor light = output == kEnvironment ? sky.light : gray(sky.open);
        result = bright * light + dark * (1 - sky.open);
        result.a = mix(dark.a, bright.a, sky.open);
    }
    if (in.isOn(p.occlusion_in_alpha)) result.a = sky.open;
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_amb_occlusion, miColor, AmbOcclusion, ambOcclusion)

}  // namespace materials
