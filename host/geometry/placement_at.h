// Where an instance is at a time of the shutter interval, and what the ray of a hit looks like from there.
#pragma once

#include "geometry/scene_geometry.h"
#include "support/geometry.h"

#include <algorithm>

namespace lumorender {

/// Where a FlatInstance or FlatElement is when the shutter closes.
const Placement& placementAtClose(const auto& flat) { return flat.placement[flat.motionSteps]; }

/// And at a time 0..1 of the shutter interval: linear within a step, as the ray tracing kernels move it.
M44d localToWorldAt(const auto& flat, double time) {
    if (flat.motionSteps == 0) return flat.placement->localToWorld;
    const double steps = time * flat.motionSteps;
    const int step = std::clamp(static_cast<int>(steps), 0, flat.motionSteps - 1);
    return interpolate(flat.placement[step].localToWorld, flat.placement[step + 1].localToWorld, steps - step);
}

/// Matrices of an instance at a time 0..1 of the shutter interval. What stands still is not copied.
class PlacementAt {
public:
    PlacementAt(const FlatInstance& instance, double time)
        : localToWorld_(&instance.placement->localToWorld), worldToLocal_(&instance.placement->worldToLocal) {
        if (instance.motionSteps > 0 && time > 0) interpolateTo(instance, time);
    }
    PlacementAt(const PlacementAt&) = delete;
    PlacementAt& operator=(const PlacementAt&) = delete;

    V3d pointToLocal(const V3d& p) const { return transformPoint(p, *worldToLocal_); }
    V3d vectorToLocal(const V3d& v) const { return transformVector(v, *worldToLocal_); }
    miVector vectorToWorld(const miVector& v) const { return narrow(transformVector(wide(v), *localToWorld_)); }
    V3d normalToWorld(const V3d& n) const { return transformNormal(n, *worldToLocal_); }

private:
    const M44d* localToWorld_;
    const M44d* worldToLocal_;
    M44d interpolated_{Imath::UNINITIALIZED}, inverse_{Imath::UNINITIALIZED};

    void interpolateTo(const FlatInstance& instance, double time) {
        interpolated_ = localToWorldAt(instance, time);
        inverse_ = M44d();
        invert(interpolated_, inverse_);
        localToWorld_ = &interpolated_;
        worldToLocal_ = &inverse_;
    }
};

}  // namespace lumorender
