// Texture look-ups: images from files, or texture shaders called in the caller's state.
#include "render/shader_calls.h"
#include "render/textures.h"

#include "shader.h"

using namespace lumorender;

namespace {

bool lookup(miColor& result, miState* state, miTag tag, const miVector& coord) {
    ThreadContext& context = contextOf(state);
    if (const Texture* texture = context.scene->textures ? context.scene->textures->find(tag) : nullptr)
        return texture->lookup(result, coord.x, coord.y, true);
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
    miColor color = {0, 0, 0, 0};
    if (!lookup(color, state, texture, *coord)) return miFALSE;
    *result = color;
    return miTRUE;
}

miBoolean mi_lookup_scalar_texture(miScalar* result, miState* state, miTag texture, miVector* coord) {
    miColor color = {0, 0, 0, 0};
    if (!lookup(color, state, texture, *coord)) return miFALSE;
    *result = color.r;
    return miTRUE;
}

miBoolean mi_lookup_vector_texture(miVector* result, miState* state, miTag texture, miVector* coord) {
    miColor color = {0, 0, 0, 0};
    if (!lookup(color, state, texture, *coord)) return miFALSE;
    *result = {color.r, color.g, color.b};
    return miTRUE;
}

miBoolean mi_lookup_color_texture_x(miColor* result, miState* state, miTag texture, miVector* coord, miScalar) {
    return mi_lookup_color_texture(result, state, texture, coord);
}

miBoolean mi_lookup_scalar_texture_x(miScalar* result, miState* state, miTag texture, miVector* coord, miScalar) {
    return mi_lookup_scalar_texture(result, state, texture, coord);
}

miBoolean mi_lookup_vector_texture_x(miVector* result, miState* state, miTag texture, miVector* coord, miScalar) {
    return mi_lookup_vector_texture(result, state, texture, coord);
}

}  // extern "C"
