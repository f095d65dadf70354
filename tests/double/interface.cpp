/* The double's side of the C++ interface: options by name, and frame buffers by name. */
#include <mi_shader_if.h>

#include "renderer.h"

namespace {

using namespace mi::shader_v3;
using twin::renderer;

template <class T>
bool read(const char* name, T* value) {
    const auto found = renderer().options.find(name);
    const T* held = found == renderer().options.end() ? nullptr : std::get_if<T>(&found->second);
    if (held) *value = *held;
    return held != nullptr;
}

class DoubleOptions final : public Options {
public:
    void set(const char*, bool) override {}
    void set(const char*, const char*) override {}
    void set(const char*, int) override {}
    void set(const char*, float) override {}
    void set(const char*, float, float) override {}
    void set(const char*, float, float, float) override {}
    void set(const char*, float, float, float, float) override {}
    bool get(const char* name, bool* value) const override { return read(name, value); }
    bool get(const char*, const char**) const override { return false; }
    bool get(const char* name, int* value) const override { return read(name, value); }
    bool get(const char* name, float* value) const override { return read(name, value); }
    bool get(const char*, float*, float*) const override { return false; }
    bool get(const char*, float*, float*, float*) const override { return false; }
    bool get(const char*, float*, float*, float*, float*) const override { return false; }
    bool remove(const char*) override { return false; }
    void release() override { --renderer().optionsOut; }
};

class DoubleFramebuffer final : public Framebuffer {
public:
    bool set(const char*, const char*, bool) override { return false; }
    bool set(const char*, const char*, float) override { return false; }
    bool set(const char*, const char*, int) override { return false; }
    bool set(const char*, const char*, const char*) override { return false; }
    bool get(const char*, const char*, bool&) const override { return false; }
    bool get(const char*, const char*, float&) const override { return false; }
    bool get(const char*, const char*, int&) const override { return false; }
    bool get(const char*, const char*, const char*&) const override { return false; }
    bool get_index(const char* buffer, size_t& index) const override {
        const auto found = renderer().bufferNames.find(buffer);
        if (found == renderer().bufferNames.end()) return false;
        index = found->second;
        return true;
    }
    bool reset() override { return false; }
    void echo(FILE*) const override {}
    bool get_buffercount(size_t&) const override { return false; }
    bool get_buffername(size_t, const char*&) const override { return false; }
    bool remove(const char*) override { return false; }
    bool map_old_index(unsigned int, int&) const override { return false; }
    bool get_datatype(size_t, miImg_type&) const override { return false; }
};

DoubleOptions theOptions;
DoubleFramebuffer theFramebuffer;

class DoubleInterface final : public Interface {
public:
    Options* getOptions(miTag tag) override {
        if (tag != renderer().stringOptions) return nullptr;
        ++renderer().optionsOut;
        return &theOptions;
    }
    const Framebuffer* accessFramebuffer(miTag tag) override {
        if (tag != renderer().frameBuffers) return nullptr;
        ++renderer().frameBuffersOut;
        return &theFramebuffer;
    }
    bool releaseFramebuffer(const Framebuffer* framebuffer, miTag tag) override {
        if (framebuffer != &theFramebuffer || tag != renderer().frameBuffers)
            renderer().violation("release of a frame-buffer object with another tag");
        --renderer().frameBuffersOut;
        return true;
    }
    void release() override { --renderer().interfacesOut; }

    miTag createFramebuffer() override { return miNULLTAG; }
    miTag copyFramebuffer(miTag) override { return miNULLTAG; }
    Light_list* createLightList(miState*, miTag*, int) override { return nullptr; }
    Light_list* createLightList(miState*, const miVector&, miScalar, miTag*, int) override { return nullptr; }
    Framebuffer* editFramebuffer(miTag) override { return nullptr; }
    bool releaseFramebuffer(Framebuffer*, miTag) override { return false; }
    miTag createMap(miTag) override { return miNULLTAG; }
    const Map* accessMap(miTag) override { return nullptr; }
    Map* editMap(miTag) override { return nullptr; }
    const Map* accessMap(const char*, miTag*) override { return nullptr; }
    Map* editMap(const char*, miTag*) override { return nullptr; }
    Map_declaration* createMapDeclaration(miUint) override { return nullptr; }
    Map_declaration* copyMapDeclaration(const Map_declaration*) override { return nullptr; }
    Map_declaration* copyMapDeclaration(const Map*) override { return nullptr; }
    Map_declaration* copyMapDeclaration(miTag) override { return nullptr; }
    Map_element* createMapElement(const Map_declaration*) override { return nullptr; }
    Map_element* copyMapElement(const Map_element*) override { return nullptr; }
    Map_iterator* createMapIterator(const Map*) override { return nullptr; }
    Map_iterator* copyMapIterator(const Map_iterator*) override { return nullptr; }
    Map_lookup* createMapLookup(const Map*) override { return nullptr; }
    Map_lookup* copyMapLookup(const Map_lookup*) override { return nullptr; }
    Bsdf* allocBsdf(miState*) override { return nullptr; }
    void releaseBsdf(Bsdf*) override {}
    Subdivision* accessSubdivision34(miTag) override { return nullptr; }
    void releaseSubdivision34(Subdivision*) override {}
    bool lookupFilteredTexture(miColor*, miState*, miTag, void*, const miScalar*) override { return false; }
    void* open_output_image(const char*, miImg_type, int, int) override { return nullptr; }
    void close_output_image(void*) override {}
    bool getPassSample(miState*, int, void*) override { return false; }
    bool getPassSampleInput(miState*, int, void*) override { return false; }
    bool setPassSample(miState*, void*) override { return false; }
    int getPassNumber(miState*) override { return 0; }
};

DoubleInterface theInterface;

}  // namespace

Interface* mi_get_shader_interface(int version) {
    if (version != miSHADER_IF_VERSION || !renderer().hasInterface) return nullptr;
    ++renderer().interfacesOut;
    return &theInterface;
}
