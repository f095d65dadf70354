// Named values that travel with the state, and frame buffers of the sample.
#include "tracing/context.h"
#include "render/frame_buffers.h"

#include "lumorender.h"
#include "shader.h"

#include <cstring>

using namespace lumorender;

namespace {

/// Where the sample's value of a buffer is, and how many words it has: none where there is no such buffer, or no sample.
struct PlaceOfValue {
    PlaceOfValue(ThreadContext& context, int buffer) {
        // What is negative is beyond all numbers here.
        const auto number = static_cast<std::size_t>(buffer);
        if (number >= context.openValues) return;
        value = &context.values[number];
        words = context.valueWords[number];
    }

    SampleValue* value = nullptr;
    int words = 0;
};

/// Moves a buffer's record: a color, a vector, or one word. Copies of a known size are a few instructions each. False
/// where numbers of buffers leave this one out.
miBoolean copyRecord(int words, void* to, const void* from) {
    if (words == 4) [[likely]] {
        std::memcpy(to, from, 16);
        return miTRUE;
    }
    switch (words) {
        case 3: std::memcpy(to, from, 12); return miTRUE;
        case 1: std::memcpy(to, from, 4); return miTRUE;
        default: return miFALSE;
    }
}

}  // namespace

extern "C" {

miBoolean mi_shaderstate_set(miState* state, const char* key, void* value, int size, int lifetime) {
    ThreadContext& context = contextOf(state);
    return context.states.set(key, value, size, lifetime, context.ray);
}

void* mi_shaderstate_get(miState* state, const char* key, int* size) { return contextOf(state).states.get(key, size); }

void mi_shaderstate_enumerate(miState* state,
                              miBoolean (*callback)(void* argument, char* key, void* value, int size, int lifetime),
                              void* argument) {
    contextOf(state).states.enumerate([&](char* key, void* value, int size, int lifetime) {
        return callback(argument, key, value, size, lifetime) != miFALSE;
    });
}

miBoolean mi_fb_put(miState* state, int buffer, void* data) {
    ThreadContext& context = contextOf(state);
    const PlaceOfValue place(context, buffer);
    if (!place.value || !data) return miFALSE;
    // What final gathering meets on its way is no part of the picture, whatever its shaders write.
    if (context.gather.depth > 0) return miTRUE;
    return copyRecord(place.words, place.value->words, data);
}

miBoolean mi_fb_get(miState* state, int buffer, void* data) {
    const PlaceOfValue place(contextOf(state), buffer);
    if (!place.value || !data) return miFALSE;
    return copyRecord(place.words, data, place.value->words);
}

void lumorender_sample_values(miState* state, LumorenderSampleValues* values) {
    ThreadContext& context = contextOf(state);
    static_assert(sizeof(SampleValue) == sizeof(miColor) && sizeof(int) == sizeof(miInteger));
    const bool open = context.gather.depth == 0;
    *values = {reinterpret_cast<miColor*>(context.values.data()), context.valueWords,
               open ? static_cast<miUint>(context.openValues) : 0};
}

}  // extern "C"
