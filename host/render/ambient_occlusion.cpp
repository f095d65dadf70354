#include "render/ambient_occlusion.h"

#include "geometry/vectors.h"
#include "mi/options.h"
#include "render/context.h"
#include "render/option_values.h"
#include "render/tracing.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lumorender {

using namespace vectors;

namespace {

constexpr double kFar = 1e30;

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
    return record;
}

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

    /// How much is hidden in this direction. Asks for the nearest hit also where any would do: only that one is exact
    /// enough to tell large surfaces from the place on them where the ray starts.
    double hidden(const miVector& dir) {
        ++context_.counters.secondary;
        ray_.dir = dir;
        Hit hit;
        if (!context_.scene->geometry->intersect(ray_, hit)) return 0;
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
    if (result.on && switchOption(named, "ambient occlusion cache", false))
        warning("RC", "ambient occlusion is not cached: it is computed anew wherever a shader asks, with all rays");
    return result;
}

float ambientOcclusion(miState* state, const miAmboccl_options* options, miVector* bent) {
    const OcclusionSettings& scene = contextOf(state).scene->occlusion;
    const miAmboccl_options record = completed(state, options, scene);
    if (bent) *bent = record.axis;
    const bool reaches = !(record.maxdist > 0) || record.maxdist > record.mindist;
    if (!scene.on || !state->options->trace || !reaches || isZero(record.axis) || !isFinite(record.axis)) return 0;

    Cone cone(state, record);
    miGeoVector open = {0, 0, 0};
    double sum = 0;
    int count = 0;
    for (int i = 0; i < record.rays && !abortRequested(); ++i) {
        miVector dir;
        if (!cone.direction(i, dir)) continue;
        const double hidden = cone.hidden(dir);
        sum += hidden;
        open = open + wide(dir) * (1 - hidden);
        ++count;
    }
    if (bent && length(open) > 0) *bent = narrow(unit(open));
    return count > 0 ? static_cast<float>(sum / count) : 0;
}

}  // namespace lumorender
