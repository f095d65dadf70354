// The frame buffers of a camera by name, as modules see them through the C++ interface.
#pragma once

#include "database/elements.h"
#include "elements/element_readers.h"
#include "interface/host.h"
#include "support/messages.h"
#include "mi_shader_if.h"

#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// The frame buffers of one camera. They can be changed until the picture is begun; the changes take effect at once.
class NamedBuffers final : public mi::shader_v3::Framebuffer {
public:
    explicit NamedBuffers(miTag tag) : tag_(tag) {}

    bool set(const char* buffer, const char* parameter, bool value) noexcept override {
        if (parameter && std::string_view(parameter) == "primary")
            return change(buffer, [&](FrameBufferSet& all, auto& b) { return all.setPrimary(b, value), true; });
        return write(buffer, parameter, value, kFlags);
    }
    bool set(const char* buffer, const char* parameter, float value) noexcept override {
        return write(buffer, parameter, value, kNumbers);
    }
    bool set(const char* buffer, const char* parameter, int value) noexcept override {
        return write(buffer, parameter, value, kIntegers);
    }
    bool set(const char* buffer, const char* parameter, const char* value) noexcept override {
        if (!value) return false;
        if (parameter && std::string_view(parameter) == "datatype")
            return change(buffer, [&](FrameBufferSet&, auto& b) { return setBufferType(b, value); });
        return write(buffer, parameter, std::string(value), kTexts);
    }
    bool reset() noexcept override {
        FrameBufferSet* const all = changeable();
        if (all) all->buffers.clear();
        return all != nullptr;
    }
    bool remove(const char* buffer) noexcept override {
        FrameBufferSet* const all = changeable();
        return all && buffer && std::erase_if(all->buffers, [&](const auto& b) { return b.name == buffer; }) > 0;
    }

    bool get(const char* buffer, const char* parameter, bool& value) const noexcept override {
        return read(buffer, parameter, value, kFlags);
    }
    bool get(const char* buffer, const char* parameter, float& value) const noexcept override {
        return read(buffer, parameter, value, kNumbers);
    }
    bool get(const char* buffer, const char* parameter, int& value) const noexcept override {
        return read(buffer, parameter, value, kIntegers);
    }
    bool get(const char* buffer, const char* parameter, const char*& value) const noexcept override {
        const FrameBufferDescription* found = describe(buffer);
        if (!found || !parameter) return false;
        if (std::string_view(parameter) == "datatype") return value = bufferTypeName(found->datatype).data(), true;
        const auto* setting = find<std::string>(parameter, kTexts);
        if (setting) value = (found->*setting->member).c_str();
        return setting != nullptr;
    }

    bool get_index(const char* buffer, size_t& index) const noexcept override {
        const FrameBufferSet* buffers = detail();
        const int found = buffers && buffer ? buffers->shaderIndex(buffer) : -1;
        if (found >= 0) index = static_cast<size_t>(found);
        return found >= 0;
    }

    void echo(FILE* file) const noexcept override {
        const FrameBufferSet* buffers = detail();
        if (!buffers || !file) return;
        for (const FrameBufferDescription& buffer : buffers->buffers)
            std::fprintf(file, "framebuffer \"%s\" datatype \"%s\" filename \"%s\"\n", buffer.name.c_str(),
                         bufferTypeName(buffer.datatype).data(), buffer.filename.c_str());
    }

    bool get_buffercount(size_t& count) const noexcept override {
        const FrameBufferSet* buffers = detail();
        if (buffers) count = static_cast<size_t>(buffers->shaderCount());
        return buffers != nullptr;
    }

    bool get_buffername(size_t index, const char*& name) const noexcept override {
        const FrameBufferDescription* found = describe(index);
        if (found) name = found->name.c_str();
        return found != nullptr;
    }

    bool get_datatype(size_t index, miImg_type& type) const noexcept override {
        const FrameBufferDescription* found = describe(index);
        if (found) type = found->datatype;
        return found != nullptr;
    }

    /// Of the old numbered buffers only the picture itself has a counterpart.
    bool map_old_index(unsigned int old_index, int& index) const noexcept override {
        if (old_index == miRC_IMAGE_RGBA) index = 0;
        return old_index == miRC_IMAGE_RGBA;
    }

private:
    template <class T>
    struct Setting {
        std::string_view name;
        T FrameBufferDescription::* member;
    };
    static constexpr Setting<bool> kFlags[] = {{"filtering", &FrameBufferDescription::filtering},
                                               {"primary", &FrameBufferDescription::primary},
                                               {"user", &FrameBufferDescription::user},
                                               {"dod", &FrameBufferDescription::dataWindow}};
    static constexpr Setting<int> kIntegers[] = {{"quality", &FrameBufferDescription::quality}};
    static constexpr Setting<float> kNumbers[] = {{"dpi", &FrameBufferDescription::dpi}};
    static constexpr Setting<std::string> kTexts[] = {{"filetype", &FrameBufferDescription::filetype},
                                                      {"filename", &FrameBufferDescription::filename},
                                                      {"compression", &FrameBufferDescription::compression},
                                                      {"colorprofile", &FrameBufferDescription::colorProfile}};

    template <class T>
    static const Setting<T>* find(const char* parameter, std::span<const Setting<T>> settings) {
        for (const Setting<T>& setting : settings)
            if (parameter && setting.name == parameter) return &setting;
        return nullptr;
    }

    FrameBufferSet* changeable() const {
        auto* all = hostDatabase().detail<FrameBufferSet>(tag_);
        if (all && all->isFixed) {
            warning("API",
                    "the picture is begun, its frame buffers cannot be changed any more; geometry shaders can, and "
                    "shaders that the scene calls");
            return nullptr;
        }
        if (all) ++all->changes;
        return all;
    }

    /// A buffer that is not there is made.
    template <class Change>
    bool change(const char* buffer, const Change& body) const {
        FrameBufferSet* const all = buffer && *buffer ? changeable() : nullptr;
        return all && body(*all, all->named(buffer));
    }

    template <class T, std::size_t count>
    bool write(const char* buffer, const char* parameter, const T& value, const Setting<T> (&settings)[count]) const {
        const auto* setting = find<T>(parameter, settings);
        return setting && change(buffer, [&](FrameBufferSet&, auto& b) { return b.*setting->member = value, true; });
    }

    const FrameBufferSet* detail() const { return hostDatabase().detail<FrameBufferSet>(tag_); }

    const FrameBufferDescription* describe(size_t index) const {
        const FrameBufferSet* buffers = detail();
        return buffers && index <= buffers->buffers.size() ? buffers->atShaderIndex(static_cast<int>(index)) : nullptr;
    }

    const FrameBufferDescription* describe(const char* buffer) const {
        size_t index = 0;
        return get_index(buffer, index) ? describe(index) : nullptr;
    }

    template <class T, std::size_t count>
    bool read(const char* buffer, const char* parameter, T& value, const Setting<T> (&settings)[count]) const {
        const FrameBufferDescription* found = describe(buffer);
        const auto* setting = found ? find<T>(parameter, settings) : nullptr;
        if (setting) value = found->*setting->member;
        return setting != nullptr;
    }

    miTag tag_;
};

}  // namespace lumorender
