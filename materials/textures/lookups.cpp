/* mib_texture_lookup, _lookup2, _filter_lookup: pictures on surfaces. */
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct TextureLookup {
    miTag tex;
    miVector coord;
};

struct TextureLookup2 {
    miTag tex;
    miScalar factor;
};

struct FilterLookup {
    miTag tex;
    miVector coord;
    miScalar eccmax, maxminor, disc_r;
    miBoolean bilinear;
    miInteger space;
    miTag remap;
};

bool textureLookup(miColor& result, miState* state, TextureLookup& p) {
    const Parameters in(state);
    result = boundedPictureAt(state, in(p.tex), in(p.coord));
    return true;
}

/* Copies in all directions. */
bool textureLookup2(miColor& result, miState* state, TextureLookup2& p) {
    const Parameters in(state);
    result = kNothing;
    if (textureSpaces(state) < 1) return true;
    const miVector place = state->tex_list[0] * in(p.factor);
    result = pictureAt(state, in(p.tex), {fraction(place.x), fraction(place.y), 0});
    return true;
}

/* Three points of the texture space, led through the remapping shader: that finds them where the surface's own are. */
bool remapped(miVector places[3], miState* state, miTag shader, int space) {
    constexpr int kMostSpaces = 64;
    miVector list[kMostSpaces], *const before = state->tex_list;
    const int spaces = std::min(textureSpaces(state), kMostSpaces);
    std::copy(before, before + spaces, list);
    bool known = true;
    for (int i = 0; i < 3 && known; ++i) {
        list[space] = places[i];
        state->tex_list = list;
        mi_flush_cache(state);
        miColor answer = kNothing; /* whose first words are the vector */
        known = mi_call_shader_x(&answer, miSHADER_TEXTURE, state, shader, nullptr);
        places[i] = {answer.r, answer.g, answer.b};
    }
    state->tex_list = before;
    mi_flush_cache(state);
    return known;
}

/* Over the pixel's footprint, where the surface has what that takes; else at the point. */
bool filterLookup(miColor& result, miState* state, FilterLookup& p) {
    const Parameters in(state);
    const miTag texture = in(p.tex), remap = in(p.remap);
    const miVector coord = in(p.coord);
    result = kNothing;
    if (texture == miNULLTAG) return true;
    const int space = in(p.space);
    const miScalar given = in.within(p.disc_r, 0, 100), radius = given > 0 ? given : .3f;
    miVector pixels[3], places[3];
    miMatrix toTexture;
    const bool isProjected = space >= 0 && space < std::min(textureSpaces(state), 64) &&
                             mi_texture_filter_project(pixels, places, state, radius, static_cast<miUint>(space)) &&
                             (remap == miNULLTAG || remapped(places, state, remap, space)) &&
                             mi_texture_filter_transform(toTexture, pixels, places);
    if (isProjected) {
        miTexfilter filter = {in.within(p.eccmax, 0, 1e6f), in.within(p.maxminor, 0, 1e6f), radius, in(p.bilinear), {}};
        if (mi_lookup_filter_color_texture(&result, state, texture, &filter, toTexture)) return true;
    }
    result = pictureAt(state, texture, coord);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_texture_lookup, miColor, TextureLookup, textureLookup)
MATERIALS_SHADER(mib_texture_lookup2, miColor, TextureLookup2, textureLookup2)
MATERIALS_SHADER(mib_texture_filter_lookup, miColor, FilterLookup, filterLookup)

}  // namespace materials
