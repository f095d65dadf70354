#include "tracing/shader_states.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace lumorender {

namespace {

bool sameText(const std::string& a, const char* b) noexcept { return std::strcmp(a.c_str(), b) == 0; }

/// The first address from there on that is a multiple of 16.
void* aligned(std::byte* memory) noexcept {
    return memory + ((16 - reinterpret_cast<std::uintptr_t>(memory) % 16) % 16);
}

}  // namespace

const ShaderStates::Value ShaderStates::kEnded;

const ShaderStates::Value* ShaderStates::search(const char* key) const noexcept {
    if (!key) return nullptr;
    // Two literals with one hash lie side by side.
    Known &first = known_[placeOf(key)], &second = known_[placeOf(key) ^ 1];
    const char*& other = others_[placeOf(key)];
    Known& known = second.literal == key ? second : first;
    if (known.literal == key && rayEntries_ == 0 && known.value->data) return known.value;

    const auto found = std::find_if(entries_.rbegin(), entries_.rend(), [key](const Entry& entry) {
        return entry.value->data && sameText(entry.key, key);
    });
    if (found == entries_.rend()) return nullptr;
    if (known.literal == key) {
        known.value = found->value;
    } else if (other != key) {
        Known* const place = !first.literal ? &first : !second.literal ? &second : nullptr;
        if (place && literals_->hold(key))
            *place = {key, found->value};
        else
            other = key;
    }
    return found->value;
}

void* ShaderStates::searchValue(const char* key, int* size) const noexcept {
    const Value* value = search(key);
    if (!value) return nullptr;
    if (size) *size = value->size;
    return value->data;
}

bool ShaderStates::set(const char* key, const void* value, int size, int lifetime, int ray) {
    if (!key || size < 0 || lifetime < miSS_LIFETIME_RAY || lifetime > miSS_LIFETIME_RECT) return false;
    const Value* known = find(key);
    Entry* entry = known ? known->entry : nullptr;
    if (!value || size == 0) {
        if (entry) remove(*entry);
        return true;
    }

    // A sub-ray's entry hides one that lives longer or belongs to another ray; otherwise the entry itself changes.
    const bool hides = entry && lifetime == miSS_LIFETIME_RAY && (entry->lifetime != lifetime || entry->ray != ray);
    if (!entry || hides) entry = &slotFor(key);
    void*& data = entry->value->data;
    if (data) count(*entry, -1);
    data = aligned(entry->memory.get());
    if (entry->capacity < size) {
        auto memory = std::make_unique<std::byte[]>(static_cast<std::size_t>(size) + 15);
        data = aligned(memory.get());
        entry->capacity = size;
        // The old value may be the source of the new one, so its memory goes only after the copy.
        std::memmove(data, value, static_cast<std::size_t>(size));
        entry->memory = std::move(memory);
    } else {
        std::memmove(data, value, static_cast<std::size_t>(size));
    }
    entry->value->size = size;
    entry->lifetime = lifetime;
    entry->ray = ray;
    count(*entry, 1);
    return true;
}

// An ended entry of the same name is used again with its memory, but only if nothing newer would be hidden wrongly:
// a new sub-ray entry has to come after the one that it hides.
ShaderStates::Entry& ShaderStates::slotFor(const char* key) {
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
        if (entry->key != key) continue;
        if (!entry->value->data) return *entry;
        break;
    }
    Entry& entry = entries_.emplace_back();
    entry.key = key;
    entry.value = &values_.emplace_back();
    entry.value->entry = &entry;
    return entry;
}

void ShaderStates::remove(Entry& entry) {
    count(entry, -1);
    entry.value->data = nullptr;
}

void ShaderStates::endEntries(int lifetime, int ray) {
    for (Entry& entry : entries_)
        if (entry.value->data && entry.lifetime == lifetime && entry.ray >= ray) remove(entry);
}

void ShaderStates::count(const Entry& entry, int step) {
    if (entry.lifetime == miSS_LIFETIME_RAY) rayEntries_ += step;
    if (entry.lifetime == miSS_LIFETIME_EYERAY) eyeEntries_ += step;
}

}  // namespace lumorender
