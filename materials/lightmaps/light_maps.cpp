/*
 * mib_lightmap_write, mib_lightmap_sample: light on surfaces, put into a texture before the picture is rendered, and
 * looked up from it. misss_lightmap_write stands in scenes whose subsurface shaders need such a map; ours do without.
 */
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

constexpr int kMostEdges = 64;

struct LightMapWrite {
    miTag texture;
    miVector coord;
    miColor input;
    miBoolean flip;
    miInteger edges;
};

struct LightMapSample {
    miTag texture;
    miVector coord;
    miBoolean flip;
};

struct SubsurfaceMap {
    miTag lightmap, depthmap, lightmap_group;
    miScalar lightmap_size;
    miBoolean write_lightmap;
    miScalar scatter_bias;
    miColor input;
};

/* Without a connected vector, or with a null one, the surface's own first coordinates. */
miVector placeOnMap(miState* state, const miVector& coord, bool flips) {
    const bool isGiven = coord.x != 0 || coord.y != 0 || coord.z != 0;
    miVector place = isGiven || textureSpaces(state) < 1 ? coord : state->tex_list[0];
    if (flips) place.y = 1 - place.y;
    return place;
}

/* Goes through the texels of the triangle and evaluates the light at each. */
void drawTriangle(miState* state, const LightMapWrite& p, miTag texture) {
    const Parameters in(state);
    auto* image = static_cast<miImg_image*>(const_cast<void*>(mi_db_access(texture)));
    int x = 0, y = 0;
    while (mi_lightmap_sample(state, texture, &x, &y)) {
        miColor light = in(p.input);
        mi_img_put_color(image, &light, x, y);
    }
    mi_db_unpin(texture);
}

/* As the shader of anything but a light map it is what it gets. */
bool writeLightMap(miColor& result, miState* state, LightMapWrite& p) {
    const Parameters in(state);
    if (state->type == miRAY_LM_VERTEX) {
        const miVector place = placeOnMap(state, in(p.coord), in.isOn(p.flip));
        result = {place.x, place.y, 0, 0};
        return in(p.texture) != miNULLTAG && isFinite(place);
    }
    if (state->type != miRAY_LM_MESH) {
        result = in(p.input);
        return true;
    }
    const miTag texture = in(p.texture);
    if (texture == miNULLTAG) return false;
    if (state->instance == miNULLTAG)
        mi_lightmap_edges(state, texture, in.count(p.edges, 0, kMostEdges));
    else
        drawTriangle(state, p, texture);
    return true;
}

/* Between the centers of the outermost texels, so that nothing comes in from the other side of the map. */
miScalar insideOf(miScalar place, int texels) {
    const miScalar edge = .5f / static_cast<miScalar>(texels < 1 ? 1 : texels);
    return clamped(place, edge, 1 - edge);
}

bool sampleLightMap(miColor& result, miState* state, LightMapSample& p) {
    const Parameters in(state);
    const miTag texture = in(p.texture);
    miVector place = placeOnMap(state, in(p.coord), in.isOn(p.flip));
    int width = 0, height = 0;
    if (mi_query(miQ_IMAGE_WIDTH, state, texture, &width) && mi_query(miQ_IMAGE_HEIGHT, state, texture, &height))
        place = {insideOf(place.x, width), insideOf(place.y, height), 0};
    result = pictureAt(state, texture, place);
    return true;
}

/* Nothing is drawn: misss_fast_shader and its kin look for light on the surface when they shade it. */
bool subsurfaceMap(miColor& result, miState* state, SubsurfaceMap& p) {
    if (state->type == miRAY_LM_VERTEX || state->type == miRAY_LM_MESH) return false;
    result = Parameters(state)(p.input);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_lightmap_write, miColor, LightMapWrite, writeLightMap)
MATERIALS_SHADER(mib_lightmap_sample, miColor, LightMapSample, sampleLightMap)
MATERIALS_SHADER(misss_lightmap_write, miColor, SubsurfaceMap, subsurfaceMap)

}  // namespace materials
