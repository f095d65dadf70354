// Following rays: what is met, which shaders run, and what comes back to the caller.
#pragma once

#include "mi/state.h"
#include "tracing/context.h"
#include "mi/material.h"

namespace lumorender {

/// The eye ray of a lens shader: the next lens shader of the camera, or the scene behind the last one.
bool traceEye(miColor* result, miState* state, const miVector& org, const miVector& dir);

/// An eye ray as the camera sends it, which sees what is between the camera's clipping planes.
Ray rayOf(const RenderScene& scene, const EyeRay& eye);
/// Whether all eye rays are as the camera sends them: no lens shader turns them.
bool eyeRaysGoStraight(const RenderScene& scene);

/// The outermost eye ray, in the context's root state: lens shaders first, then what they or the ray meet.
bool traceSample(ThreadContext& context, miColor* result);

bool traceReflection(miColor* result, miState* state, const miVector& dir);
bool traceRefraction(miColor* result, miState* state, const miVector& dir);
bool traceTransparent(miColor* result, miState* state);
/// The same ray goes on as if the present hit did not exist: levels, ray type and the start of distances stay.
bool traceContinue(miColor* result, miState* state);
/// The surroundings in a direction, without tracing. Leaves the result alone where there are none.
bool traceEnvironment(miColor* result, miState* state, const miVector& dir);
/// Only what is met; no shader runs. The hit is in the child state.
bool traceProbe(miState* state, const miVector& dir, const miVector& org, RayVisibility visibility);

/// Marks the record as in use while its ray is followed, and ends the ray's shader-state entries.
class RayInFlight {
public:
    RayInFlight(ThreadContext& context, RayRecord& record) : context_(context), record_(record) {
        record.active = true;
        ++context.ray;
    }
    ~RayInFlight() {
        record_.active = false;
        context_.states.endRay(context_.ray);
        --context_.ray;
    }
    RayInFlight(const RayInFlight&) = delete;
    RayInFlight& operator=(const RayInFlight&) = delete;

private:
    ThreadContext& context_;
    RayRecord& record_;
};

/// A child of the state for one ray: a copy with the caller as its parent and no hit. Its memory lives until the
/// running shader returns, and serves the caller's next ray too.
RayRecord& childRay(ThreadContext& context, miState* state);

/// From where to where along a ray; `behind` is the hit at `near` on the same ray where it goes on from one.
struct Reach {
    double near = 0, far = 1e30;
    const Hit* behind = nullptr;
};

/// Fills the record's state with what its ray meets within reach. False for a miss, which leaves instance,
/// material, pri and dist zero. `found` is what is known of the ray already, if anything.
bool findHit(ThreadContext& context, RayRecord& record, RayVisibility visibility, const Reach& reach,
             const FoundHit* found = nullptr);

/// A ray of final gathering that ends at `far`: the record is a child of the place that gathers, ray and type are set.
bool traceGathering(miColor* result, ThreadContext& context, RayRecord& record, double far);

/// Fills the record's state with its hit: lists, normals (turned towards the ray if `flipNormals`), material.
void fillHit(ThreadContext& context, RayRecord& record, bool flipNormals);

/// The state's time as the geometry counts it: 0 when the shutter opens, 1 when it closes.
float shutterFraction(const RenderScene& scene, float time);
inline float shutterFraction(const RenderScene& scene, const miState& state) {
    return shutterFraction(scene, state.time);
}

/// The distance from which a ray that starts on a surface at `point` sees again, so that it does not meet the surface
/// itself: rounding of the point and of the kernels' intersection.
double surfaceOffset(const miVector& point);

}  // namespace lumorender
