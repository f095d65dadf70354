#include "tracing/shader_states.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace lumorender {

namespace {

bool sameText(const std::string& a, const char* b) noexcept { return std::strcmp(a.c_str(), b) == 0; }

/// Literals lie close together and aligned: multiplying spreads them over the high bits.
std::size_t hashOf(const char* key, std::size_t bits) noexcept {
    return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(key) * 0x9e3779b97f4a7c15u) >> (64 - bits));
}

}  // namespace

// Shaders pass the same literals again and again, each module its own, so a literal's address finds its entry; other
// texts may have changed where they are. Hidden entries need the search from the newest.
const ShaderStates::Entry* ShaderStates::find(const char* key) const noexcept {
    const Known& known = known_[hashOf(key, kKnownBits)];
    if (known.key == key && rayEntries_ == 0 && known.entry->live &&
        (known.isLiteral || sameText(known.entry->key, key)))
        return known.entry;
    return search(key);
}

const ShaderStates::Entry* ShaderStates::search(const char* key) const noexcept {
    const auto found = std::find_if(entries_.rbegin(), entries_.rend(),
                                    [key](const Entry& entry) { return entry.live && sameText(entry.key, key); });
    if (found == entries_.rend()) return nullptr;
    // Of two literals with one hash the first stays, so that they do not take turns.
    Known& known = known_[hashOf(key, kKnownBits)];
    if (known.key == key || !known.isLiteral) known = {key, &*found, literals_->hold(key)};
    return &*found;
}

ShaderStates::Entry* ShaderStates::find(const char* key) noexcept {
    return const_cast<Entry*>(static_cast<const ShaderStates&>(*this).find(key));
}

void* ShaderStates::get(const char* key, int* size) const noexcept {
    const Entry* entry = key ? find(key) : nullptr;
    if (!entry) return nullptr;
    if (size) *size = entry->size;
    return entry->value;
}

bool ShaderStates::set(const char* key, const void* value, int size, int lifetime, int ray) {
    if (!key || size < 0 || lifetime < miSS_LIFETIME_RAY || lifetime > miSS_LIFETIME_RECT) return false;
    Entry* entry = find(key);
    if (!value || size == 0) {
        if (entry) remove(*entry);
        return true;
    }

    // A sub-ray's entry hides one that lives longer or belongs to another ray; otherwise the entry itself changes.
    const bool hides = entry && lifetime == miSS_LIFETIME_RAY && (entry->lifetime != lifetime || entry->ray != ray);
    if (!entry || hides) entry = &slotFor(key);
    if (entry->live) count(*entry, -1);
    if (entry->capacity < size) {
        auto memory = std::make_unique<std::byte[]>(static_cast<std::size_t>(size) + 15);
        const auto address = reinterpret_cast<std::uintptr_t>(memory.get());
        entry->value = memory.get() + ((16 - address % 16) % 16);
        entry->capacity = size;
        // The old value may be the source of the new one, so its memory goes only after the copy.
        std::memmove(entry->value, value, static_cast<std::size_t>(size));
        entry->memory = std::move(memory);
    } else {
        std::memmove(entry->value, value, static_cast<std::size_t>(size));
    }
    entry->size = size;
    entry->lifetime = lifetime;
    entry->ray = ray;
    entry->live = true;
    count(*entry, 1);
    return true;
}

// An ended entry of the same name is used again with its memory, but only if nothing newer would be hidden wrongly:
// a new sub-ray entry has to come after the one that it hides.
ShaderStates::Entry& ShaderStates::slotFor(const char* key) {
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
        if (entry->key != key) continue;
        if (!entry->live) return *entry;
        break;
    }
    Entry& entry = entries_.emplace_back();
    entry.key = key;
    return entry;
}

void ShaderStates::remove(Entry& entry) {
    count(entry, -1);
    entry.live = false;
}

void ShaderStates::endEntries(int lifetime, int ray) {
    for (Entry& entry : entries_)
        if (entry.live && entry.lifetime == lifetime && entry.ray >= ray) remove(entry);
}

void ShaderStates::count(const Entry& entry, int step) {
    if (entry.lifetime == miSS_LIFETIME_RAY) rayEntries_ += step;
    if (entry.lifetime == miSS_LIFETIME_EYERAY) eyeEntries_ += step;
}

}  // namespace lumorender
