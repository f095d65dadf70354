#include "rendering_state.h"

#include <algorithm>
#include <cstring>

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

const ShaderStateStore::Entry* ShaderStateStore::find(const char* key) const {
    for (const Entry& each : entries_)
        if (each.key == key) return &each;
    return nullptr;
}

bool ShaderStateStore::set(const char* key, const void* value, int size, int lifetime) {
    auto* entry = const_cast<Entry*>(find(key));
    if (!value || size == 0) {
        std::erase_if(entries_, [&](const Entry& each) { return each.key == key; });
        return true;
    }
    if (key == refused) return false;
    const auto bytes = static_cast<std::size_t>(size);
    if (!entry) entry = &entries_.emplace_back(Entry{key, nullptr, 0, 0});
    if (entry->size != size) entry->value.reset(::operator new(bytes, std::align_val_t{16}));
    entry->size = size;
    entry->lifetime = lifetime;
    std::memmove(entry->value.get(), value, bytes);
    return true;
}

void* ShaderStateStore::get(const char* key, int* size) const {
    const Entry* entry = find(key);
    if (size) *size = entry ? entry->size : 0;
    return entry ? entry->value.get() : nullptr;
}

int ShaderStateStore::lifetime(const char* key) const {
    const Entry* entry = find(key);
    return entry ? entry->lifetime : -1;
}

void ShaderStateStore::endSample() {
    std::erase_if(entries_, [](const Entry& each) { return each.lifetime < miSS_LIFETIME_RECT; });
}

bool SampleBuffers::put(int buffer, const void* data) {
    const auto size = sizes.find(buffer);
    if (size == sizes.end()) return false;
    std::memcpy(values_[buffer].words, data, size->second);
    return true;
}

bool SampleBuffers::get(int buffer, void* data) const {
    const auto size = sizes.find(buffer);
    if (size == sizes.end()) return false;
    const Value known = value(buffer);
    std::memcpy(data, known.words, size->second);
    return true;
}

SampleBuffers::Value SampleBuffers::value(int buffer) const {
    const auto found = values_.find(buffer);
    return found == values_.end() ? Value{} : found->second;
}

}  // namespace twin

namespace {

twin::RenderingState& renderingState(const miState* state) { return *static_cast<twin::RenderingState*>(state->ts); }

}  // namespace

miBoolean mi_shaderstate_set(miState* state, const char* key, void* value, int size, int lifetime) {
    return renderingState(state).entries.set(key, value, size, lifetime);
}

void* mi_shaderstate_get(miState* state, const char* key, int* size) {
    return renderingState(state).entries.get(key, size);
}

miBoolean mi_fb_put(miState* state, int buffer, void* data) { return renderingState(state).buffers.put(buffer, data); }

miBoolean mi_fb_get(miState* state, int buffer, void* data) { return renderingState(state).buffers.get(buffer, data); }
