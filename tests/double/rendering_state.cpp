#include "rendering_state.h"

#include <cstring>

#include <mi/functions.h>

namespace twin {

const ShaderStateStore::Entry* ShaderStateStore::find(const char* key) const {
    for (const Entry& each : entries_)
        if (each.key == key) return &each;
    return nullptr;
}

bool ShaderStateStore::set(const char* key, const void* value, int size, int lifetime) {
    if (!value || size == 0) {
        std::erase_if(entries_, [&](const Entry& each) { return each.key == key; });
        return true;
    }
    if (key == refused) return false;
    auto* entry = const_cast<Entry*>(find(key));
    if (!entry) entry = &entries_.emplace_back(Entry{key, {}, 0, 0});
    const auto bytes = static_cast<std::size_t>(size), unit = sizeof(std::max_align_t);
    if (entry->size != size) entry->value = std::vector<std::max_align_t>((bytes + unit - 1) / unit);
    entry->size = size;
    entry->lifetime = lifetime;
    std::memmove(entry->value.data(), value, bytes);
    return true;
}

void* ShaderStateStore::get(const char* key, int* size) const {
    auto* entry = const_cast<Entry*>(find(key));
    if (size) *size = entry ? entry->size : 0;
    return entry ? entry->value.data() : nullptr;
}

bool SampleBuffers::put(int buffer, const void* data) {
    const auto size = sizes.find(buffer);
    if (size != sizes.end()) std::memcpy(values_[buffer].words, data, size->second);
    return size != sizes.end();
}

bool SampleBuffers::get(int buffer, void* data) const {
    const auto size = sizes.find(buffer);
    if (size != sizes.end()) std::memcpy(data, value(buffer).words, size->second);
    return size != sizes.end();
}

}  // namespace twin

static twin::RenderingState& of(const miState* state) { return *static_cast<twin::RenderingState*>(state->ts); }

miBoolean mi_shaderstate_set(miState* state, const char* key, void* value, int size, int lifetime) {
    return of(state).entries.set(key, value, size, lifetime);
}
void* mi_shaderstate_get(miState* state, const char* key, int* size) { return of(state).entries.get(key, size); }
miBoolean mi_fb_put(miState* state, int buffer, void* data) { return of(state).buffers.put(buffer, data); }
miBoolean mi_fb_get(miState* state, int buffer, void* data) { return of(state).buffers.get(buffer, data); }
