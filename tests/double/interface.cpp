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

// What no module asks for is not there.
// clang-format off
#define ABSENT(Result, name, signature) Result name signature override { return static_cast<Result>(0); }
class DoubleOptions final : public Options {
    ABSENT(void, set, (const char*, bool)) ABSENT(void, set, (const char*, const char*))
    ABSENT(void, set, (const char*, int)) ABSENT(void, set, (const char*, float))
    ABSENT(void, set, (const char*, float, float)) ABSENT(void, set, (const char*, float, float, float))
    ABSENT(void, set, (const char*, float, float, float, float))
    bool get(const char* name, bool* value) const override { return read(name, value); }
    ABSENT(bool, get, (const char*, const char**) const)
    bool get(const char* name, int* value) const override { return read(name, value); }
    bool get(const char* name, float* value) const override { return read(name, value); }
    ABSENT(bool, get, (const char*, float*, float*) const)
    ABSENT(bool, get, (const char*, float*, float*, float*) const)
    ABSENT(bool, get, (const char*, float*, float*, float*, float*) const) ABSENT(bool, remove, (const char*))
    void release() override { --renderer().objectsOut; }
} theOptions;

class DoubleFramebuffer final : public Framebuffer {
    bool get_index(const char* buffer, size_t& index) const override {
        const auto found = renderer().bufferNames.find(buffer);
        if (found == renderer().bufferNames.end()) return false;
        index = found->second;
        return true;
    }
    ABSENT(bool, set, (const char*, const char*, bool)) ABSENT(bool, set, (const char*, const char*, float))
    ABSENT(bool, set, (const char*, const char*, int)) ABSENT(bool, set, (const char*, const char*, const char*))
    ABSENT(bool, get, (const char*, const char*, bool&) const)
    ABSENT(bool, get, (const char*, const char*, float&) const)
    ABSENT(bool, get, (const char*, const char*, int&) const)
    ABSENT(bool, get, (const char*, const char*, const char*&) const) ABSENT(bool, reset, ())
    ABSENT(void, echo, (FILE*) const) ABSENT(bool, get_buffercount, (size_t&) const)
    ABSENT(bool, get_buffername, (size_t, const char*&) const) ABSENT(bool, remove, (const char*))
    ABSENT(bool, map_old_index, (unsigned int, int&) const) ABSENT(bool, get_datatype, (size_t, miImg_type&) const)
} theFramebuffer;

class DoubleInterface final : public Interface {
    Options* getOptions(miTag tag) override { return handOut<Options>(&theOptions, tag == renderer().stringOptions); }
    const Framebuffer* accessFramebuffer(miTag tag) override {
        return handOut<Framebuffer>(&theFramebuffer, tag == renderer().frameBuffers);
    }
    bool releaseFramebuffer(const Framebuffer* framebuffer, miTag tag) override {
        if (framebuffer != &theFramebuffer || tag != renderer().frameBuffers)
            renderer().violation("release of a frame-buffer object with another tag");
        --renderer().objectsOut;
        return true;
    }
    void release() override { --renderer().objectsOut; }

    template <class Object>
    static Object* handOut(Object* object, bool known) {
        renderer().objectsOut += known;
        return known ? object : nullptr;
    }
    ABSENT(miTag, createFramebuffer, ()) ABSENT(miTag, copyFramebuffer, (miTag))
    ABSENT(Light_list*, createLightList, (miState*, miTag*, int))
    ABSENT(Light_list*, createLightList, (miState*, const miVector&, miScalar, miTag*, int))
    ABSENT(Framebuffer*, editFramebuffer, (miTag)) ABSENT(bool, releaseFramebuffer, (Framebuffer*, miTag))
    ABSENT(miTag, createMap, (miTag)) ABSENT(const Map*, accessMap, (miTag)) ABSENT(Map*, editMap, (miTag))
    ABSENT(const Map*, accessMap, (const char*, miTag*)) ABSENT(Map*, editMap, (const char*, miTag*))
    ABSENT(Map_declaration*, createMapDeclaration, (miUint))
    ABSENT(Map_declaration*, copyMapDeclaration, (const Map_declaration*))
    ABSENT(Map_declaration*, copyMapDeclaration, (const Map*)) ABSENT(Map_declaration*, copyMapDeclaration, (miTag))
    ABSENT(Map_element*, createMapElement, (const Map_declaration*))
    ABSENT(Map_element*, copyMapElement, (const Map_element*)) ABSENT(Map_iterator*, createMapIterator, (const Map*))
    ABSENT(Map_iterator*, copyMapIterator, (const Map_iterator*)) ABSENT(Map_lookup*, createMapLookup, (const Map*))
    ABSENT(Map_lookup*, copyMapLookup, (const Map_lookup*)) ABSENT(Bsdf*, allocBsdf, (miState*))
    ABSENT(void, releaseBsdf, (Bsdf*)) ABSENT(Subdivision*, accessSubdivision34, (miTag))
    ABSENT(void, releaseSubdivision34, (Subdivision*))
    ABSENT(bool, lookupFilteredTexture, (miColor*, miState*, miTag, void*, const miScalar*))
    ABSENT(miImg_image*, open_output_image, (miState*, const char*))
    ABSENT(void, close_output_image, (miState*, const char*))
    ABSENT(bool, getPassSample, (miState*, int, void*)) ABSENT(bool, getPassSampleInput, (miState*, int, int, void*))
    ABSENT(bool, setPassSample, (miState*, int, const void*)) ABSENT(int, getPassNumber, (miState*))
} theInterface;
// clang-format on

}  // namespace

Interface* mi_get_shader_interface(int version) {
    if (version != miSHADER_IF_VERSION || !renderer().hasInterface) return nullptr;
    ++renderer().objectsOut;
    return &theInterface;
}
