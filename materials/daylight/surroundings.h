/* What the two skies have in common. */
#pragma once

#include "daylight/daylight.h"

namespace materials {

/* Where the ray looks, in the space where z is up. */
inline miVector lookedAt(const miState* state, bool yIsUp) {
    miVector world;
    mi_vector_to_world(state, &world, &state->dir);
    return withZUp(unit(world, {0, 0, -1}), yIsUp);
}

/* Against the direction of the light, or as given; straight up where neither says anything. */
inline miVector directionToSun(miState* state, const Parameters& in, const miTag& sun, const miVector& given,
                               bool yIsUp) {
    miVector world = {0, 0, 0};
    const miTag light = in(sun);
    if (light != miNULLTAG && mi_query(miQ_LIGHT_DIRECTION, state, light, &world)) {
        const miScalar* toWorld = nullptr;
        if (mi_query(miQ_INST_LOCAL_TO_GLOBAL, state, light, &toWorld) && toWorld)
            mi_vector_transform(&world, &world, toWorld);
        world = -world;
    } else {
        world = in(given);
    }
    return unit(withZUp(world, yIsUp), {0, 0, 1});
}

/* Rays that gather light, and lights that stand for the sky, do not find the sun: it is a light of its own. */
inline bool seesSun(const miState* state) {
    for (const miState* ray = state; ray; ray = ray->parent)
        if (ray->type == miRAY_FINALGATHER || ray->type == miRAY_LIGHT) return false;
    return true;
}

/* Share of the ground: 0 above the horizon, 1 below its blur. */
inline miScalar belowHorizon(miScalar up, const miScalar& blur) {
    const miScalar width = clamped(blur, 0, 10) / 10;
    return width > 0 ? clamped(-up / width, 0, 1) : up < 0 ? 1.0f : 0.0f;
}

inline miColor notBelow(const miColor& color, const miColor& least) {
    return {std::max(color.r, least.r), std::max(color.g, least.g), std::max(color.b, least.b), 1};
}

/* In place of the sky; nothing where there is no shader, so that a picture can be laid behind. */
inline bool backgroundSeen(miColor& result, miState* state, miTag background) {
    result = kNothing;
    return background == miNULLTAG ||
           mi_call_shader_x(&result, miSHADER_ENVIRONMENT, state, background, nullptr) != miFALSE;
}

}  // namespace materials
