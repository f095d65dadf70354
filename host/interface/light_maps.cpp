// What light map shaders ask of the host.
#include "image/writable_texture.h"
#include "lightmaps/light_map_calls.h"
#include "support/messages.h"

#include "shader.h"

using namespace lumorender;

namespace {

/// The map of a shader that is called to draw it, or to complete it; null after a message.
WritableTexture* mapFor(const char* function, miTag texture, bool completes) {
    LightMapCalls* calls = LightMapCalls::running();
    if (!calls || calls->completes() != completes) {
        warning("API", "{}: only light map shaders call it, {}", function,
                completes ? "when all triangles are drawn" : "for a triangle");
        return nullptr;
    }
    WritableTexture* map = calls->map(texture);
    if (!map) warning("API", "{}: the texture is not writable, no light map can be made of it", function);
    return map;
}

}  // namespace

extern "C" {

miBoolean mi_lightmap_sample(miState*, miTag texture, int* x, int* y) {
    if (!mapFor("mi_lightmap_sample", texture, false)) return miFALSE;
    return LightMapCalls::running()->nextTexel(texture, *x, *y) ? miTRUE : miFALSE;
}

miBoolean mi_lightmap_edges(miState*, miTag texture, int texels) {
    WritableTexture* map = mapFor("mi_lightmap_edges", texture, true);
    if (map) map->growEdges(texels);
    return map ? miTRUE : miFALSE;
}

}  // extern "C"
