/* Blur of glossy reflections and refractions, by widths along two axes. */
#pragma once

#include "lobes/facets.h"
#include "module/parameters.h"
#include "rays/ray_points.h"

namespace materials {

/* Parameters. */
struct Blur {
    miInteger samples;
    miScalar u_spread, v_spread;
    miVector u_axis, v_axis;
};

struct GlossyLobe {
    int samples; /* rays; 0 without a blur */
    Facets facets;

    GlossyLobe(const miState* state, const Parameters& in, const Blur& p, const miVector& normal)
        : GlossyLobe(in.share(p.u_spread), in.share(p.v_spread), in.count(p.samples, 0, kMostRays),
                     frameOf(state, in, p, normal)) {}

    /* Null without a blur. */
    const Facets* get() const { return samples > 0 ? &facets : nullptr; }

private:
    GlossyLobe(miScalar u, miScalar v, int wanted, const Frame& frame)
        : samples(u > 0 || v > 0 ? wanted : 0), facets(frame, std::max(u, 1e-3f), std::max(v, 1e-3f)) {}

    /* The axes given, else those of the surface's derivatives. */
    static Frame frameOf(const miState* state, const Parameters& in, const Blur& p, const miVector& normal) {
        const miVector u = in(p.u_axis), v = in(p.v_axis);
        if (isFinite(u) && dot(u, u) > 0) return frameAround(normal, u);
        if (isFinite(v) && dot(v, v) > 0) return frameAround(normal, cross(v, normal));
        return state->derivs ? frameAround(normal, state->derivs[0]) : frameAround(normal);
    }
};

}  // namespace materials
