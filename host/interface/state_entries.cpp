// Named values that travel with the state, and frame buffers of the sample.
#include "render/context.h"
#include "render/frame_buffers.h"

#include "shader.h"

#include <cstring>

using namespace lumorender;

namespace {

/// The sample's value of a buffer and its size in bytes, or null where there is no such buffer or no sample.
SampleValue* sampleValue(const miState* state, int buffer, std::size_t& bytes) {
    ThreadContext& context = contextOf(state);
    if (!context.sampling || buffer < 0 || static_cast<std::size_t>(buffer) >= context.values.size()) return nullptr;
    bytes = static_cast<std::size_t>(context.scene->buffers->words[static_cast<std::size_t>(buffer)]) * 4;
    return &context.values[static_cast<std::size_t>(buffer)];
}

}  // namespace

extern "C" {

miBoolean mi_shaderstate_set(miState* state, const char* key, void* value, int size, int lifetime) {
    ThreadContext& context = contextOf(state);
    return context.states.set(key, value, size, lifetime, context.ray);
}

void* mi_shaderstate_get(miState* state, const char* key, int* size) {
    return contextOf(state).states.get(key, size);
}

void mi_shaderstate_enumerate(
    miState* state, miBoolean (*callback)(void* argument, char* key, void* value, int size, int lifetime),
    void* argument) {
    contextOf(state).states.enumerate([&](char* key, void* value, int size, int lifetime) {
        return callback(argument, key, value, size, lifetime) != miFALSE;
    });
}

miBoolean mi_fb_put(miState* state, int buffer, void* data) {
    std::size_t bytes = 0;
    SampleValue* value = sampleValue(state, buffer, bytes);
    if (!value || !data) return miFALSE;
    // What final gathering meets on its way is no part of the picture, whatever its shaders write.
    if (contextOf(state).gather.depth > 0) return miTRUE;
    std::memcpy(value->words, data, bytes);
    return miTRUE;
}

miBoolean mi_fb_get(miState* state, int buffer, void* data) {
    std::size_t bytes = 0;
    const SampleValue* value = sampleValue(state, buffer, bytes);
    if (!value || !data) return miFALSE;
    std::memcpy(data, value->words, bytes);
    return miTRUE;
}

}  // extern "C"
