#include "SDK/passes/named_buffers.h"

#include "SDK/lumo.h"

#include "SDK/passes/frame_buffer_block.h"
#include "SDK/framework/renderer_access.h"

#include <memory>

namespace lumo {
namespace {

struct Release {
    template <class T>
    void operator()(T* object) const {
        object->release();
    }
};

using InterfacePtr = std::unique_ptr<mi::shader_v3::Interface, Release>;
using OptionsPtr = std::unique_ptr<mi::shader_v3::Options, Release>;

InterfacePtr rendererInterface() { return InterfacePtr(mi_get_shader_interface(miSHADER_IF_VERSION)); }

}  // namespace

bool renderOptionIsOn(miState* state, const char* name) {
    const InterfacePtr renderer = rendererInterface();
    if (!renderer) return false;
    const OptionsPtr options(renderer->getOptions(state->options->string_options));
    bool value = false;
    return options && options->get(name, &value) && value;
}

std::optional<miUint> frameBufferIndex(miState* state, const char* name) {
    const InterfacePtr renderer = rendererInterface();
    if (!renderer || !state->camera) return std::nullopt;
    const miTag tag = state->camera->buffertag;
    const mi::shader_v3::Framebuffer* buffers = renderer->accessFramebuffer(tag);
    if (!buffers) return std::nullopt;

    std::size_t index = 0;
    const bool found = buffers->get_index(name, index);
    renderer->releaseFramebuffer(buffers, tag);
    return found ? std::optional(static_cast<miUint>(index)) : std::nullopt;
}

}  // namespace lumo

miUint getNamedFrameBufferID(miState* state, miTag name) {
    const lumo::PinnedText text(name);
    return text ? lumo::frameBufferIndex(state, text.get()).value_or(0) : 0;
}

miUint getNonMaterialPassFrameBufferIndex(miState* state, miInteger index) {
    const lumo::FrameBufferBlock block(state);
    if (index < 0 || static_cast<miUint>(index) >= block.passNameCount()) return 0;
    return getNamedFrameBufferID(state, block.passName(static_cast<miUint>(index)));
}
