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

/* A place in the disk of the radius around the normal. */
miVector placeInDisk(const Frame& frame, miScalar radius, const double point[2], miScalar falloff, miScalar& distance) {
    distance = radius * scatterDistance(static_cast<miScalar>(point[0]), falloff);
    const miScalar angle = 2 * kPi * static_cast<miScalar>(point[1]);
    return frame.u * (distance * std::cos(angle)) + frame.v * (distance * std::sin(angle));
}

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
        (error > 0 ? high : low) = x;
        const miScalar slope = (f + 1) * (f + 2) * rest * x;
        const miScalar next = slope > 0 ? x - error / slope : x;
        x = next > low && next < high ? next : .5f * (low + high);
        if (std::fabs(error) < 1e-5f) break;
    }
    return x;
}

int Scattering::probes(const miState* state) const {
    constexpr int kLookUpsOfAProbe = 8, kMostProbes = 64;
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
    const miVector point = state->point;
    const Frame frame = frameAround(state->normal_geom);
    miColor sum = kBlack;
    int found = 0;
    meanOverPoints(state, probes(state), [&](const double* random) {
        const HitScope here(state);
        miScalar distance = 0, way = 0;
        const miVector aside = placeInDisk(frame, radius, random, falloff, distance);
        const miScalar height =
            std::max(.05f * radius, std::sqrt(std::max(0.0f, radius * radius - distance * distance)));
        const miState* place = ownSurface(state, point + aside + frame.n * height, -frame.n, 2 * height, false, way);
        if (!place) return kBlack;
        ++found;
        moveTo(state, place->point, place->normal, place->normal_geom);
        sum += irradiance(state);
        return kBlack;
    });
    return found > 0 ? sum * (1 / static_cast<miScalar>(found)) : irradiance(state);
}

miColor Scattering::back(miState* state, miScalar radius, miScalar depth) const {
    if (!(depth > 0)) return kBlack;
    const HitScope hit(state);
    const miVector point = state->point;
    const Frame frame = frameAround(state->normal_geom);
    return meanOverPoints(state, probes(state), [&](const double* random) {
        const HitScope here(state);
        miScalar distance = 0, way = 0;
        const miVector aside = placeInDisk(frame, std::max(radius, 0.0f), random, falloff, distance);
        const miState* place = ownSurface(state, point + aside, -frame.n, depth, true, way);
        if (!place) return kBlack;
        moveTo(state, place->point, -place->normal, -place->normal_geom);
        return irradiance(state) * (1 - way / depth);
    });
}

}  // namespace materials
