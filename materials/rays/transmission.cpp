#include "rays/transmission.h"

#include "rays/hit_scope.h"

namespace materials {

namespace {

enum class Way { kStraight, kBent, kReflected };

/* Kept on the other side of the true surface. */
miVector belowSurface(const miState* state, const miVector& dir) {
    return dot(dir, state->normal_geom) > 0 ? mirrored(dir, state->normal_geom) : dir;
}

class Bundle {
public:
    Bundle(const Transmission& settings, miState* state, const miVector& normal, const miColor& level)
        : settings_(settings), state_(state), normal_(normal), weight_(state->importance * largest(level)) {
        const int depth = settings.limits.depth;
        mayTrace_ = (depth <= 0 || state->refraction_level < depth) && !(weight_ < settings.limits.cutoff);
    }

    /* Through a facet. */
    miColor through(const miVector& facet) {
        miVector dir = state_->dir;
        if (settings_.isSheet) {
            /* A facet spreads what goes through a sheet as it spreads what is mirrored. */
            const miVector spread = belowSurface(state_, mirrored(mirrored(state_->dir, facet), normal_));
            const bool straight = facet.x == normal_.x && facet.y == normal_.y && facet.z == normal_.z;
            return straight ? along(state_->dir, Way::kStraight) : along(spread, Way::kBent);
        }
        if (!refracted(dir, state_->dir, facet, isInside(state_) ? settings_.ior : 1 / settings_.ior))
            return along(aboveSurface(state_, mirrored(state_->dir, facet)), Way::kReflected);
        return along(belowSurface(state_, dir), Way::kBent);
    }

    miScalar alpha() const { return rays_ > 0 ? alpha_ / static_cast<miScalar>(rays_) : 1; }

private:
    miColor along(const miVector& dir, Way way) {
        const HitScope hit(state_);
        ++rays_;
        miColor color = kBlack;
        /* Inside: what enters the solid, and what stays in it. */
        const bool inside = !settings_.isSheet && isInside(state_) == (way == Way::kReflected);
        const bool limited = inside && settings_.reach.isLimited();
        const bool endsEarly = limited && !settings_.reach.fadesToColor;
        if (endsEarly && !reaches(dir)) return counted(settings_.reach.beyond, 1);

        state_->importance = weight_;
        if (!mayTrace_ || !trace(color, dir, way)) {
            color = kBlack;
            color.a = 0;
            mi_trace_environment(&color, state_, &dir);
            return counted(limited ? settings_.reach.through(color, 0) : color, color.a);
        }
        const double met = limited && state_->child ? state_->child->dist : 0;
        return counted(limited ? settings_.reach.through(color, met) : color, color.a);
    }

    bool trace(miColor& color, const miVector& dir, Way way) {
        switch (way) {
            case Way::kStraight: return mi_trace_transparent(&color, state_);
            case Way::kBent: return mi_trace_refraction(&color, state_, &dir);
            case Way::kReflected: break;
        }
        return mi_trace_reflection(&color, state_, &dir);
    }

    bool reaches(const miVector& dir) {
        return mi_trace_probe(state_, &dir, &state_->point) && state_->child &&
               settings_.reach.share(state_->child->dist) > 0;
    }

    miColor counted(const miColor& color, miScalar alpha) {
        alpha_ += alpha;
        return color;
    }

    const Transmission& settings_;
    miState* state_;
    miVector normal_;
    miScalar weight_;
    bool mayTrace_ = false;
    miScalar alpha_ = 0;
    int rays_ = 0;
};

}  // namespace

bool refracted(miVector& result, const miVector& dir, const miVector& normal, miScalar ratio) {
    const miScalar cosine = -dot(dir, normal);
    const miScalar squaredCosOut = 1 - ratio * ratio * (1 - cosine * cosine);
    if (!(squaredCosOut > 0)) return false;
    result = unit(dir * ratio + normal * (ratio * cosine - std::sqrt(squaredCosOut)), dir);
    return true;
}

Transmission::Seen Transmission::traced(miState* state, const miVector& normal, const Facets* lobe,
                                        const miColor& level) const {
    Bundle rays(*this, state, normal, level);
    const miVector view = -state->dir;
    const miColor color =
        lobe && limits.samples > 0
            ? meanOverPoints(state, raysAtLevel(state, limits.samples),
                             [&](const double* point) { return rays.through(lobe->facetNormal(view, point)); })
            : rays.through(normal);
    return {color, rays.alpha()};
}

}  // namespace materials
