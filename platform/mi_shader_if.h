/* The versioned C++ interface to render options by name, frame buffers, light lists and maps. */
#pragma once

#include <stddef.h>
#include <stdio.h>

#include "mi/codes.h"
#include "mi/light_iterator.h"
#include "mi/state.h"
#include "mi/types.h"

#define miSHADER_IF_VERSION 3

/*
 * Modules and host meet here through virtual tables, so the order of the methods is the contract: a method's place is
 * its position among the declarations, overloads included. Never reorder, insert or remove one. Destructors are not
 * virtual, they would take places; objects go back to the host by release().
 */
namespace mi {
namespace shader_v3 {

/* Options that scenes set by name: "string options". */
class Options {
public:
    /* places 0 to 6: create or replace */
    virtual void set(const char* name, bool value) = 0;
    virtual void set(const char* name, const char* value) = 0;
    virtual void set(const char* name, int value) = 0;
    virtual void set(const char* name, float value) = 0;
    virtual void set(const char* name, float x, float y) = 0;
    virtual void set(const char* name, float x, float y, float z) = 0;
    virtual void set(const char* name, float x, float y, float z, float w) = 0;

    /* places 7 to 13: true, and value written, when the option exists with this type; an int may be read as float */
    virtual bool get(const char* name, bool* value) const = 0;
    virtual bool get(const char* name, const char** value) const = 0;
    virtual bool get(const char* name, int* value) const = 0;
    virtual bool get(const char* name, float* value) const = 0;
    virtual bool get(const char* name, float* x, float* y) const = 0;
    virtual bool get(const char* name, float* x, float* y, float* z) const = 0;
    virtual bool get(const char* name, float* x, float* y, float* z, float* w) const = 0;

    /* places 14, 15 */
    virtual bool remove(const char* name) = 0;
    virtual void release() = 0;

protected:
    ~Options() {}
};

/* The frame buffers of a camera, by name; parameters are the settings a scene gives a buffer. */
class Framebuffer {
public:
    /* places 0 to 3 */
    virtual bool set(const char* buffer, const char* parameter, bool value) = 0;
    virtual bool set(const char* buffer, const char* parameter, float value) = 0;
    virtual bool set(const char* buffer, const char* parameter, int value) = 0;
    virtual bool set(const char* buffer, const char* parameter, const char* value) = 0;

    /* places 4 to 7 */
    virtual bool get(const char* buffer, const char* parameter, bool& value) const = 0;
    virtual bool get(const char* buffer, const char* parameter, float& value) const = 0;
    virtual bool get(const char* buffer, const char* parameter, int& value) const = 0;
    virtual bool get(const char* buffer, const char* parameter, const char*& value) const = 0;

    /* place 8: the number that mi_fb_put and mi_fb_get take; false when there is no such buffer */
    virtual bool get_index(const char* buffer, size_t& index) const = 0;

    /* places 9 to 15 */
    virtual bool reset() = 0;
    virtual void echo(FILE* file) const = 0;
    virtual bool get_buffercount(size_t& count) const = 0;
    virtual bool get_buffername(size_t index, const char*& name) const = 0;
    virtual bool remove(const char* buffer) = 0;
    virtual bool map_old_index(unsigned int old_index, int& index) const = 0;
    virtual bool get_datatype(size_t index, miImg_type& type) const = 0;

protected:
    ~Framebuffer() {}
};

/* Results of methods that are here for their place in the table; hosts may answer null. */
class Light_list;
class Map;
class Map_declaration;
class Map_element;
class Map_iterator;
class Map_lookup;
class Bsdf;
class Subdivision;

/*
 * Entry to everything else; release() when done, objects obtained from it stay valid.
 *
 * Methods marked "reserved" keep the places of methods that neither our modules nor our host use. Their names follow
 * the job of the place, their arguments are placeholders: do not call them.
 */
class Interface {
public:
    /* place 0: of miOptions.string_options */
    virtual Options* getOptions(miTag options) = 0;

    /* places 1, 2 */
    virtual miTag createFramebuffer() = 0;
    virtual miTag copyFramebuffer(miTag framebuffer) = 0;

    /* place 3: the lights that apply in this state, or the given ones */
    virtual Light_list* createLightList(miState* state, miTag* lights = 0, int count = 0) = 0;

    /* place 4 */
    virtual void release() = 0;

    /* place 5: only lights inside a cone around the axis */
    virtual Light_list* createLightList(miState* state, const miVector& axis, miScalar spread_cos, miTag* lights,
                                        int count) = 0;

    /* places 6 to 20, reserved: maps, their declarations, elements, iterators and look-ups */
    virtual miTag createMap(miTag declaration) = 0;
    virtual const Map* accessMap(miTag map) = 0;
    virtual Map* editMap(miTag map) = 0;
    virtual const Map* accessMap(const char* name, miTag* map) = 0;
    virtual Map* editMap(const char* name, miTag* map) = 0;
    virtual Map_declaration* createMapDeclaration(miUint dimension) = 0;
    virtual Map_declaration* copyMapDeclaration(const Map_declaration* declaration) = 0;
    virtual Map_declaration* copyMapDeclaration(const Map* map) = 0;
    virtual Map_declaration* copyMapDeclaration(miTag declaration) = 0;
    virtual Map_element* createMapElement(const Map_declaration* declaration) = 0;
    virtual Map_element* copyMapElement(const Map_element* element) = 0;
    virtual Map_iterator* createMapIterator(const Map* map) = 0;
    virtual Map_iterator* copyMapIterator(const Map_iterator* iterator) = 0;
    virtual Map_lookup* createMapLookup(const Map* map) = 0;
    virtual Map_lookup* copyMapLookup(const Map_lookup* lookup) = 0;

    /* places 21 to 24: of miCamera.buffertag, null when it is no frame-buffer object; release with the same tag */
    virtual const Framebuffer* accessFramebuffer(miTag framebuffer) = 0;
    virtual bool releaseFramebuffer(const Framebuffer* framebuffer, miTag tag) = 0;
    virtual Framebuffer* editFramebuffer(miTag framebuffer) = 0;
    virtual bool releaseFramebuffer(Framebuffer* framebuffer, miTag tag) = 0;

    /* places 25 to 28, reserved */
    virtual Bsdf* allocBsdf(miState* state) = 0;
    virtual void releaseBsdf(Bsdf* bsdf) = 0;
    virtual Subdivision* accessSubdivision34(miTag subdivision) = 0;
    virtual void releaseSubdivision34(Subdivision* subdivision) = 0;

    /* place 29, reserved: look-up over a footprint, with remapped mip levels */
    virtual bool lookupFilteredTexture(miColor* result, miState* state, miTag texture, void* filter,
                                       const miScalar* pixel_to_texture) = 0;

    /* places 30, 31: a frame buffer by its name, for output shaders; null where there is none. Of these two, and of what
     * is reserved, names and places are published, arguments are this host's. */
    virtual miImg_image* open_output_image(miState* state, const char* name) = 0;
    virtual void close_output_image(miState* state, const char* name) = 0;

    /*
     * places 32 to 35: samples of passes, for shaders of `pass merge` and `pass prep` while these are called. Names and
     * places are published, arguments are this host's. Values are as those of mi_fb_put: colors four floats, vectors
     * three, others one word. Buffers have the numbers that output shaders open them by; -1 is the distance of what the
     * sample has seen, a float along the camera's axis, 0 where it has seen nothing. All say false for buffers that the
     * statement does not name and for inputs that are not there.
     */
    /* the sample as it is so far: at first that of input 0 */
    virtual bool getPassSample(miState* state, int buffer, void* value) = 0;
    /* that of an input: of merge the picture that is rendered is 0, files follow; of prep its file is 0 */
    virtual bool getPassSampleInput(miState* state, int input, int buffer, void* value) = 0;
    virtual bool setPassSample(miState* state, int buffer, const void* value) = 0;
    /* how many inputs there are; 0 outside of such shaders */
    virtual int getPassNumber(miState* state) = 0;

protected:
    ~Interface() {}
};

}  // namespace shader_v3

namespace shader = shader_v3;

}  // namespace mi

/* Null when the host does not know the version. */
extern "C" mi::shader_v3::Interface* mi_get_shader_interface(int version = miSHADER_IF_VERSION);

namespace mi {
namespace shader_v3 {

/*
 * The frame buffers of miCamera.buffertag while an object of this class lives, to look at or to change:
 *
 *     mi::shader::Access_fb buffers(state->camera->buffertag);
 *     if (buffers.is_valid() && buffers->get_index("diffuse", index)) ...
 *
 * Names and -> are known from use only. Changes take effect at the object's end, and only before the picture is begun:
 * in geometry shaders, and in shaders that the scene calls.
 */
template <class Buffers, Buffers* (Interface::*open)(miTag), bool (Interface::*close)(Buffers*, miTag)>
class Held_framebuffer {
public:
    explicit Held_framebuffer(miTag tag) : interface_(mi_get_shader_interface()), tag_(tag), buffers_(0) {
        if (interface_) buffers_ = (interface_->*open)(tag);
    }
    ~Held_framebuffer() {
        if (buffers_) (interface_->*close)(buffers_, tag_);
        if (interface_) interface_->release();
    }
    bool is_valid() const { return buffers_ != 0; }
    Buffers* operator->() const { return buffers_; } /* null where the tag is of no frame buffers */

private:
    Held_framebuffer(const Held_framebuffer&); /* not to be copied */
    Held_framebuffer& operator=(const Held_framebuffer&);

    Interface* interface_;
    miTag tag_;
    Buffers* buffers_;
};

typedef Held_framebuffer<const Framebuffer, &Interface::accessFramebuffer, &Interface::releaseFramebuffer> Access_fb;
typedef Held_framebuffer<Framebuffer, &Interface::editFramebuffer, &Interface::releaseFramebuffer> Edit_fb;

}  // namespace shader_v3
}  // namespace mi
