#include "SDK/surface/secondary_rays.h"

#include "SDK/color/color.h"
#include "SDK/passes/level_filters.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

/* More rays than anybody can wait for. */
constexpr miInteger kMostRays = 1024;

miColor traceOne(miState* state, const FrameBuffers& buffers, const RayBundle& bundle, const miVector& dir,
                 const miColor& weight, RayKind passes) {
    const HitScope hit(state);
    miColor color = kBlack;
    tracePassInit(buffers.count(), buffers.entries.data(), state);
    bool seen = bundle.kind == RayKind::kRefraction ? mi_trace_refraction(&color, state, &dir)
                                                    : mi_trace_reflection(&color, state, &dir);
    if (bundle.objectsOnly) {
        seen = seen && state->child && state->child->instance != miNULLTAG;
        color.a = 1;
    }
    if (seen) depositEnvironment(buffers, state, color);
    tracePassAdd(buffers.count(), buffers.entries.data(), state, &weight, passes == RayKind::kRefraction);
    return seen ? color : kBlack;
}

/* A direction of the lobe. Those on the wrong side of the surface are mirrored by it. */
miVector directionOf(const RayBundle& bundle, const double point[2]) {
    miVector dir = lobeDirection(bundle.lobe, bundle.center, point);
    const miScalar height = mi_vector_dot(&dir, &bundle.side);
    if (height < 0) dir = mirrored(dir, bundle.side);
    return height != 0 && std::isfinite(height) ? dir : bundle.center;
}

}  // namespace

bool mayTrace(const miState* state, RayKind kind, miInteger limit) {
    const miOptions& options = *state->options;
    const bool refracts = kind == RayKind::kRefraction;
    const int level = refracts ? state->refraction_level : state->reflection_level;
    const int depth = refracts ? options.refraction_depth : options.reflection_depth;
    return options.trace && level < limit && level < depth && rayLevel(state) < options.trace_depth;
}

miColor traceBundle(miState* state, const FrameBuffers& buffers, const RayBundle& bundle, const miColor& weight,
                    RayKind passes) {
    const bool blurred = bundle.lobe.blur > 0 && std::isfinite(bundle.lobe.blur);
    if (!blurred) return traceOne(state, buffers, bundle, bundle.center, weight, passes);

    const auto count = static_cast<miUint>(rayLevel(state) > 0 ? 1 : std::clamp(bundle.rays, 1, kMostRays));
    const miScalar share = 1 / static_cast<miScalar>(count);
    miColor sum = kBlack;
    double point[2] = {0, 0};
    int taken = 0;
    for (miUint i = 0; i < count; ++i) {
        // Where the renderer has no more points to give, the rest goes straight on.
        const bool given = mi_sample(point, &taken, state, 2, &count);
        const miVector dir = given ? directionOf(bundle, point) : bundle.center;
        sum = sum + traceOne(state, buffers, bundle, dir, weight * share, passes);
    }
    return sum * share;
}

}  // namespace lumo
