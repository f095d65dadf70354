/* mia_portal_light: a rectangle in a window that sends in what the surroundings do, without the noise of gathering it. */
#include "lamps/lamp.h"
#include "rays/hit_scope.h"

namespace materials {

namespace {

struct PortalLight {
    miBoolean on;
    miScalar multiplier;
    miColor tint_color;
    miBoolean reverse;
    miScalar cutoff_threshold, shadow_ray_extension;
    miBoolean emit_direct_photons, use_custom_environment;
    miTag custom_environment;
    miBoolean visible, lookup_using_fg_rays;
    miColor transparency;
};

/* Of the rectangle or disc, in internal space. */
miScalar areaOf(miState* state) {
    const miTag light = state->light_instance;
    miVector u = {0, 0, 0}, v = {0, 0, 0};
    miScalar radius = 0, *toWorld = nullptr;
    int shape = miLIGHT_NONE;
    mi_query(miQ_LIGHT_AREA, state, light, &shape);
    if (shape == miLIGHT_DISC && mi_query(miQ_LIGHT_AREA_D_RADIUS, state, light, &radius)) {
        miVector normal = {0, 0, 1};
        mi_query(miQ_LIGHT_AREA_D_NORMAL, state, light, &normal);
        const Frame frame = frameAround(unit(normal, {0, 0, 1}));
        u = frame.u * (radius * std::sqrt(kPi));
        v = frame.v * (radius * std::sqrt(kPi));
    } else if (shape != miLIGHT_RECTANGLE || !mi_query(miQ_LIGHT_AREA_R_EDGE_U, state, light, &u) ||
               !mi_query(miQ_LIGHT_AREA_R_EDGE_V, state, light, &v)) {
        return 0;
    }
    if (mi_query(miQ_INST_LOCAL_TO_GLOBAL, state, light, &toWorld) && toWorld) {
        mi_vector_transform(&u, &u, toWorld);
        mi_vector_transform(&v, &v, toWorld);
    }
    return length(cross(u, v));
}

/* What comes through from outside, against `dir`, which leads out. */
miColor fromOutside(miState* state, const Parameters& in, const PortalLight& p, const miVector& dir) {
    const HitScope hit(state);
    const miTag volume = state->volume, own = in.isOn(p.use_custom_environment) ? in(p.custom_environment) : miNULLTAG;
    if (own != miNULLTAG) state->environment = own;
    miColor color = kBlack;
    if (in.isOn(p.lookup_using_fg_rays) && shinesOn(state)) {
        state->point = state->org;
        state->pri = nullptr;
        if (!mi_trace_refraction(&color, state, &dir)) mi_trace_environment(&color, state, &dir);
    } else {
        state->volume = miNULLTAG;
        if (!mi_trace_environment(&color, state, &dir)) color = kBlack;
    }
    state->volume = volume;
    return finite(color) * in.reflectance(p.tint_color) * in.within(p.multiplier, 0, miHUGE_SCALAR);
}

/* Does the portal light the side that the ray comes from? */
bool shinesTowards(miState* state, const Parameters& in, const PortalLight& p, const miVector& ray) {
    miVector normal = {0, 0, 0};
    if (!in.isOn(p.on) || !mi_query(miQ_LIGHT_NORMAL, state, state->light_instance, &normal)) return false;
    return (in.isOn(p.reverse) ? 1.0f : -1.0f) * dot(normal, ray) > 0;
}

/* Met by a ray. Gathering leaves out what the portal sends in, and nothing else. */
bool seenPortal(miColor& result, miState* state, const Parameters& in, const PortalLight& p) {
    result = kBlack;
    if (state->type == miRAY_FINALGATHER)
        return shinesTowards(state, in, p, state->dir) || mi_trace_continue(&result, state);
    if (in.isOn(p.visible)) {
        result = fromOutside(state, in, p, state->dir);
        return true;
    }
    if (!mi_trace_transparent(&result, state)) mi_trace_environment(&result, state, &state->dir);
    const miScalar alpha = result.a;
    result = result * in.reflectance(p.transparency);
    result.a = alpha;
    return true;
}

bool portalLight(miColor& result, miState* state, PortalLight& p) {
    const Parameters in(state);
    if (!shinesOn(state)) return seenPortal(result, state, in, p);
    result = kBlack;
    miVector normal = {0, 0, 0};
    if (!in.isOn(p.on) || !mi_query(miQ_LIGHT_NORMAL, state, state->light_instance, &normal)) return false;
    const miVector dir = state->dir;
    const miScalar side = in.isOn(p.reverse) ? -1.0f : 1.0f, cosine = side * dot(unit(normal), dir);
    if (!(cosine > 0)) return false;
    const auto way = std::max(static_cast<miScalar>(state->dist), 1e-6f);
    const miColor light = finite(fromOutside(state, in, p, -dir) * (areaOf(state) * cosine / (kPi * way * way)));
    if (largest(light) <= in.within(p.cutoff_threshold, 0, miHUGE_SCALAR)) return false;

    /* The shadow ray begins before or behind the portal. */
    const miScalar longer = std::max(finite(in(p.shadow_ray_extension)), -way * .999f);
    const miVector org = state->org;
    const double dist = state->dist;
    state->org = org - dir * longer;
    state->dist = dist + static_cast<double>(longer);
    const bool isLit = arrives(result, state, light, 0);
    state->org = org;
    state->dist = dist;
    return isLit;
}

}  // namespace

MATERIALS_SHADER(mia_portal_light, miColor, PortalLight, portalLight)

}  // namespace materials
