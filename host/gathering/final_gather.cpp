#include "gathering/final_gather.h"

#include "gathering/final_gather_points.h"
#include "gathering/final_gather_rays.h"
#include "mi/options.h"
#include "support/geometry.h"
#include "support/messages.h"
#include "tracing/context.h"
#include "tracing/option_values.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lumorender {

namespace {

constexpr int kUsualPoints = 24;
constexpr double kSteps = 1.5;

miColor scaled(const double rgb[3], const miColor& scale) {
    return {static_cast<float>(rgb[0] * scale.r), static_cast<float>(rgb[1] * scale.g),
            static_cast<float>(rgb[2] * scale.b), 1};
}

/// Does the surface take indirect light, as far as instance, object and the call itself say?
bool takesLight(const miState* state, const miIrrad_options* options) {
    constexpr miUint kForcedOn = 1, kForcedOff = 2;
    const bool says = options && options->size >= offsetof(miIrrad_options, finalgather_points_test);
    if (says && options->finalgather_force == kForcedOn) return true;
    if (says && options->finalgather_force == kForcedOff) return false;
    const Hit* hit = hitOf(state);
    return !hit || hit->instance->gathers;
}

/// What one call works with.
class Gathering {
public:
    Gathering(miState* state, char side, const miIrrad_options* options)
        : state_(state), context_(contextOf(state)), gather_(context_.scene->gather.get()), normal_(state->normal) {
        if (side == 'b') normal_ = -normal_;
        if (gather_) settings_ = gather_->settings(options);
        // Further bounces follow a path instead of a tree: their number of rays would grow with every one.
        if (context_.gather.depth > 0) settings_.rays = std::min(settings_.rays, 1);
    }

    bool isPossible() const {
        const int depth = context_.gather.depth;
        return gather_ && settings_.rays > 0 && state_->options->trace && !isZero(normal_) && isFinite(normal_) &&
               (depth == 0 || depth <= state_->options->fg_diffuse_depth);
    }

    bool lookUp(miColor* result) const {
        if (context_.gather.depth > 0) return false;
        constexpr double kEnough = 0.9;
        miColor known;
        GatherQuery query{state_->point, normal_, settings_.id, settings_.points, kEnough};
        if (!findKnown(gather_->points, context_.newLight, query, known)) {
            query.enough = kEnoughOfPixel;
            if (!sharesInPixel() || !gather_->points.interpolateAmong(*context_.pixelLight, query, known)) return false;
        }
        const double wide[3] = {known.r, known.g, known.b};
        *result = scaled(wide, state_->options->finalgather_scale);
        return true;
    }

    void compute(miColor* result) const {
        const bool first = context_.gather.depth == 0;
        GatherSettings settings = settings_;
        // The filter means a share of a whole bundle.
        if (first && sharesInPixel() && settings.filter == 0)
            settings.rays = (settings.rays + kPlacesOfPixel - 1) / kPlacesOfPixel;
        const Gathered gathered = gatherRays(state_, normal_, settings);
        if (first && sharesInPixel())
            keepIn(*context_.pixelLight, gathered);
        else if (first)
            keep(gathered);
        *result =
            scaled(gathered.rgb, first ? state_->options->finalgather_scale : state_->options->finalgather_sec_scale);
    }

    /// Makes the light known to those who ask near here, where points are collected.
    bool keep(const Gathered& gathered) const {
        if (!context_.newLight.points || !isFinite(state_->point)) return false;
        keepIn(*context_.newLight.points, gathered);
        return true;
    }

private:
    /// A pixel's samples share what they gather: each of so many places has its part of the rays, and the others take
    /// the mean as soon as the places together weigh enough.
    static constexpr int kPlacesOfPixel = 4;
    static constexpr double kEnoughOfPixel = 3;

    bool sharesInPixel() const { return context_.pixelLight && gather_->sharesInPixels(); }

    void keepIn(std::vector<GatherPoint>& points, const Gathered& gathered) const {
        const double* rgb = gathered.rgb;
        points.push_back({state_->point,
                          normal_,
                          {static_cast<float>(rgb[0]), static_cast<float>(rgb[1]), static_cast<float>(rgb[2]), 0},
                          gather_->reach.radius(state_->point, gathered.meanDistance, settings_.radii),
                          settings_.id});
    }

    miState* state_;
    ThreadContext& context_;
    const FinalGather* gather_;
    GatherSettings settings_;
    miVector normal_;
};

}  // namespace

FinalGather::FinalGather(const RenderScene& scene, const StringOptions* named, bool manySamples)
    : points(numberOption(named, "finalgather normal tolerance", GatherPoints::kUsualTolerance)),
      reach(scene, scene.options->fg_presamp_density, kSteps),
      manySamples_(manySamples) {
    const miOptions& options = *scene.options;
    ownSettings_.rays = std::min(options.finalgather_rays, kMostGatherRays);
    if (options.finalgather_rays > kMostGatherRays)
        warning("RC", "finalgather accuracy {} would be as many rays at every point; {} is the most, and taken",
                options.finalgather_rays, kMostGatherRays);
    ownSettings_.radii = {options.finalgather_minradius, options.finalgather_maxradius, options.finalgather_view != 0};
    ownSettings_.filter = options.finalgather_filter;
    const float count = numberOption(named, "finalgather points", 0);
    ownSettings_.points = count >= 1 ? static_cast<int>(std::min(count, 1.0F * GatherPoints::kMost)) : kUsualPoints;
}

/// Records of older modules end earlier; what they do not have is as in the options.
GatherSettings FinalGather::settings(const miIrrad_options* given) const {
    if (!given || given->size == 0) return ownSettings_;
    miIrrad_options record = {};
    record.importance = -1;
    std::memcpy(&record, given, std::min<std::size_t>(given->size, sizeof record));
    GatherSettings result = ownSettings_;
    result.rays = std::min(record.finalgather_rays, kMostGatherRays);
    result.radii = {record.finalgather_minradius, record.finalgather_maxradius, record.finalgather_view != 0};
    result.filter = record.finalgather_filter;
    if (record.finalgather_points > 0)
        result.points = static_cast<int>(std::min<miUint>(record.finalgather_points, GatherPoints::kMost));
    result.importance = record.importance;
    result.id = record.id;
    return result;
}

bool averageRadiance(miColor* result, miState* state, char side, const miIrrad_options* options) {
    *result = {0, 0, 0, 0};
    const Gathering gathering(state, side, options);
    if (!gathering.isPossible() || !takesLight(state, options)) return false;
    if (!gathering.lookUp(result)) gathering.compute(result);
    return true;
}

bool gatherAnew(miColor* result, miState* state) {
    *result = {0, 0, 0, 0};
    const Gathering gathering(state, 'f', nullptr);
    if (!gathering.isPossible()) return false;
    gathering.compute(result);
    return true;
}

bool storeIrradiance(const miColor& irradiance, miState* state) {
    const Gathering gathering(state, 'f', nullptr);
    if (!gathering.isPossible() || contextOf(state).gather.depth > 0) return false;
    return gathering.keep(
        {{irradiance.r / M_PI, irradiance.g / M_PI, irradiance.b / M_PI}, std::numeric_limits<double>::infinity()});
}

}  // namespace lumorender
