// Points, vectors and normals between internal space and the spaces that shaders ask for.
#include "tracing/camera.h"
#include "tracing/spaces.h"
#include "support/geometry.h"

#include "shader.h"

using namespace lumorender;

namespace {

enum class Kind { Point, Vector, Normal };

void convert(const miState* state, miVector* result, const miVector* input, Space space, Kind kind, bool toSpace) {
    SpaceMatrices matrices;
    if (!spaceMatrices(*state, space, matrices)) {
        *result = *input;
        return;
    }
    const M44d& forward = toSpace ? *matrices.toSpace : *matrices.fromSpace;
    const M44d& backward = toSpace ? *matrices.fromSpace : *matrices.toSpace;
    const V3d v = wide(*input);
    switch (kind) {
        case Kind::Point: *result = narrow(transformPoint(v, forward)); break;
        case Kind::Vector: *result = narrow(transformVector(v, forward)); break;
        case Kind::Normal: *result = narrow(transformNormal(v, backward)); break;
    }
}

}  // namespace

#define LUMO_SPACE(name, space)                                                                  \
    void mi_point_to_##name(const miState* state, miVector* result, const miVector* point) {     \
        convert(state, result, point, space, Kind::Point, true);                                 \
    }                                                                                            \
    void mi_point_from_##name(const miState* state, miVector* result, const miVector* point) {   \
        convert(state, result, point, space, Kind::Point, false);                                \
    }                                                                                            \
    void mi_vector_to_##name(const miState* state, miVector* result, const miVector* vector) {   \
        convert(state, result, vector, space, Kind::Vector, true);                               \
    }                                                                                            \
    void mi_vector_from_##name(const miState* state, miVector* result, const miVector* vector) { \
        convert(state, result, vector, space, Kind::Vector, false);                              \
    }                                                                                            \
    void mi_normal_to_##name(const miState* state, miVector* result, const miVector* normal) {   \
        convert(state, result, normal, space, Kind::Normal, true);                               \
    }                                                                                            \
    void mi_normal_from_##name(const miState* state, miVector* result, const miVector* normal) { \
        convert(state, result, normal, space, Kind::Normal, false);                              \
    }

extern "C" {

LUMO_SPACE(world, Space::World)
LUMO_SPACE(camera, Space::Camera)
LUMO_SPACE(object, Space::Object)
LUMO_SPACE(light, Space::Light)

void mi_point_to_raster(const miState* state, miVector* result, const miVector* point) {
    const Camera* camera = contextOf(state).scene->projection.get();
    *result = camera ? camera->worldToRaster(*point) : *point;
}

/* The sample's place in the image as a fraction of its width and height. */
miBoolean mi_raster_unit(miState* state, miScalar* x, miScalar* y) {
    if (!state->camera) return miFALSE;
    *x = state->raster_x / static_cast<miScalar>(state->camera->x_resolution);
    *y = state->raster_y / static_cast<miScalar>(state->camera->y_resolution);
    return miTRUE;
}

}  // extern "C"
