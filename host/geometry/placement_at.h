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

/// Matrices of an instance at a time 0..1 of the shutter interval. What stands still is not copied, what stands where it
/// was modelled is not transformed.
class PlacementAt {
public:
    PlacementAt(const FlatInstance& instance, double time)
        : localToWorld_(instance.inPlace ? nullptr : &instance.placement->localToWorld),
          worldToLocal_(instance.inPlace ? nullptr : &instance.placement->worldToLocal) {
        if (instance.motionSteps > 0 && time > 0) interpolateTo(instance, time);
    }
    PlacementAt(const PlacementAt&) = delete;
    PlacementAt& operator=(const PlacementAt&) = delete;

    V3d pointToLocal(const V3d& p) const { return worldToLocal_ ? transformPoint(p, *worldToLocal_) : p; }
    V3d vectorToLocal(const V3d& v) const { return worldToLocal_ ? transformVector(v, *worldToLocal_) : v; }
    miVector vectorToWorld(const miVector& v) const {
        return localToWorld_ ? narrow(transformVector(wide(v), *localToWorld_)) : v;
    }
    V3d normalToWorld(const V3d& n) const { return worldToLocal_ ? transformNormal(n, *worldToLocal_) : n; }
    miVector normalToWorld(const miVector& n) const {
        return worldToLocal_ ? narrow(transformNormal(wide(n), *worldToLocal_)) : n;
    }

private:
    const M44d* localToWorld_;  ///< null where nothing is transformed
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
