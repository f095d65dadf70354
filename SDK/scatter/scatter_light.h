/* Light that enters a surface: what the lights give at one of its points. */
#pragma once

#include "SDK/framework/renderer_access.h"
#include "SDK/surface/secondary_rays.h"

namespace lumo {

/* A point of the surface, and its outside. */
struct EntryPoint {
    miVector point;
    miVector normal, geometric; /* unit length */
};

/* The surface whose light is gathered: which hits belong to it, and on which side the light enters. */
class ScatterSurface {
public:
    explicit ScatterSurface(const miState* state)
        : instance_(state->instance), material_(state->material), inverted_(state->inv_normal != 0) {}

    bool owns(const miState& hit) const { return hit.instance == instance_ && hit.material == material_; }

    /* Normals of hits are turned towards the ray. The outside is the side that the shaded point is seen from, also
     * where a model's normals point inwards. */
    EntryPoint entryAt(const miState& hit) const {
        EntryPoint entry = {hit.point, hit.normal, hit.normal_geom};
        if ((hit.inv_normal != 0) != inverted_) {
            mi_vector_neg(&entry.normal);
            mi_vector_neg(&entry.geometric);
        }
        return entry;
    }

private:
    const miTag instance_, material_;
    const bool inverted_;
};

/* A ray through more layers than any object should have ends there. */
constexpr int kMostProbeHits = 32;

/* Calls `visit(hit state)` for the surface's hits along a ray, `way` long at most. */
template <class Visit>
void probeSurface(miState* state, const ScatterSurface& surface, miVector org, const miVector& dir, double way,
                  Visit visit) {
    for (int i = 0; i < kMostProbeHits && mi_trace_probe(state, &dir, &org); ++i) {
        const miState* hit = state->child;
        if (!hit || !(hit->dist > 0) || !(hit->dist <= way)) return;
        way -= hit->dist;
        org = hit->point;
        if (surface.owns(*hit)) visit(*hit);
    }
}

/* While it lives, lights may be asked at other points than the shaded one, and nothing is written to any pass. Then the
 * state and the per-sample record are as before. */
class EntryScope {
public:
    EntryScope(miState* state, Vexabase& record);
    ~EntryScope();

    EntryScope(const EntryScope&) = delete;
    EntryScope& operator=(const EntryScope&) = delete;

    /* Sum of light x cosine of the lights that the surface has, at this point, or at the shaded one. Ambient light,
     * which the surface takes up where it is, is not among them. */
    miColor lightAt(const EntryPoint& entry) const;
    miColor lightHere() const;

private:
    miColor lightFrom(miTag light) const;

    miState* const state_;
    Vexabase& record_;
    const InUseGuard closed_;
    const HitScope hit_;
    const miVector geometric_;
    const miScalar dotNd_;
    const Vexabase before_;
    miInteger withoutShadows_;
};

}  // namespace lumo
