// The frame buffers of a camera by name, as modules see them through the C++ interface.
#pragma once

#include "database/elements.h"
#include "interface/host.h"
#include "interface/unsupported.h"
#include "mi_shader_if.h"

#include <array>
#include <cstdio>
#include <initializer_list>
#include <string_view>

namespace lumorender {

/// The scene language's word for a data type.
inline const char* nameOfDatatype(miImg_type type) {
    constexpr std::array<const char*, miIMG_TYPE_COUNT> kNames = {
        "rgba",     "rgba_16", "rgb",  "rgb_16", "a",       "a_16",  "s",   "s_16",   "vta",  //
        "vts",      "z",       "n",    "tag",    "rgba_fp", "m",     "bit", "rgb_fp",         //
        "coverage", "rgbe",    "a_fp", "s_fp",   "rgba_h",  "rgb_h", "a_h", "s_h"};
    return type >= 0 && type < miIMG_TYPE_COUNT ? kNames[static_cast<std::size_t>(type)] : "unknown";
}

/// The frame buffers of one camera, which are fixed from the time the scene is read.
class NamedBuffers final : public mi::shader_v3::Framebuffer {
public:
    explicit NamedBuffers(miTag tag) : tag_(tag) {}

    bool set(const char*, const char*, bool) noexcept override { return fixed(); }
    bool set(const char*, const char*, float) noexcept override { return fixed(); }
    bool set(const char*, const char*, int) noexcept override { return fixed(); }
    bool set(const char*, const char*, const char*) noexcept override { return fixed(); }
    bool reset() noexcept override { return fixed(); }
    bool remove(const char*) noexcept override { return fixed(); }

    bool get(const char* buffer, const char* parameter, bool& value) const noexcept override {
        return read(buffer, parameter, value,
                    {{"filtering", &FrameBufferDescription::filtering},
                     {"primary", &FrameBufferDescription::primary},
                     {"user", &FrameBufferDescription::user},
                     {"dod", &FrameBufferDescription::dataWindow}});
    }
    bool get(const char*, const char*, float&) const noexcept override { return false; }
    bool get(const char* buffer, const char* parameter, int& value) const noexcept override {
        return read(buffer, parameter, value, {{"quality", &FrameBufferDescription::quality}});
    }
    bool get(const char* buffer, const char* parameter, const char*& value) const noexcept override {
        const FrameBufferDescription* found = describe(buffer);
        if (!found || !parameter) return false;
        const std::string_view wanted = parameter;
        if (wanted == "datatype")
            value = nameOfDatatype(found->datatype);
        else if (wanted == "filetype")
            value = found->filetype.c_str();
        else if (wanted == "filename")
            value = found->filename.c_str();
        else if (wanted == "compression")
            value = found->compression.c_str();
        else
            return false;
        return true;
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
                         nameOfDatatype(buffer.datatype), buffer.filename.c_str());
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

    static bool fixed() noexcept { return unsupported<bool>("change of frame buffers"); }

    const FrameBufferSet* detail() const { return hostDatabase().detail<FrameBufferSet>(tag_); }

    const FrameBufferDescription* describe(size_t index) const {
        const FrameBufferSet* buffers = detail();
        return buffers && index <= buffers->buffers.size() ? buffers->atShaderIndex(static_cast<int>(index)) : nullptr;
    }

    const FrameBufferDescription* describe(const char* buffer) const {
        size_t index = 0;
        return get_index(buffer, index) ? describe(index) : nullptr;
    }

    template <class T>
    bool read(const char* buffer, const char* parameter, T& value, std::initializer_list<Setting<T>> settings) const {
        const FrameBufferDescription* found = describe(buffer);
        if (!found || !parameter) return false;
        for (const Setting<T>& setting : settings) {
            if (setting.name != parameter) continue;
            value = found->*setting.member;
            return true;
        }
        return false;
    }

    miTag tag_;
};

}  // namespace lumorender
