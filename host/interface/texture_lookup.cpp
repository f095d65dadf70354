// Texture look-ups: images from files, or texture shaders called in the caller's state.
#include "tracing/pixel_footprint.h"
#include "tracing/shader_calls.h"
#include "tracing/textures.h"

#include "shader.h"

using namespace lumorender;

namespace {

/// Over `scale` pixels, or at a point where it is 0 or nothing tells how large a pixel is.
bool lookupImage(miColor& result, const miState* state, const Texture& texture, const miVector& coord, float scale) {
    Footprint pixel;
    if (!(scale > 0) || !pixelFootprint(pixel, state)) return texture.lookup(result, coord.x, coord.y, true);
    const Footprint covered = limitedFootprint(pixel, texture.width(), texture.height(), 0, scale);
    return texture.lookup(result, coord.x, coord.y, covered);
}

/// @param filter pixels to cover, instead of what the scene says about the texture; 0 = as it says
bool lookup(miColor& result, miState* state, miTag tag, const miVector& coord, float filter) {
    ThreadContext& context = contextOf(state);
    const TextureTable* textures = context.scene->textures.get();
    if (const Texture* texture = textures ? textures->find(tag) : nullptr)
        return lookupImage(result, state, *texture, coord, filter > 0 ? filter : textures->filterScale(tag));
    const int type = context.scene->database->type(tag);
    if (type != miSCENE_FUNCTION && type != miSCENE_FLIST) return false;

    // A texture shader finds the look-up point in state->tex.
    const miVector before = state->tex;
    state->tex = coord;
    const bool ok = callShader(context, state, tag, miSHADER_TEXTURE, &result, nullptr, true);
    state->tex = before;
    return ok;
}

}  // namespace

extern "C" {

miBoolean mi_lookup_color_texture(miColor* result, miState* state, miTag texture, miVector* coord) {
    return mi_lookup_color_texture_x(result, state, texture, coord, 0);
}

miBoolean mi_lookup_scalar_texture(miScalar* result, miState* state, miTag texture, miVector* coord) {
    return mi_lookup_scalar_texture_x(result, state, texture, coord, 0);
}

miBoolean mi_lookup_vector_texture(miVector* result, miState* state, miTag texture, miVector* coord) {
    return mi_lookup_vector_texture_x(result, state, texture, coord, 0);
}

miBoolean mi_lookup_color_texture_x(miColor* result, miState* state, miTag texture, miVector* coord, miScalar filter) {
    miColor color = {0, 0, 0, 0};
    if (!lookup(color, state, texture, *coord, filter)) return miFALSE;
    *result = color;
    return miTRUE;
}

miBoolean mi_lookup_scalar_texture_x(miScalar* result, miState* state, miTag texture, miVector* coord,
                                     miScalar filter) {
    miColor color = {0, 0, 0, 0};
    if (!lookup(color, state, texture, *coord, filter)) return miFALSE;
    *result = color.r;
    return miTRUE;
}

miBoolean mi_lookup_vector_texture_x(miVector* result, miState* state, miTag texture, miVector* coord,
                                     miScalar filter) {
    miColor color = {0, 0, 0, 0};
    if (!lookup(color, state, texture, *coord, filter)) return miFALSE;
    *result = {color.r, color.g, color.b};
    return miTRUE;
}

}  // extern "C"
