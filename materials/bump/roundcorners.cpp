/* mia_roundcorners: normals that round the edges between flat surfaces. */
#include "module/export.h"
#include "module/parameters.h"
#include "math/vector.h"
#include "rays/hit_scope.h"

namespace materials {

namespace {

struct RoundCorners {
    miScalar radius;
    miBoolean allow_different_materials, force_face_forward;
};

/* Planes of other surfaces within the radius, each one once. */
class Neighbours {
public:
    Neighbours(miState* state, miScalar radius, bool anyMaterial)
        : state_(state),
          point_(state->point),
          normal_(state->normal_geom),
          radius_(radius),
          anyMaterial_(anyMaterial) {}

    /* Looks for a surface from a place along a direction, not farther than twice the radius. */
    void look(const miVector& from, const miVector& dir) {
        const HitScope hit(state_);
        if (!mi_trace_probe(state_, &dir, &from) || !state_->child) return;
        const miState& met = *state_->child;
        const bool isNear = met.dist > 0 && met.dist < static_cast<double>(2 * radius_);
        if (isNear && (anyMaterial_ || met.material == state_->material)) take(met);
    }

    /* As a rolling sphere would leave the edge: at the edge halfway between both normals. */
    miVector rounded(miVector normal) const {
        for (int i = 0; i < count_; ++i) normal = normal + planes_[i].normal * planes_[i].share;
        return unit(normal, normal_);
    }

private:
    struct Plane {
        miVector normal;
        miScalar share;
    };

    void take(const miState& met) {
        const miVector normal = unit(met.normal_geom);
        const miScalar away = std::fabs(dot(point_ - met.point, normal));
        if (!(away < radius_) || dot(normal, normal_) > kSamePlane) return;
        for (int i = 0; i < count_; ++i)
            if (dot(planes_[i].normal, normal) > kSamePlane) return;
        if (count_ < kMost) planes_[count_++] = {normal, 1 - away / radius_};
    }

    static constexpr miScalar kSamePlane = .999f;
    static constexpr int kMost = 8;

    miState* state_;
    miVector point_, normal_;
    miScalar radius_;
    bool anyMaterial_;
    Plane planes_[kMost];
    int count_ = 0;
};

/* Around the point: surfaces that rise before it, and those behind an edge, seen from beyond that. */
miVector roundedNormal(miState* state, miScalar radius, bool anyMaterial) {
    constexpr int kWays = 8;
    const miVector point = state->point, n = unit(state->normal_geom);
    const Frame frame = frameAround(n);
    Neighbours neighbours(state, radius, anyMaterial);
    const miVector lift = n * (.1f * radius);
    for (int i = 0; i < kWays; ++i) {
        const miScalar angle = 2 * kPi * (static_cast<miScalar>(i) + .25f) / kWays;
        const miVector aside = frame.u * std::cos(angle) + frame.v * std::sin(angle);
        neighbours.look(point + lift, aside);
        neighbours.look(point - lift + aside * (1.5f * radius), -aside);
    }
    return neighbours.rounded(unit(state->normal, n));
}

bool roundCorners(miVector& result, miState* state, RoundCorners& p) {
    const Parameters in(state);
    const miScalar radius = in.within(p.radius, 0, miHUGE_SCALAR);
    result = state->normal;
    if (!shadesSurface(state) || !(radius > 0) || state->type == miRAY_FINALGATHER) return true;
    miVector normal = roundedNormal(state, radius, in.isOn(p.allow_different_materials));
    const miScalar away = dot(normal, state->dir);
    if (in.isOn(p.force_face_forward) && away > 0) normal = unit(normal - state->dir * (1.001f * away), normal);
    state->normal = normal;
    state->dot_nd = dot(normal, state->dir);
    result = normal;
    return true;
}

}  // namespace

MATERIALS_SHADER(mia_roundcorners, miVector, RoundCorners, roundCorners)

}  // namespace materials
