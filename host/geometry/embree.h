// The ray tracing kernels' interface, of version 3 or 4: all that differs between the two is here.
#pragma once

#if LUMO_EMBREE_VERSION >= 4
#include <embree4/rtcore.h>
#else
#include <embree3/rtcore.h>
#endif

namespace lumorender {

/// What rays take along, to be handed to the filter: a function that judges every hit, null for none.
#if LUMO_EMBREE_VERSION >= 4

using RayContext = RTCRayQueryContext;
constexpr RTCSceneFlags kFilterComesWithRay = RTC_SCENE_FLAG_FILTER_FUNCTION_IN_ARGUMENTS;

inline void initContext(RayContext& context) { rtcInitRayQueryContext(&context); }

template <class Arguments>
void setArguments(Arguments& arguments, RayContext& context, RTCFilterFunctionN filter) {
    arguments.context = &context;
    arguments.filter = filter;
    if (filter) arguments.flags = RTC_RAY_QUERY_FLAG_INVOKE_ARGUMENT_FILTER;
}

inline void traceNearest(RTCScene scene, RayContext& context, RTCFilterFunctionN filter, RTCRayHit& ray) {
    RTCIntersectArguments arguments;
    rtcInitIntersectArguments(&arguments);
    setArguments(arguments, context, filter);
    rtcIntersect1(scene, &ray, &arguments);
}

inline void traceAny(RTCScene scene, RayContext& context, RTCFilterFunctionN filter, RTCRay& ray) {
    RTCOccludedArguments arguments;
    rtcInitOccludedArguments(&arguments);
    setArguments(arguments, context, filter);
    rtcOccluded1(scene, &ray, &arguments);
}

/// Rays that go nearly the same way. Lanes whose `valid` is 0 stay as they are, of the others each hit counts.
inline void traceTogether(const int* valid, RTCScene scene, RayContext& context, RTCRayHit8& rays) {
    RTCIntersectArguments arguments;
    rtcInitIntersectArguments(&arguments);
    setArguments(arguments, context, nullptr);
    arguments.flags = RTC_RAY_QUERY_FLAG_COHERENT;
    rtcIntersect8(valid, scene, &rays, &arguments);
}
inline void traceTogether(const int* valid, RTCScene scene, RayContext& context, RTCRayHit16& rays) {
    RTCIntersectArguments arguments;
    rtcInitIntersectArguments(&arguments);
    setArguments(arguments, context, nullptr);
    arguments.flags = RTC_RAY_QUERY_FLAG_COHERENT;
    rtcIntersect16(valid, scene, &rays, &arguments);
}

#else

using RayContext = RTCIntersectContext;
constexpr RTCSceneFlags kFilterComesWithRay = RTC_SCENE_FLAG_CONTEXT_FILTER_FUNCTION;

inline void initContext(RayContext& context) { rtcInitIntersectContext(&context); }

inline void traceNearest(RTCScene scene, RayContext& context, RTCFilterFunctionN filter, RTCRayHit& ray) {
    context.filter = filter;
    rtcIntersect1(scene, &context, &ray);
}

inline void traceAny(RTCScene scene, RayContext& context, RTCFilterFunctionN filter, RTCRay& ray) {
    context.filter = filter;
    rtcOccluded1(scene, &context, &ray);
}

inline void traceTogether(const int* valid, RTCScene scene, RayContext& context, RTCRayHit8& rays) {
    context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    rtcIntersect8(valid, scene, &context, &rays);
}
inline void traceTogether(const int* valid, RTCScene scene, RayContext& context, RTCRayHit16& rays) {
    context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    rtcIntersect16(valid, scene, &context, &rays);
}

#endif

}  // namespace lumorender
