/* The C++ interface of version 3: options by name, frame buffers by name, samples of passes. What else its table has room for answers
   that there is none. */
#include "interface/host.h"
#include "interface/named_buffers.h"
#include "interface/named_options.h"
#include "interface/unsupported.h"
#include "mi_shader_if.h"
#include "passes/pass_steps.h"
#include "render/output_pictures.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace lumorender {

namespace {

using namespace mi::shader_v3;

/// One object per element, made on first use and kept, because shaders ask for it in every sample.
template <class Object>
class Objects {
public:
    Object* of(miTag tag) {
        {
            const std::shared_lock lock(mutex_);
            if (const auto known = objects_.find(tag); known != objects_.end()) return known->second.get();
        }
        const std::unique_lock lock(mutex_);
        std::unique_ptr<Object>& place = objects_[tag];
        if (!place) place = std::make_unique<Object>(tag);
        return place.get();
    }

private:
    std::shared_mutex mutex_;
    std::unordered_map<miTag, std::unique_ptr<Object>> objects_;
};

class HostInterface final : public Interface {
public:
    Options* getOptions(miTag options) noexcept override { return options_.of(options); }
    miTag createFramebuffer() noexcept override { return addBuffers({}); }
    miTag copyFramebuffer(miTag tag) noexcept override {
        const auto* original = hostDatabase().detail<FrameBufferSet>(tag);
        return original ? addBuffers(original->buffers) : miNULLTAG;
    }
    const Framebuffer* accessFramebuffer(miTag tag) noexcept override { return editFramebuffer(tag); }
    Framebuffer* editFramebuffer(miTag tag) noexcept override {
        return hostDatabase().detail<FrameBufferSet>(tag) ? buffers_.of(tag) : nullptr;
    }
    bool releaseFramebuffer(const Framebuffer* buffers, miTag) noexcept override { return buffers != nullptr; }
    bool releaseFramebuffer(Framebuffer* buffers, miTag) noexcept override { return buffers != nullptr; }
    void release() noexcept override {}
    bool getPassSample(miState*, int buffer, void* value) noexcept override {
        const PassCall* call = PassCall::running();
        return call && value && getWords(*call, call->result, buffer, value);
    }
    bool getPassSampleInput(miState*, int input, int buffer, void* value) noexcept override {
        const PassCall* call = PassCall::running();
        const bool isThere = call && value && input >= 0 && static_cast<std::size_t>(input) < call->inputs.size();
        return isThere && getWords(*call, *call->inputs[static_cast<std::size_t>(input)], buffer, value);
    }
    bool setPassSample(miState*, int buffer, const void* value) noexcept override {
        const PassCall* call = PassCall::running();
        std::size_t words = 0;
        std::uint32_t* to = call && value ? call->find(call->result, buffer, words) : nullptr;
        if (to) std::memcpy(to, value, words * sizeof(std::uint32_t));
        return to != nullptr;
    }
    int getPassNumber(miState*) noexcept override {
        const PassCall* call = PassCall::running();
        return call ? static_cast<int>(call->inputs.size()) : 0;
    }

    // Everything below is not there.
    Light_list* createLightList(miState*, miTag*, int) noexcept override {
        return unsupported<Light_list*>("createLightList");
    }
    Light_list* createLightList(miState*, const miVector&, miScalar, miTag*, int) noexcept override {
        return unsupported<Light_list*>("createLightList");
    }
    miTag createMap(miTag) noexcept override { return unsupported<miTag>("createMap"); }
    const Map* accessMap(miTag) noexcept override { return unsupported<Map*>("accessMap"); }
    Map* editMap(miTag) noexcept override { return unsupported<Map*>("editMap"); }
    const Map* accessMap(const char*, miTag*) noexcept override { return unsupported<Map*>("accessMap"); }
    Map* editMap(const char*, miTag*) noexcept override { return unsupported<Map*>("editMap"); }
    Map_declaration* createMapDeclaration(miUint) noexcept override { return declaration("createMapDeclaration"); }
    Map_declaration* copyMapDeclaration(const Map_declaration*) noexcept override {
        return declaration("copyMapDeclaration");
    }
    Map_declaration* copyMapDeclaration(const Map*) noexcept override { return declaration("copyMapDeclaration"); }
    Map_declaration* copyMapDeclaration(miTag) noexcept override { return declaration("copyMapDeclaration"); }
    Map_element* createMapElement(const Map_declaration*) noexcept override {
        return unsupported<Map_element*>("createMapElement");
    }
    Map_element* copyMapElement(const Map_element*) noexcept override {
        return unsupported<Map_element*>("copyMapElement");
    }
    Map_iterator* createMapIterator(const Map*) noexcept override {
        return unsupported<Map_iterator*>("createMapIterator");
    }
    Map_iterator* copyMapIterator(const Map_iterator*) noexcept override {
        return unsupported<Map_iterator*>("copyMapIterator");
    }
    Map_lookup* createMapLookup(const Map*) noexcept override { return unsupported<Map_lookup*>("createMapLookup"); }
    Map_lookup* copyMapLookup(const Map_lookup*) noexcept override { return unsupported<Map_lookup*>("copyMapLookup"); }
    Bsdf* allocBsdf(miState*) noexcept override { return unsupported<Bsdf*>("allocBsdf"); }
    void releaseBsdf(Bsdf*) noexcept override {}
    Subdivision* accessSubdivision34(miTag) noexcept override {
        return unsupported<Subdivision*>("accessSubdivision34");
    }
    void releaseSubdivision34(Subdivision*) noexcept override {}
    bool lookupFilteredTexture(miColor*, miState*, miTag, void*, const miScalar*) noexcept override {
        return unsupported<bool>("filtered texture look-up");
    }
    miImg_image* open_output_image(miState*, const char* name) noexcept override {
        OutputPictures* pictures = OutputPictures::running();
        return pictures && name ? pictures->find(std::string_view(name)) : nullptr;
    }
    void close_output_image(miState*, const char*) noexcept override {}

private:
    static miTag addBuffers(const std::vector<FrameBufferDescription>& buffers) {
        const miTag tag = hostDatabase().create(miSCENE_FBINFO, 16);
        auto all = std::make_unique<FrameBufferSet>();
        all->buffers = buffers;
        hostDatabase().setDetail(tag, std::move(all));
        return tag;
    }
    static bool getWords(const PassCall& call, const BufferSample& sample, int buffer, void* value) noexcept {
        std::size_t words = 0;
        const std::uint32_t* from = call.find(sample, buffer, words);
        if (from) std::memcpy(value, from, words * sizeof(std::uint32_t));
        return from != nullptr;
    }
    static Map_declaration* declaration(const char* what) noexcept { return unsupported<Map_declaration*>(what); }

    Objects<NamedOptions> options_;
    Objects<NamedBuffers> buffers_;
};

}  // namespace

}  // namespace lumorender

mi::shader_v3::Interface* mi_get_shader_interface(int version) {
    static auto* const interface = new lumorender::HostInterface;
    return version == miSHADER_IF_VERSION ? interface : nullptr;
}
