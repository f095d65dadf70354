// The named values that shaders keep in the state: mi_shaderstate_set and its kin.
#pragma once

#include "mi/codes.h"
#include "tracing/literals.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>

namespace lumorender {

/// Entries of one rendering state. A value keeps its address, 16-byte aligned, while the entry lives; setting it again
/// with the same size overwrites it in place. An entry of a sub-ray (lifetime 0) hides an older one of the same name
/// until its ray is done. For one thread.
class ShaderStates {
public:
    explicit ShaderStates(std::shared_ptr<const Literals> literals) : literals_(std::move(literals)) {}

    /// @param ray depth of the ray that sets the entry: entries of lifetime 0 end with it.
    /// A null value or size 0 removes the entry. Returns false for a bad key, size or lifetime.
    bool set(const char* key, const void* value, int size, int lifetime, int ray);

    /// The stored value or null; its size goes to `size` where that is not null.
    void* get(const char* key, int* size) const noexcept {
        const Known& known = known_[placeOf(key)];
        const Value& value = *known.value;
        if (known.literal != key || rayEntries_ != 0 || !value.data) [[unlikely]]
            return searchValue(key, size);
        if (size) *size = value.size;
        return value.data;
    }

    void endRay(int ray) {
        if (rayEntries_ > 0) endEntries(miSS_LIFETIME_RAY, ray);
    }
    void endEyeRay() {
        if (eyeEntries_ > 0) endEntries(miSS_LIFETIME_EYERAY, 0);
    }

    /// Calls `visit(key, value, size, lifetime)` for every entry until it returns false.
    template <class Visit>
    void enumerate(Visit visit) {
        for (Entry& entry : entries_)
            if (entry.value->data && !visit(entry.key.data(), entry.value->data, entry.value->size, entry.lifetime))
                return;
    }

private:
    struct Entry;
    /// What shaders ask for again and again stands apart from the rest of the entries, close together.
    struct Value {
        void* data = nullptr;  ///< 16-byte aligned, inside the entry's memory; null once it has ended
        int size = 0;
        Entry* entry = nullptr;
    };
    struct Entry {
        std::string key;
        std::unique_ptr<std::byte[]> memory;
        Value* value = nullptr;
        int capacity = 0;
        int lifetime = 0;
        int ray = 0;
    };

    static const Value kEnded;

    Entry& slotFor(const char* key);
    void remove(Entry& entry);
    void endEntries(int lifetime, int ray);
    void count(const Entry& entry, int step);

    /// What literals have found last. Shaders pass the same ones again and again, each module its own, so a literal's
    /// address finds its entry; other texts may have changed where they are.
    struct Known {
        const char* literal = nullptr;
        const Value* value = &kEnded;
    };
    static constexpr std::size_t kKnownBits = 10;  ///< so many that the few keys of a render seldom meet

    /// Literals lie close together and aligned: multiplying spreads them over the high bits.
    static std::size_t placeOf(const char* key) noexcept {
        return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(key) * 0x9e3779b97f4a7c15u) >>
                                        (64 - kKnownBits));
    }

    /// Hidden entries need the search from the newest.
    const Value* find(const char* key) const noexcept {
        const Known& known = known_[placeOf(key)];
        return known.literal == key && rayEntries_ == 0 && known.value->data ? known.value : search(key);
    }
    void* searchValue(const char* key, int* size) const noexcept;
    const Value* search(const char* key) const noexcept;

    int rayEntries_ = 0;
    int eyeEntries_ = 0;
    std::shared_ptr<const Literals> literals_;
    std::deque<Entry> entries_;  ///< they stay where they are
    std::deque<Value> values_;   ///< as many, likewise
    mutable std::array<Known, std::size_t{1} << kKnownBits> known_{};
    mutable std::array<const char*, std::size_t{1} << kKnownBits> others_{};  ///< by place, that are none or have none
};

}  // namespace lumorender
