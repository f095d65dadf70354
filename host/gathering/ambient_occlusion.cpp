#include "gathering/ambient_occlusion.h"

#include "gathering/final_gather_points.h"
#include "gathering/point_grids.h"
#include "mi/options.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/quasi_random.h"
#include "tracing/context.h"
#include "tracing/option_values.h"
#include "tracing/tracing.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace lumorender {

namespace {

constexpr double kFar = 1e30;
constexpr double kSteps = 0.75;  // half as far as light: occlusion changes faster, where things touch

/// The caller's record in full length, with everything that it leaves open filled in.
miAmboccl_options completed(const miState* state, const miAmboccl_options* given, const OcclusionSettings& scene) {
    miAmboccl_options record;
    miAMBOCCL_DEFAULT(&record, state);
    if (given) std::memcpy(&record, given, std::min<std::size_t>(given->size, sizeof record));
    if (record.rays <= 0) record.rays = scene.rays;
    if (!isFinite(record.axis) || isZero(record.axis)) record.axis = state->normal;
    record.axis = unit(record.axis);
    record.spread = record.spread >= 0 ? std::min(record.spread, 1.0F) : 0.0F;
    if (!(record.spread_exp >= 0)) record.spread_exp = 1;
    if (!(record.mindist >= 0)) record.mindist = scene.least;
    if (!(record.maxdist >= 0)) record.maxdist = scene.most;
    if (!(record.falloff >= 0)) record.falloff = scene.falloff;
    if (record.flags < 0) record.flags = miTRACE_SHADOW_CAST;
    if (record.cache_points < 0) record.cache_points = scene.cachePoints;
    return record;
}

/// What is known of a place.
struct Occlusion {
    double hidden = 0;        ///< the share
    V3d open = V3d(0);        ///< mean of the directions, as far as they are open
    double meanDistance = 0;  ///< of what hides, harmonic; infinite where nothing does
};

/// The rays of one call.
class Cone {
public:
    Cone(miState* state, const miAmboccl_options& record)
        : state_(state),
          context_(contextOf(state)),
          record_(record),
          u_(perpendicular(record.axis)),
          v_(cross(record.axis, u_)),
          sideOfSurface_(dot(state->normal_geom, record.axis) < 0 ? -state->normal_geom : state->normal_geom),
          leastPower_(std::pow(static_cast<double>(record.spread), record.spread_exp + 1.0)),
          seed_(takeSeed(*state)) {
        const auto away = static_cast<float>(surfaceOffset(state->point));
        ray_.org = state->point + sideOfSurface_ * away;
        ray_.near = record.mindist;
        ray_.far = record.maxdist > 0 ? static_cast<double>(record.maxdist) : kFar;
        ray_.time = shutterFraction(*context_.scene, *state);
        ray_.visibility = static_cast<RayVisibility>(record.flags);
        ray_.asking = state;
    }

    /// Density proportional to cos^spread_exp of the angle to the axis. False for what lies behind the surface; a place
    /// that is on no surface has no such side.
    bool direction(int number, miVector& dir) const {
        // The rays of all samples of a pixel are one sequence.
        const std::uint32_t index =
            state_->qmc_instance * static_cast<std::uint32_t>(record_.rays) + static_cast<std::uint32_t>(number);
        const double share = scrambledSobol(index, 0, seed_);
        const double angle = 2 * M_PI * scrambledSobol(index, 1, seed_);
        const double height = std::pow(1 - share * (1 - leastPower_), 1 / (record_.spread_exp + 1.0));
        const double radius = std::sqrt(std::max(0.0, 1 - height * height));
        dir = unit(u_ * static_cast<float>(radius * std::cos(angle)) +
                   v_ * static_cast<float>(radius * std::sin(angle)) + record_.axis * static_cast<float>(height));
        return isZero(sideOfSurface_) || dot(dir, sideOfSurface_) > 0;
    }

    /// How much is hidden in this direction, and from how far: infinite where nothing is met. Asks for the nearest hit
    /// also where any would do: only that one is exact enough to tell large surfaces from the place on them where the
    /// ray starts.
    double hidden(const miVector& dir, double& distance) {
        distance = INFINITY;
        ++context_.counters.secondary;
        ray_.dir = dir;
        Hit hit;
        if (!context_.scene->geometry->intersect(ray_, hit)) return 0;
        distance = hit.dist;
        if (!(record_.maxdist > 0) || record_.falloff == 0) return 1;
        const double gone = (hit.dist - ray_.near) / (ray_.far - ray_.near);
        return std::pow(std::clamp(1 - gone, 0.0, 1.0), static_cast<double>(record_.falloff));
    }

private:
    miState* state_;
    ThreadContext& context_;
    const miAmboccl_options& record_;
    miVector u_, v_;
    miVector sideOfSurface_;
    double leastPower_;
    std::uint32_t seed_;
    Ray ray_;
};

Occlusion sendRays(miState* state, const miAmboccl_options& record) {
    Cone cone(state, record);
    Occlusion result;
    double nearness = 0;
    int count = 0;
    for (int i = 0; i < record.rays && !abortRequested(); ++i) {
        miVector dir;
        if (!cone.direction(i, dir)) continue;
        double distance;
        const double hidden = cone.hidden(dir, distance);
        result.hidden += hidden;
        result.open = result.open + wide(dir) * (1 - hidden);
        nearness += 1 / distance;
        ++count;
    }
    if (count == 0) return result;
    result.hidden /= count;
    result.open = result.open * (1.0 / count);
    result.meanDistance = count / nearness;
    return result;
}

/// One call's view of the cache. What differs between calls besides the place keeps their points apart; a cone around
/// another axis than the normal turns with the view, which no point can follow.
class CachedPlace {
public:
    CachedPlace(const miState* state, const miAmboccl_options& record)
        : context_(contextOf(state)),
          cache_(context_.scene->occlusionCache.get()),
          query_{state->point, record.axis, idOf(record), std::min(record.cache_points, GatherPoints::kMost)},
          isCached_(cache_ && record.cache_points > 0 && isZero(record.axis - unit(state->normal)) &&
                    isFinite(state->point)) {
        // With a single point in reach, occlusion would change in steps on floors that are seen at a flat angle. Few
        // points cannot weigh as much, however many there are: each about a third.
        query_.enough = std::min(3.0, 0.2 * query_.count);
    }

    bool find(Occlusion& result) const {
        miColor known;
        if (!isCached_ || !findKnown(cache_->points, context_.newOcclusion, query_, known)) return false;
        result.hidden = known.a;
        result.open = {known.r, known.g, known.b};
        return true;
    }

    void keep(const Occlusion& found) const {
        if (!isCached_ || !context_.newOcclusion.points || !(found.meanDistance > 0)) return;
        const miVector open = narrow(found.open);
        context_.newOcclusion.points->push_back({query_.position,
                                                 query_.normal,
                                                 {open.x, open.y, open.z, static_cast<float>(found.hidden)},
                                                 cache_->reach.radius(query_.position, found.meanDistance, {}),
                                                 query_.id});
    }

private:
    static std::uint32_t idOf(const miAmboccl_options& record) {
        std::uint32_t id = mixSeeds(static_cast<std::uint32_t>(record.rays), static_cast<std::uint32_t>(record.flags));
        for (const float setting : {record.spread, record.spread_exp, record.mindist, record.maxdist, record.falloff})
            id = mixSeeds(id, std::bit_cast<std::uint32_t>(setting));
        return id;
    }

    ThreadContext& context_;
    const OcclusionCache* cache_;
    GatherQuery query_;
    bool isCached_;
};

}  // namespace

OcclusionSettings occlusionSettings(const StringOptions* named) {
    constexpr float kMostRays = 1 << 24;
    OcclusionSettings result;
    result.on = switchOption(named, "ambient occlusion", result.on);
    const float rays = numberOption(named, "ambient occlusion rays", static_cast<float>(result.rays));
    if (rays >= 1) result.rays = static_cast<int>(std::min(rays, kMostRays));
    result.least = std::max(numberOption(named, "ambient occlusion min distance", result.least), 0.0F);
    result.most = std::max(numberOption(named, "ambient occlusion max distance", result.most), 0.0F);
    result.falloff = std::max(numberOption(named, "ambient occlusion falloff", result.falloff), 0.0F);
    result.cache = switchOption(named, "ambient occlusion cache", result.cache);
    result.cacheDensity = numberOption(named, "ambient occlusion cache density", result.cacheDensity);
    const float points = numberOption(named, "ambient occlusion cache points", static_cast<float>(result.cachePoints));
    result.cachePoints = points > 0 ? static_cast<int>(std::min(points, 1.0F * GatherPoints::kMost)) : 0;
    return result;
}

float ambientOcclusion(miState* state, const miAmboccl_options* options, miVector* bent) {
    const OcclusionSettings& scene = contextOf(state).scene->occlusion;
    const miAmboccl_options record = completed(state, options, scene);
    if (bent) *bent = record.axis;
    const bool reaches = !(record.maxdist > 0) || record.maxdist > record.mindist;
    if (!scene.on || !state->options->trace || !reaches || isZero(record.axis) || !isFinite(record.axis)) return 0;

    const CachedPlace place(state, record);
    Occlusion occlusion;
    if (!place.find(occlusion)) {
        occlusion = sendRays(state, record);
        place.keep(occlusion);
    }
    if (bent && length(occlusion.open) > 0) *bent = narrow(unit(occlusion.open));
    return static_cast<float>(occlusion.hidden);
}

OcclusionCache::OcclusionCache(const RenderScene& scene)
    : points(GatherPoints::kUsualTolerance), reach(scene, scene.occlusion.cacheDensity, kSteps) {}

void prepareOcclusion(const RenderScene& scene, OcclusionCache& cache, const DataWindow& window,
                      const SavedPoints& saved, int threads) {
    const PointStage stage{miSTAGE_AMBOCCL, "ambient occlusion", &ThreadContext::newOcclusion, cache.reach.spacing()};
    if (stage.spacing > 0) collectPoints(scene, stage, cache.points, window, saved, threads);
}

}  // namespace lumorender
