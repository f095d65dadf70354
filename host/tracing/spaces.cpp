#include "tracing/spaces.h"

#include "tracing/camera.h"
#include "geometry/placement_at.h"
#include "support/geometry.h"

#include "shader.h"

#include <algorithm>

namespace lumorender {

namespace {

/// The placement of a moving instance at the hit's time.
void placementAt(const FlatInstance& instance, float time, SpaceMatrices& matrices) {
    auto& [toSpace, fromSpace] = matrices.storage;
    fromSpace = localToWorldAt(instance, time);
    toSpace = M44d();
    invert(fromSpace, toSpace);
    matrices.toSpace = &toSpace;
    matrices.fromSpace = &fromSpace;
}

void usePlacement(const Placement& placement, SpaceMatrices& matrices) {
    matrices.toSpace = &placement.worldToLocal;
    matrices.fromSpace = &placement.localToWorld;
}

bool objectMatrices(const miState& state, SpaceMatrices& matrices) {
    const Hit* hit = hitOf(&state);
    if (hit && hit->instance->instance == state.instance) {
        if (hit->instance->motionSteps > 0)
            placementAt(*hit->instance, hit->time, matrices);
        else
            usePlacement(*hit->instance->placement, matrices);
        return true;
    }
    const Placement* placement = contextOf(&state).scene->geometry->placement(state.instance);
    if (placement) usePlacement(*placement, matrices);
    return placement != nullptr;
}

/// While an object is displaced internal space is the object's own.
bool matricesOfDisplacement(const miState& state, Space space, SpaceMatrices& matrices) {
    const RenderScene& scene = *contextOf(&state).scene;
    const Placement* placement = scene.geometry->placement(state.instance);
    if (!placement || space == Space::Object || space == Space::Light) return false;
    usePlacement(*placement, matrices);
    std::swap(matrices.toSpace, matrices.fromSpace);
    if (space == Space::World) return true;
    if (!scene.projection) return false;
    const Placement& camera = scene.projection->placement();
    auto& [toSpace, fromSpace] = matrices.storage;
    toSpace = placement->localToWorld * camera.worldToLocal;
    fromSpace = camera.localToWorld * placement->worldToLocal;
    matrices.toSpace = &toSpace;
    matrices.fromSpace = &fromSpace;
    return true;
}

const miScalar* floatMatrix(miState& state, const M44d& m) {
    auto* result = contextOf(&state).arena.allocateArray<miScalar>(16);
    std::transform(m.getValue(), m.getValue() + 16, result, [](double v) { return static_cast<miScalar>(v); });
    return result;
}

}  // namespace

bool otherSpaceMatrices(const miState& state, Space space, SpaceMatrices& matrices) {
    if (state.type == miRAY_DISPLACE) return matricesOfDisplacement(state, space, matrices);
    const SceneGeometry* const geometry = contextOf(&state).scene->geometry.get();
    if (!geometry) return false;
    if (space == Space::Object) return state.instance != 0 && objectMatrices(state, matrices);
    const Placement* placement = state.light_instance ? geometry->placement(state.light_instance) : nullptr;
    if (placement) usePlacement(*placement, matrices);
    return placement != nullptr;
}

const miScalar* matrixToSpace(miState& state, Space space) {
    SpaceMatrices matrices;
    return spaceMatrices(state, space, matrices) ? floatMatrix(state, *matrices.toSpace) : nullptr;
}

const miScalar* matrixFromSpace(miState& state, Space space) {
    SpaceMatrices matrices;
    return spaceMatrices(state, space, matrices) ? floatMatrix(state, *matrices.fromSpace) : nullptr;
}

void toCamera(const miState& state, const miVector& point, miVector& result) {
    SpaceMatrices matrices;
    result = point;
    if (spaceMatrices(state, Space::Camera, matrices)) result = narrow(transformPoint(wide(point), *matrices.toSpace));
}

void normalToCamera(const miState& state, const miVector& normal, miVector& result) {
    SpaceMatrices matrices;
    result = normal;
    if (spaceMatrices(state, Space::Camera, matrices))
        result = narrow(transformNormal(wide(normal), *matrices.fromSpace));
}

}  // namespace lumorender
