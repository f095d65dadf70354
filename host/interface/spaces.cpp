// Points, vectors and normals between internal space and the spaces that shaders ask for.
#include "tracing/camera.h"
#include "tracing/spaces.h"
#include "support/geometry.h"

#include "shader.h"

using namespace lumorender;

namespace {

enum class Kind { Point, Vector, Normal };

template <Kind kind>
miVector converted(const miVector& input, const M44d& forward, const M44d& backward) {
    const V3d v = wide(input);
    if constexpr (kind == Kind::Point) return narrow(transformPoint(v, forward));
    if constexpr (kind == Kind::Vector) return narrow(transformVector(v, forward));
    if constexpr (kind == Kind::Normal) return narrow(transformNormal(v, backward));
}

template <Space space, Kind kind, bool toSpace>
void convert(const miState* state, miVector* result, const miVector* input) {
    SpaceMatrices matrices;
    *result = spaceMatrices(*state, space, matrices)
                  ? converted<kind>(*input, toSpace ? *matrices.toSpace : *matrices.fromSpace,
                                    toSpace ? *matrices.fromSpace : *matrices.toSpace)
                  : *input;
}

}  // namespace

#define LUMO_SPACE(name, space)                                                                  \
    void mi_point_to_##name(const miState* state, miVector* result, const miVector* point) {     \
        convert<space, Kind::Point, true>(state, result, point);                                 \
    }                                                                                            \
    void mi_point_from_##name(const miState* state, miVector* result, const miVector* point) {   \
        convert<space, Kind::Point, false>(state, result, point);                                \
    }                                                                                            \
    void mi_vector_to_##name(const miState* state, miVector* result, const miVector* vector) {   \
        convert<space, Kind::Vector, true>(state, result, vector);                               \
    }                                                                                            \
    void mi_vector_from_##name(const miState* state, miVector* result, const miVector* vector) { \
        convert<space, Kind::Vector, false>(state, result, vector);                              \
    }                                                                                            \
    void mi_normal_to_##name(const miState* state, miVector* result, const miVector* normal) {   \
        convert<space, Kind::Normal, true>(state, result, normal);                               \
    }                                                                                            \
    void mi_normal_from_##name(const miState* state, miVector* result, const miVector* normal) { \
        convert<space, Kind::Normal, false>(state, result, normal);                              \
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
