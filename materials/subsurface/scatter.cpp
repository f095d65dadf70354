#include "subsurface/scatter.h"

#include "rays/hit_scope.h"
#include "rays/ray_points.h"

namespace materials {

namespace {

constexpr miUint kAnySurface = miTRACE_VISIBLE | miTRACE_SHADOW_CAST | miTRACE_REFLECTION_CAST;

struct Sum {
    miColor light = {0, 0, 0, 0};

    void add(const Sum& more, miScalar factor) { light += more.light * factor; }
};

/*
 * The first place along a ray, within its range, where it goes into the shaded object, or out of it. Other objects do not
 * count. Null if there is none.
 */
const miState* ownSurface(miState* state, miVector start, const miVector& dir, miScalar range, bool wantsExit,
                          miScalar& way) {
    constexpr int kMostSurfaces = 8;
    way = 0;
    for (int i = 0; i < kMostSurfaces; ++i) {
        if (!mi_trace_probe_x(state, &dir, &start, kAnySurface) || !state->child) return nullptr;
        const miState* const hit = state->child;
        way += static_cast<miScalar>(hit->dist);
        if (!(way <= range)) return nullptr;
        const bool leaves = hit->inv_normal != miFALSE;
        if (hit->instance == state->instance && leaves == wantsExit) return hit;
        start = hit->point;
    }
    return nullptr;
}

/*
 * Probes along three axes: most along the normal, where most of the surface is seen best, the others along the tangents,
 * for surfaces that bend away. Each goes through a place of the disk around its axis, distributed as the light is; what
 * they find together is weighed by the balance heuristic. Source: King et al., "BSSRDF Importance Sampling", SIGGRAPH
 * 2013 talks.
 */
class FrontProbes {
public:
    FrontProbes(const miState* state, miScalar radius, miScalar falloff)
        : point_(state->point),
          frame_(frameAround(unit(state->normal, state->normal_geom))),
          radius_(radius),
          falloff_(falloff) {}

    /* A place that the three numbers lead to, and how much it counts; null if there is none that does. */
    const miState* find(miState* state, const double random[3], miScalar& weight) const {
        const Axis axis = axisOf(random[2]);
        const miScalar distance = radius_ * scatterDistance(static_cast<miScalar>(random[0]), falloff_);
        const miScalar angle = 2 * kPi * static_cast<miScalar>(random[1]);
        const miVector aside = axis.u * (distance * std::cos(angle)) + axis.v * (distance * std::sin(angle));
        const miScalar height =
            std::max(.05f * radius_, std::sqrt(std::max(0.0f, radius_ * radius_ - distance * distance)));
        miScalar way = 0;
        const miState* place = ownSurface(state, point_ + aside + axis.up * height, -axis.up, 2 * height, false, way);
        if (!place) return nullptr;
        weight = weightOf(place->point - point_, place->normal_geom);
        return weight > 0 && dot(place->normal, frame_.n) > 0 ? place : nullptr;
    }

private:
    static constexpr miScalar kAlongNormal = .5f, kAlongTangent = .125f; /* of each end of a tangent */

    struct Axis {
        miVector up, u, v;
    };

    Axis axisOf(double random) const {
        if (random < kAlongNormal) return {frame_.n, frame_.u, frame_.v};
        const int which = std::clamp(static_cast<int>((random - kAlongNormal) / kAlongTangent), 0, 3);
        const miScalar end = which & 1 ? -1.0f : 1.0f;
        return which & 2 ? Axis{frame_.v * end, frame_.n, frame_.u} : Axis{frame_.u * end, frame_.v, frame_.n};
    }

    /* Of light at a distance, by area; not normalized. */
    miScalar profile(miScalar distance) const {
        const miScalar x = distance / radius_;
        return x < 1 ? std::pow(1 - x, falloff_) : 0;
    }

    miScalar density(const miVector& way, const miVector& normal, const miVector& axis) const {
        const miVector across = way - axis * dot(way, axis);
        return profile(length(across)) * std::fabs(dot(normal, axis));
    }

    miScalar weightOf(const miVector& way, const miVector& normal) const {
        const miScalar found = kAlongNormal * density(way, normal, frame_.n) +
                               kAlongTangent * (density(way, normal, frame_.u) + density(way, normal, frame_.v));
        return found > 0 ? profile(length(way)) / found : 0;
    }

    miVector point_;
    Frame frame_;
    miScalar radius_, falloff_;
};

void moveTo(miState* state, const miVector& point, const miVector& normal, const miVector& geometric) {
    state->point = point;
    state->normal = normal;
    state->normal_geom = geometric;
}

}  // namespace

miScalar scatterDistance(miScalar random, miScalar falloff) {
    /* Share of the light within x: 1 - (1 - x)^(f + 1) (1 + (f + 1) x); Newton's steps, kept between known bounds. */
    const miScalar f = clamped(falloff, 0, 1000);
    miScalar low = 0, high = 1, x = 1 - std::pow(1 - random, 1 / (f + 1.5f));
    for (int i = 0; i < 12; ++i) {
        const miScalar rest = std::pow(1 - x, f);
        const miScalar error = 1 - rest * (1 - x) * (1 + (f + 1) * x) - random;
        if (std::fabs(error) < 1e-5f) break;
        (error > 0 ? high : low) = x;
        const miScalar slope = (f + 1) * (f + 2) * rest * x;
        const miScalar next = slope > 0 ? x - error / slope : x;
        x = next > low && next < high ? next : .5f * (low + high);
    }
    return x;
}

int Scattering::probes(const miState* state) const {
    constexpr int kLookUpsOfAProbe = 4, kMostProbes = 128;
    if (state->type == miRAY_FINALGATHER) return 1;
    const int wanted = std::clamp(samples, 1, kLookUpsOfAProbe * kMostProbes);
    return raysAtLevel(state, (wanted + kLookUpsOfAProbe - 1) / kLookUpsOfAProbe);
}

miColor Scattering::irradiance(miState* state) const {
    const miVector normal = state->normal, view = -state->dir;
    return sumOfLights<Sum>(state, lights,
                            [&](Sum& sum, const LightSample& sample) {
                                const miScalar cosine = dot(normal, sample.dir);
                                const miScalar weight = std::max(0.0f, 1 - bias * dot(view, sample.dir));
                                if (cosine > 0) sum.light += sample.color * (cosine * weight);
                            })
        .light;
}

miColor Scattering::front(miState* state, miScalar radius) const {
    const HitScope hit(state);
    if (!(radius > 0)) return irradiance(state);
    const FrontProbes rays(state, radius, std::max(falloff, 0.0f));
    const auto count = static_cast<miUint>(probes(state));
    double random[3];
    int taken = 0;
    miColor sum = kBlack;
    miScalar weights = 0;
    while (mi_sample(random, &taken, state, 3, &count)) {
        const HitScope here(state);
        miScalar weight = 0;
        const miState* place = rays.find(state, random, weight);
        if (!place) continue;
        moveTo(state, place->point, place->normal, place->normal_geom);
        sum += irradiance(state) * weight;
        weights += weight;
    }
    /* Even light comes back as it is, however much of the surface there is. */
    return weights > 0 ? sum * (1 / weights) : irradiance(state);
}

miColor Scattering::back(miState* state, miScalar radius, miScalar depth) const {
    if (!(depth > 0)) return kBlack;
    const HitScope hit(state);
    const miVector point = state->point;
    const Frame frame = frameAround(unit(state->normal, state->normal_geom));
    return meanOverPoints(state, probes(state), [&](const double* random) {
        const HitScope here(state);
        miScalar way = 0;
        const miScalar distance = std::max(radius, 0.0f) * scatterDistance(static_cast<miScalar>(random[0]), falloff);
        const miScalar angle = 2 * kPi * static_cast<miScalar>(random[1]);
        const miVector aside = frame.u * (distance * std::cos(angle)) + frame.v * (distance * std::sin(angle));
        const miState* place = ownSurface(state, point + aside, -frame.n, depth, true, way);
        if (!place) return kBlack;
        moveTo(state, place->point, -place->normal, -place->normal_geom);
        return irradiance(state) * (1 - way / depth);
    });
}

}  // namespace materials
