// Attributes of the hit triangle's vertices.
#include "geometry/mesh.h"
#include "tracing/context.h"

#include "shader.h"

using namespace lumorender;

namespace {

/// The list that an attribute's letter means, and how many entries each vertex has in it.
const std::vector<miVector>* listOf(const Mesh& mesh, int which, std::size_t& stride) {
    stride = 1;
    switch (which) {
        case 'p': return &mesh.positions;
        case 'n': return &mesh.normals;
        case 't': stride = mesh.textureSpaces; return &mesh.textures;
        case 'd': stride = miDERIVATIVES; return &mesh.derivatives;
        default: return nullptr;
    }
}

}  // namespace

extern "C" {

/* In object space, at shutter open: p points, n normals, t texture coordinates, d derivatives. */
miBoolean mi_tri_vectors(miState* state, int which, int index, const miVector** a, const miVector** b,
                         const miVector** c) {
    const Hit* hit = hitOf(state);
    if (!hit || !hit->instance->mesh || index < 0) return miFALSE;
    const Mesh& mesh = *hit->instance->mesh;
    std::size_t stride = 0;
    const std::vector<miVector>* list = listOf(mesh, which, stride);
    const auto entry = static_cast<std::size_t>(index);
    if (!list || list->empty() || entry >= stride) return miFALSE;

    const miVector** corners[3] = {a, b, c};
    for (std::size_t i = 0; i < 3; ++i)
        *corners[i] = &(*list)[mesh.indices[std::size_t{3} * hit->primitive + i] * stride + entry];
    return miTRUE;
}

}  // extern "C"
