// What rays take along through the kernels.
#pragma once

#include "geometry/embree.h"
#include "geometry/scene_geometry.h"

#include <span>

namespace lumorender {

struct ShapeHit;

/// For the function that judges a ray's hits.
struct JudgingContext {
    RayContext base;  // first: the kernels hand a pointer to it back
    const FlatInstance* instances;
    const Ray* ray;
    RTCFilterFunctionN filter;  ///< null where every hit counts
    ShapeHit* shape;            ///< the nearest so far, where the ray meets surfaces that shaders find
};

inline JudgingContext contextOf(const Ray& ray, std::span<const FlatInstance> instances, RTCFilterFunctionN filter,
                                ShapeHit* shape) {
    JudgingContext context = {};
    initContext(context.base);
    context.instances = instances.data();
    context.ray = &ray;
    context.filter = filter;
    context.shape = shape;
    return context;
}

}  // namespace lumorender
