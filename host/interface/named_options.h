// The options that a scene sets by name, as modules see them through the C++ interface.
#pragma once

#include "database/elements.h"
#include "interface/host.h"
#include "mi_shader_if.h"
#include "support/messages.h"

#include <array>
#include <mutex>
#include <shared_mutex>

namespace lumorender {

/// The string options of one element. Looks the element up each time, so it may outlive what it names.
class NamedOptions final : public mi::shader_v3::Options {
public:
    explicit NamedOptions(miTag tag) : tag_(tag) {}

    void set(const char* name, bool value) noexcept override { store(name, value); }
    void set(const char* name, const char* value) noexcept override { store(name, std::string(value ? value : "")); }
    void set(const char* name, int value) noexcept override { store(name, value); }
    void set(const char* name, float value) noexcept override { store(name, value); }
    void set(const char* name, float x, float y) noexcept override { store(name, std::vector<float>{x, y}); }
    void set(const char* name, float x, float y, float z) noexcept override {
        store(name, std::vector<float>{x, y, z});
    }
    void set(const char* name, float x, float y, float z, float w) noexcept override {
        store(name, std::vector<float>{x, y, z, w});
    }

    bool get(const char* name, bool* value) const noexcept override { return fetch(name, value); }
    bool get(const char* name, int* value) const noexcept override { return fetch(name, value); }
    bool get(const char* name, const char** value) const noexcept override {
        const std::shared_lock lock(mutex());
        const auto* text = find<std::string>(name);
        if (text) *value = text->c_str();
        return text != nullptr;
    }
    bool get(const char* name, float* value) const noexcept override {
        int integer = 0;
        if (fetch(name, value)) return true;
        if (!fetch(name, &integer)) return false;
        *value = static_cast<float>(integer);
        return true;
    }
    bool get(const char* name, float* x, float* y) const noexcept override { return fetchFloats<2>(name, {x, y}); }
    bool get(const char* name, float* x, float* y, float* z) const noexcept override {
        return fetchFloats<3>(name, {x, y, z});
    }
    bool get(const char* name, float* x, float* y, float* z, float* w) const noexcept override {
        return fetchFloats<4>(name, {x, y, z, w});
    }

    bool remove(const char* name) noexcept override {
        const std::unique_lock lock(mutex());
        StringOptions* options = detail();
        return options && name && options->values.erase(name) > 0;
    }

    void release() noexcept override {}

private:
    StringOptions* detail() const { return hostDatabase().detail<StringOptions>(tag_); }

    void store(const char* name, StringOptions::Value value) noexcept {
        const std::unique_lock lock(mutex());
        if (StringOptions* options = detail(); options && name)
            options->values.insert_or_assign(name, std::move(value));
        else
            warning("API", "option \"{}\" cannot be set: the options have no place for it", name ? name : "");
    }

    /// Call with the mutex held.
    template <class T>
    const T* find(const char* name) const {
        const StringOptions* options = detail();
        if (!options || !name) return nullptr;
        const auto found = options->values.find(std::string_view(name));
        return found == options->values.end() ? nullptr : std::get_if<T>(&found->second);
    }

    template <class T>
    bool fetch(const char* name, T* value) const {
        const std::shared_lock lock(mutex());
        const T* found = find<T>(name);
        if (found) *value = *found;
        return found != nullptr;
    }

    template <std::size_t N>
    bool fetchFloats(const char* name, const std::array<float*, N>& values) const {
        const std::shared_lock lock(mutex());
        const auto* found = find<std::vector<float>>(name);
        if (!found || found->size() != N) return false;
        for (std::size_t k = 0; k < N; ++k) *values[k] = (*found)[k];
        return true;
    }

    /// Guards all values: shaders may set some while others read.
    static std::shared_mutex& mutex() {
        static std::shared_mutex instance;
        return instance;
    }

    miTag tag_;
};

}  // namespace lumorender
