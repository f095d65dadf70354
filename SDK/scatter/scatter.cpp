/* compute_scatter: light that entered a surface elsewhere. The model is in scatter_profile.h; where light entered is
 * found by scatter_probes.cpp, or kept in scatter_cache.cpp. */
#include "SDK/lumo.h"

#include "SDK/color/color.h"
#include "SDK/surface/contribution_weight.h"
#include "SDK/scatter/scatter_cache.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

/* Rays for a hit, whatever somebody asks for. */
constexpr double kMostRays = 1024;

/* NaN becomes 0. */
miScalar unit(miScalar value) { return value > 0 ? std::min(value, 1.0f) : 0; }
miColor unit(const miColor& c) { return {unit(c.r), unit(c.g), unit(c.b), 0}; }

/* Every level of the path is seen less, so it gets by with a quarter of the rays. */
miUint rayCount(const miState* state, miScalar accuracy) {
    const double rays = std::ceil(static_cast<double>(accuracy)) / std::pow(4, std::max(rayLevel(state), 0));
    return rays > 1 ? static_cast<miUint>(std::min(rays, kMostRays)) : 1;
}

bool insideGathering(miState* state) {
    miInteger gathering = 0;
    return mi_query(miQ_FINALGATHER_STATE, state, miNULLTAG, &gathering) && gathering != 0;
}

/* Can rays tell an entry point from the point itself? Around a point coordinates are known to some ten millionths. */
bool isResolved(const miVector& point, const ScatterProfile& profile) {
    constexpr double kFinest = 3e-4, kWidest = 1e15;
    const double size = std::max({std::fabs(point.x), std::fabs(point.y), std::fabs(point.z)});
    return profile.reach() > kFinest * size && profile.reach() < kWidest;
}

bool isDirection(const miVector& v) {
    const miScalar length = mi_vector_norm(&v);
    return std::isfinite(length) && length > 0.5f;
}

/* Whether light is looked for around the point. Elsewhere it leaves where it entered, which is the same light on the
 * whole and is all that a mirror or a gathering ray has to see. */
bool spreads(miState* state, const ScatterSettings& settings, const ScatterProfile& profile) {
    return state->options->trace && rayLevel(state) < settings.scatterLimit && isResolved(state->point, profile) &&
           isDirection(state->normal_geom) && !insideGathering(state);
}

/* A cache holds one moment, the outer side, and lights that cast shadows as in a normal render. */
bool mayKeep(const miState* state, const ScatterSettings& settings, const Vexabase& record) {
    const miOptions& options = *state->options;
    const bool moves = options.motion && options.shutter > options.shutter_delay;
    return settings.scatterCache != 0 && !moves && !state->inv_normal && record.compositionMode == 0;
}

/* Light that comes out, for a surface of albedo 1. */
miColor scattered(miState* state, const ScatterSettings& settings, const miColor& albedo, Vexabase& record,
                  ScatterCache** list) {
    const ScatterProfile profile(albedo, static_cast<double>(settings.scatterRadius), settings.scatterFalloff);
    const ScatterSurface surface(state);
    if (spreads(state, settings, profile)) {
        ScatterSums sums;
        if (list && mayKeep(state, settings, record)) {
            const ScatterPatches* patches = scatterPatchesOf(state, record, surface, *list);
            if (patches && gatherScatter(*patches, state->point, profile, EntryScope(state, record).lightHere(), sums))
                return sums.bounded();
        }
        const EntryScope lights(state, record);
        if (probeScatter(state, surface, lights, profile, rayCount(state, settings.scatterAccuracy), sums))
            return sums.bounded();
    }
    return EntryScope(state, record).lightHere();
}

/* Indirect light changes slowly over a surface, so the point's own stands for what entered around it. */
miColor indirectlyScattered(miState* state, const ScatterSettings& settings, miScalar entering, const miColor& tint) {
    miColor result = kBlack;
    if (settings.irradianceColor && settings.irradiance)
        compute_irradiance(&result, settings.irradianceColor, entering, &tint, &kBlack, 1, settings.irradiance, state);
    return result;
}

}  // namespace
}  // namespace lumo

miBoolean compute_scatter(miColor* result, miState* state, const ScatterSettings* settings, ScatterCache** cache) {
    using namespace lumo;
    *result = kBlack;
    const miScalar radius = settings->scatterRadius, entering = 1 - unit(settings->diffuse);
    const miColor albedo = unit(settings->scatterColor), tint = unit(settings->color) * albedo;
    if (!(radius > 0) || !std::isfinite(radius) || isBlack(tint * entering)) return miFALSE;

    Vexabase unplaced;
    Vexabase* const placed = vexabaseOf(state);
    Vexabase& record = placed ? *placed : unplaced;
    {
        const WeightScope weight(record);
        weight.multiply(tint * entering, 0);
        *result = scattered(state, *settings, albedo, record, cache) * tint * entering;
    }
    *result = *result + indirectlyScattered(state, *settings, entering, tint);
    result->a = 0;
    return miTRUE;
}
