// What rays take along through the kernels.
#pragma once

#include "geometry/embree.h"
#include "geometry/scene_geometry.h"

#include <span>

namespace lumorender {

/// For the function that judges a ray's hits.
struct JudgingContext {
    RayContext base;  // first: the kernels hand a pointer to it back
    const FlatInstance* instances;
    const Ray* ray;
    RTCFilterFunctionN filter;  ///< null where every hit counts
};

inline JudgingContext contextOf(const Ray& ray, std::span<const FlatInstance> instances, RTCFilterFunctionN filter) {
    JudgingContext context = {};
    initContext(context.base);
    context.instances = instances.data();
    context.ray = &ray;
    context.filter = filter;
    return context;
}

}  // namespace lumorender
