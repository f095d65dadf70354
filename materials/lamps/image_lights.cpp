/* user_ibl_env, user_ibl_rect: pictures as lights. */
#include "lamps/image_map.h"
#include "lamps/lamp.h"
#include "module/object.h"

namespace materials {

namespace {

enum ShadowMode { kNoShadow, kOpaque, kTransparent };

/* What light things leave of it on its way. */
bool lightArrives(miColor& result, miState* state, const miColor& light, int mode) {
    if (!arrives(result, state, light, mode == kNoShadow ? 1 : 0)) return false;
    const bool isFiltered = result.r != light.r || result.g != light.g || result.b != light.b;
    if (mode == kOpaque && isFiltered) result = kBlack;
    return !isBlack(result);
}

struct ImageEnvironment {
    miTag texture;
    miInteger samples;
    miColor color;
    miScalar intensity;
    miInteger shadow_mode;
    miScalar rotate;
    miBoolean as_reflection, primary;
};

struct ImageEnvironmentMap : ImageMap {
    ImageEnvironmentMap(miState* state, const ImageEnvironment& p) : ImageMap(state, Parameters(state)(p.texture)) {}
};

/* As surroundings: seen by eyes, in mirrors, and by rays that gather light if they are not a lamp as well. */
bool seenAround(miColor& result, miState* state, const Parameters& in, const ImageEnvironment& p) {
    result = kNothing;
    bool isReflection = false;
    for (const miState* ray = state; ray; ray = ray->parent)
        isReflection =
            isReflection || ray->type == miRAY_REFLECT || ray->type == miRAY_REFRACT || ray->type == miRAY_ENVIRONMENT;
    if (!(isReflection ? in.isOn(p.as_reflection) : in.isOn(p.primary)) || state->type == miRAY_FINALGATHER)
        return true;
    miVector dir;
    mi_vector_to_world(state, &dir, &state->dir);
    result = imageSeen(state, in(p.texture), unit(dir, {0, 0, -1}), finite(in(p.rotate))) * in.reflectance(p.color) *
             in.within(p.intensity, 0, miHUGE_SCALAR);
    return true;
}

/* Light from a direction of its own choice, as the shape `user` allows. */
bool imageEnvironment(miColor& result, miState* state, ImageEnvironment& p) {
    const Parameters in(state);
    if (!shinesOn(state)) return seenAround(result, state, in, p);
    result = kBlack;
    const auto* map = objectOf<ImageEnvironmentMap>(state);
    miVector2d place = {.5f, .5f};
    if (!map) return false;
    mi_query(miQ_LIGHT_SAMPLE_COORD, state, miNULLTAG, &place);
    const miScalar rotate = finite(in(p.rotate));
    const SampledDirection sample = map->pick(place.u, place.v, rotate);
    miVector dir;
    mi_vector_from_world(state, &dir, &sample.dir);
    state->dir = -unit(dir);
    state->dist = 0;
    state->org = state->point - state->dir;
    if (state->parent) state->dot_nd = -dot(state->parent->normal, state->dir);
    const miColor light = imageSeen(state, in(p.texture), sample.dir, rotate) * in.reflectance(p.color) *
                          (in.within(p.intensity, 0, miHUGE_SCALAR) / (kPi * sample.density));
    const bool isBelow = state->parent && state->parent->pri && state->dot_nd <= 0;
    return !isBelow && lightArrives(result, state, finite(light), in(p.shadow_mode));
}

struct ImageRectangle {
    miTag texture;
    miInteger samples;
    miColor color;
    miScalar intensity;
    miInteger shadow_mode;
    miScalar cone, falloff, angular_falloff;
};

/* Where a point of the rectangle lies on its picture. */
miVector onRectangle(miState* state, const miVector& point) {
    const miTag light = state->light_instance;
    miVector local, origin = {0, 0, 0}, u = {1, 0, 0}, v = {0, 1, 0};
    mi_point_to_light(state, &local, &point);
    mi_query(miQ_LIGHT_ORIGIN, state, light, &origin);
    mi_query(miQ_LIGHT_AREA_R_EDGE_U, state, light, &u);
    mi_query(miQ_LIGHT_AREA_R_EDGE_V, state, light, &v);
    const miVector from = local - origin;
    const auto along = [&](const miVector& edge) {
        return clamped(.5f + dot(from, edge) / std::max(dot(edge, edge), 1e-30f), 0, .999999f);
    };
    return {along(u), along(v), 0};
}

bool imageRectangle(miColor& result, miState* state, ImageRectangle& p) {
    const Parameters in(state);
    const bool shines = shinesOn(state);
    const miTag texture = in(p.texture);
    const miColor picture = texture == miNULLTAG
                                ? kWhite
                                : pictureAt(state, texture, onRectangle(state, shines ? state->org : state->point));
    result = finite(picture * in.reflectance(p.color) * in.within(p.intensity, 0, miHUGE_SCALAR));
    if (!shines) return true;
    miVector normal = {0, 0, 0};
    if (!mi_query(miQ_LIGHT_NORMAL, state, state->light_instance, &normal)) return false;
    const miScalar cosine = dot(unit(normal), state->dir), cone = in.within(p.cone, 0, 90) * kPi / 180;
    if (!(cosine > std::max(std::cos(cone), 0.0f))) return false;
    const auto way = std::max(static_cast<miScalar>(state->dist), 1e-6f);
    const miScalar share =
        std::pow(cosine, in.within(p.angular_falloff, 0, 1000)) * std::pow(way, -in.within(p.falloff, 0, 16));
    return lightArrives(result, state, finite(result * share), in(p.shadow_mode));
}

}  // namespace

MATERIALS_SHADER(user_ibl_env, miColor, ImageEnvironment, imageEnvironment)
MATERIALS_OBJECT(user_ibl_env, ImageEnvironment, ImageEnvironmentMap)
MATERIALS_SHADER(user_ibl_rect, miColor, ImageRectangle, imageRectangle)

}  // namespace materials
