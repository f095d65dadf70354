/* What light shaders have in common. */
#pragma once

#include "math/vector.h"
#include "module/export.h"
#include "module/parameters.h"

namespace materials {

/* The first parameters of the lamps. */
struct LampColor {
    miColor color;
    miBoolean shadow;
    miScalar factor;
};

/* Are rays of light asked for? A visible light is seen as its color, without shadow and decay. */
inline bool shinesOn(const miState* state) { return state->type == miRAY_LIGHT; }

/* Light on its way, through what casts shadows. factor: 0 is a full shadow, 1 none. False where nothing arrives. */
inline bool arrives(miColor& result, miState* state, const miColor& light, miScalar factor) {
    result = light;
    if (isBlack(light)) return false;
    if (factor == 1) return true;
    miColor filtered = light;
    if (!mi_trace_shadow(&filtered, state)) filtered = kBlack;
    result = mix(filtered, light, factor);
    return !isBlack(result);
}

/* The same by the lamp's parameters, which must be those of the running shader. */
inline bool arrives(miColor& result, miState* state, const Parameters& in, const LampColor& lamp,
                    const miColor& light) {
    return arrives(result, state, light, in.isOn(lamp.shadow) ? in.share(lamp.factor) : 1);
}

/* Cosine of the ray with the light's own direction; 1 for lights without one. */
inline miScalar cosineToAxis(miState* state) {
    miVector axis = {0, 0, 0}, ray;
    if (!mi_query(miQ_LIGHT_DIRECTION, state, state->light_instance, &axis)) return 1;
    mi_vector_to_light(state, &ray, &state->dir);
    return dot(unit(axis), unit(ray));
}

/* 1 within the inner cone, falling to 0 at the light's spread, which is the outer one; both are cosines. */
inline miScalar spotShare(miState* state, miScalar cone) {
    miScalar spread = 0;
    mi_query(miQ_LIGHT_SPREAD, state, state->light_instance, &spread);
    const miScalar cosine = cosineToAxis(state);
    if (!(cosine > spread)) return 0;
    return cosine < cone ? (cosine - spread) / (cone - spread) : 1;
}

}  // namespace materials
