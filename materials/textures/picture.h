/* Textures at coordinates, and coordinates of places and directions. */
#pragma once

#include "math/color.h"
#include "math/vector.h"

namespace materials {

/* Without its whole part: 0 to below 1. */
inline miScalar fraction(miScalar a) {
    const miScalar rest = a - std::floor(a);
    return rest >= 0 && rest < 1 ? rest : 0;
}

/* How many texture coordinates the surface has. */
inline int textureSpaces(miState* state) {
    int spaces = 0;
    mi_query(miQ_NUM_TEXTURES, state, miNULLTAG, &spaces);
    return state->tex_list ? spaces : 0;
}

/* A picture or texture shader at a place; nothing without one, and where it has nothing to say. */
inline miColor pictureAt(miState* state, miTag texture, miVector coord) {
    miColor color = kNothing;
    if (texture == miNULLTAG || !isFinite(coord)) return kNothing;
    return mi_lookup_color_texture(&color, state, texture, &coord) ? color : kNothing;
}

/* A place on a picture of which only 0 to below 1 exists. */
inline miColor boundedPictureAt(miState* state, miTag texture, const miVector& coord) {
    const bool isOn = coord.x >= 0 && coord.x < 1 && coord.y >= 0 && coord.y < 1;
    return isOn ? pictureAt(state, texture, coord) : kNothing;
}

/* The way around the y axis, 0 to 1: .5 is at -z, .75 at x, as somebody sees it who looks along -z from the middle. */
inline miScalar wayAround(const miVector& dir) { return .5f + std::atan2(dir.x, -dir.z) / (2 * kPi); }

/* From straight down to straight up, 0 to 1. */
inline miScalar wayUp(const miVector& dir) { return .5f + std::asin(clamped(unit(dir).y, -1, 1)) / kPi; }

/* A point as it lies in the picture: 0 to 1 from the lower left corner. */
inline miVector onScreen(const miState* state, const miVector& point) {
    miVector pixel;
    mi_point_to_raster(state, &pixel, &point);
    return {pixel.x / static_cast<miScalar>(std::max(state->camera->x_resolution, 1)),
            pixel.y / static_cast<miScalar>(std::max(state->camera->y_resolution, 1)), 0};
}

/* The sample's place in the picture, in the same measure. */
inline miVector sampleOnScreen(const miState* state) {
    return {state->raster_x / static_cast<miScalar>(std::max(state->camera->x_resolution, 1)),
            state->raster_y / static_cast<miScalar>(std::max(state->camera->y_resolution, 1)), 0};
}

}  // namespace materials
