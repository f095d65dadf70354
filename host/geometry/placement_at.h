// Where an instance is at the time of a hit, and what the hit's ray looks like from there.
#pragma once

#include "geometry/scene_geometry.h"
#include "support/geometry.h"

namespace lumorender {

/// Matrices of an instance at a time 0..1 of the shutter interval. What stands still is not copied.
class PlacementAt {
public:
    PlacementAt(const FlatInstance& instance, double time)
        : localToWorld_(&instance.placement->localToWorld), worldToLocal_(&instance.placement->worldToLocal) {
        if (instance.moves && time > 0) interpolateTo(instance, time);
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
        interpolated_ = interpolate(instance.placement->localToWorld, instance.placementAtClose->localToWorld, time);
        inverse_ = M44d();
        invert(interpolated_, inverse_);
        localToWorld_ = &interpolated_;
        worldToLocal_ = &inverse_;
    }
};

}  // namespace lumorender
