// Between internal space and the spaces that shaders ask for. Internal space is world space, and object space for
// displacement shaders.
#pragma once

#include "mi/state.h"
#include "tracing/camera.h"
#include "tracing/context.h"

#include <array>

namespace lumorender {

/// A space other than internal, with the matrices of the state's moment. Null members: the space is unknown there.
struct SpaceMatrices {
    const M44d* toSpace = nullptr;  ///< internal to the space
    const M44d* fromSpace = nullptr;
    std::array<M44d, 2> storage = {Imath::UNINITIALIZED, Imath::UNINITIALIZED};  ///< used where the placement moves
};

enum class Space { World, Camera, Object, Light };

/// Of a space that moves, or of a state whose internal space is not world space.
bool otherSpaceMatrices(const miState& state, Space space, SpaceMatrices& matrices);

/// False where the state knows no such space (no instance hit, no light instance): then it equals internal space.
inline bool spaceMatrices(const miState& state, Space space, SpaceMatrices& matrices) {
    if (state.type == miRAY_DISPLACE || (space != Space::World && space != Space::Camera))
        return otherSpaceMatrices(state, space, matrices);
    const Camera* const camera = space == Space::Camera ? contextOf(&state).scene->projection.get() : nullptr;
    if (!camera) return false;
    matrices.toSpace = &camera->placement().worldToLocal;
    matrices.fromSpace = &camera->placement().localToWorld;
    return true;
}

/// The matrices as single-precision arrays that live at least as long as the running shader, or null.
const miScalar* matrixToSpace(miState& state, Space space);
const miScalar* matrixFromSpace(miState& state, Space space);

void toCamera(const miState& state, const miVector& point, miVector& result);
void normalToCamera(const miState& state, const miVector& normal, miVector& result);

}  // namespace lumorender
