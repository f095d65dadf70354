/* Reflected and refracted rays of one hit, alone or in blurred bundles, and what they leave in the passes. */
#pragma once

#include "SDK/passes/frame_buffers.h"
#include "SDK/surface/lobes.h"

namespace lumo {

/* Renderers hand the place of what a secondary ray hit back in the caller's state; shading goes on at its own point. */
class HitScope {
public:
    explicit HitScope(miState* state)
        : state_(state),
          label_(state->label),
          point_(state->point),
          normal_(state->normal),
          motion_(state->motion),
          dist_(state->dist),
          ior_(state->ior),
          iorIn_(state->ior_in),
          refractionVolume_(state->refraction_volume) {}
    ~HitScope() {
        state_->label = label_;
        state_->point = point_;
        state_->normal = normal_;
        state_->motion = motion_;
        state_->dist = dist_;
        state_->ior = ior_;
        state_->ior_in = iorIn_;
        state_->refraction_volume = refractionVolume_;
    }

    HitScope(const HitScope&) = delete;
    HitScope& operator=(const HitScope&) = delete;

private:
    miState* const state_;
    const miUint label_;
    const miVector point_, normal_, motion_;
    const double dist_;
    const miScalar ior_, iorIn_;
    const miTag refractionVolume_;
};

enum class RayKind { kReflection, kRefraction };

/* Whether the render's depths allow one more ray, for a material that wants no more than `limit` of the kind. */
bool mayTrace(const miState* state, RayKind kind, miInteger limit);

struct RayBundle {
    RayKind kind;
    miVector center;          /* unit length */
    miVector side;            /* no ray leaves to the other side of the surface than this vector */
    Lobe lobe;                /* without blur there is one sharp ray */
    miInteger rays;           /* only the first bundle of a path is more than one ray, or their number would explode */
    bool objectsOnly = false; /* rays that meet nothing are black, and alpha is the share of the others */
};

/* Mean color of the rays. Their passes are added to this level's, times `weight`, as reflected or refracted light. */
miColor traceBundle(miState* state, const FrameBuffers& buffers, const RayBundle& bundle, const miColor& weight,
                    RayKind passes);

/* An arriving direction, mirrored by the surface with this normal (either side). Unit length. */
inline miVector mirrored(const miVector& dir, const miVector& normal) {
    const miScalar twice = 2 * mi_vector_dot(&normal, &dir);
    return {dir.x - twice * normal.x, dir.y - twice * normal.y, dir.z - twice * normal.z};
}

}  // namespace lumo
