#include "rays/reflections.h"

#include "rays/gloss_of_ray.h"
#include "rays/hit_scope.h"

namespace materials {

namespace {

/* The rays of one lobe under way. */
class Bundle {
public:
    Bundle(const Reflections& settings, miState* state, const miColor& level)
        : settings_(settings), state_(state), hit_(state) {
        if (settings.environment != miNULLTAG) state->environment = settings.environment;
        const miScalar weight = state->importance * largest(level);
        const int depth = settings.limits.depth;
        mayTrace_ = (depth <= 0 || state->reflection_level < depth) && !(weight < settings.limits.cutoff);
        weight_ = weight;
    }

    miColor along(const miVector& dir) {
        const HitScope hit(state_);
        if (!mayTrace_) return surroundings(dir);
        const bool limited = settings_.reach.isLimited();
        miScalar share = 1;
        if (limited || settings_.singleEnvironment) {
            const bool met = mi_trace_probe(state_, &dir, &state_->point) && state_->child;
            if (!met && settings_.singleEnvironment && !settings_.reach.fadesToColor) return leftOut();
            if (limited) share = met ? settings_.reach.share(state_->child->dist) : 0;
        }
        return share > 0 ? mix(beyond(dir, share < 1), met(dir), share) : beyond(dir, true);
    }

    /* The environment in a direction, black without one. */
    miColor surroundings(const miVector& dir) {
        miColor color = kBlack;
        const GlossScope gloss(state_, settings_.singleEnvironment ? settings_.gloss : 1);
        return mi_trace_environment(&color, state_, &dir) ? color * settings_.environmentColor : kBlack;
    }

    /* How many rays left their look at the environment to one for all of them. */
    int missed() const { return missed_; }

private:
    miColor leftOut() {
        ++missed_;
        return kBlack;
    }

    miColor met(const miVector& dir) {
        miColor color = kBlack;
        state_->importance = weight_;
        if (!mi_trace_reflection(&color, state_, &dir)) return surroundings(dir);
        const bool missed = state_->child && state_->child->instance == miNULLTAG;
        return missed ? color * settings_.environmentColor : color;
    }

    miColor beyond(const miVector& dir, bool isSeen) {
        if (!isSeen) return kBlack;
        return settings_.reach.fadesToColor ? settings_.reach.color : surroundings(dir);
    }

    const Reflections& settings_;
    miState* state_;
    const HitScope hit_;
    miScalar weight_;
    bool mayTrace_;
    int missed_ = 0;
};

}  // namespace

miVector aboveSurface(const miState* state, const miVector& dir) {
    return dot(dir, state->normal_geom) < 0 ? mirrored(dir, state->normal_geom) : dir;
}

miColor Reflections::traced(miState* state, const miVector& normal, const Facets* lobe, const miColor& level) const {
    const miVector view = -state->dir;
    const miVector center = aboveSurface(state, mirrored(state->dir, normal));
    Bundle rays(*this, state, level);
    if (!lobe || limits.samples <= 0) {
        const miColor color = rays.along(center);
        return rays.missed() > 0 ? rays.surroundings(center) : color;
    }
    const int count = raysAtLevel(state, limits.samples);
    const miColor mean = meanOverPoints(state, count, [&](const double* point) {
        return rays.along(aboveSurface(state, mirrored(state->dir, lobe->facetNormal(view, point))));
    });
    if (rays.missed() == 0) return mean;
    return mean + rays.surroundings(center) * (static_cast<miScalar>(rays.missed()) / static_cast<miScalar>(count));
}

}  // namespace materials
