#include "render/final_gather.h"

#include "geometry/vectors.h"
#include "mi/camera.h"
#include "mi/options.h"
#include "render/camera.h"
#include "render/context.h"
#include "render/final_gather_rays.h"
#include "render/option_values.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lumorender {

using namespace vectors;

namespace {

constexpr double kPixels = 8;               // between points, at density 1
constexpr float kUsualTolerance = 25.842F;  // degrees between normals
constexpr int kUsualPoints = 24;

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
        : state_(state), context_(contextOf(state)), gather_(context_.scene->gather), normal_(state->normal) {
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
        float rgb[3];
        // A place that is hardly reached gets a point of its own while there is time to make them.
        constexpr double kEnough = 0.9;
        const double enough = context_.gather.points ? kEnough : 0;
        if (!findOwn(rgb) &&
            !gather_->points.interpolate({state_->point, normal_, settings_.id, settings_.points, enough}, rgb))
            return false;
        const double wide[3] = {rgb[0], rgb[1], rgb[2]};
        *result = scaled(wide, state_->options->finalgather_scale);
        return true;
    }

    void compute(miColor* result) const {
        const Gathered gathered = gatherRays(state_, normal_, settings_);
        const bool first = context_.gather.depth == 0;
        if (first) keep(gathered);
        *result =
            scaled(gathered.rgb, first ? state_->options->finalgather_scale : state_->options->finalgather_sec_scale);
    }

    /// Makes the light known to those who ask near here, where points are collected.
    bool keep(const Gathered& gathered) const {
        std::vector<GatherPoint>* points = context_.gather.points;
        if (!points || !isFinite(state_->point)) return false;
        const FinalGather::Radii radii = gather_->radii(settings_, state_->point);
        const auto half = static_cast<float>(std::min(gathered.meanDistance / 2, 1e30));
        points->push_back({state_->point, normal_, static_cast<float>(gathered.rgb[0]),
                           static_cast<float>(gathered.rgb[1]), static_cast<float>(gathered.rgb[2]),
                           std::clamp(half, radii.least, radii.most), settings_.id});
        return true;
    }

private:
    /// Where points are collected: this very place may be one, because its shaders ask more than once.
    bool findOwn(float rgb[3]) const {
        const std::vector<GatherPoint>* points = context_.gather.points;
        if (!points) return false;
        for (std::size_t i = context_.gather.first; i < points->size(); ++i) {
            const GatherPoint& p = (*points)[i];
            if (p.id != settings_.id || !isZero(p.position - state_->point) || !isZero(p.normal - normal_)) continue;
            rgb[0] = p.r;
            rgb[1] = p.g;
            rgb[2] = p.b;
            return true;
        }
        return false;
    }

    miState* state_;
    ThreadContext& context_;
    const FinalGather* gather_;
    GatherSettings settings_;
    miVector normal_;
};

}  // namespace

FinalGather::FinalGather(const RenderScene& scene, const StringOptions* named)
    : points(numberOption(named, "finalgather normal tolerance", kUsualTolerance)),
      options_(*scene.options),
      camera_(*scene.camera),
      projection_(*scene.projection) {
    ownSettings_.rays = options_.finalgather_rays;
    ownSettings_.maxRadius = options_.finalgather_maxradius;
    ownSettings_.minRadius = options_.finalgather_minradius;
    ownSettings_.inPixels = options_.finalgather_view != 0;
    ownSettings_.filter = options_.finalgather_filter;
    const float count = numberOption(named, "finalgather points", 0);
    ownSettings_.points = count >= 1 ? static_cast<int>(std::min(count, 1.0F * GatherPoints::kMost)) : kUsualPoints;
    const double density = options_.fg_presamp_density;
    if (density > 0) spacing_ = std::max(kPixels / std::sqrt(density), 1.0);
    miVector low, high;
    scene.geometry->bounds(low, high);
    sceneSize_ = length(high - low);
}

/// Records of older modules end earlier; what they do not have is as in the options.
GatherSettings FinalGather::settings(const miIrrad_options* given) const {
    if (!given || given->size == 0) return ownSettings_;
    miIrrad_options record = {};
    record.importance = -1;
    std::memcpy(&record, given, std::min<std::size_t>(given->size, sizeof record));
    GatherSettings result = ownSettings_;
    result.rays = record.finalgather_rays;
    result.maxRadius = record.finalgather_maxradius;
    result.minRadius = record.finalgather_minradius;
    result.inPixels = record.finalgather_view != 0;
    result.filter = record.finalgather_filter;
    if (record.finalgather_points > 0)
        result.points = static_cast<int>(std::min<miUint>(record.finalgather_points, GatherPoints::kMost));
    result.importance = record.importance;
    result.id = record.id;
    return result;
}

double FinalGather::pixelSize(const miVector& position) const {
    const double* m = projection_.placement().localToWorld;
    const miGeoVector eye{m[12], m[13], m[14]};
    return projection_.pixelSize(length(wide(position) - eye));
}

FinalGather::Radii FinalGather::radii(const GatherSettings& settings, const miVector& position) const {
    constexpr double kLeast = 1.5;  // pixels
    constexpr double kMost = 1.5;   // steps of the grid: more blurs what lies on a surface
    const auto pixel = static_cast<float>(pixelSize(position));
    float least = settings.minRadius, most = settings.maxRadius;
    if (settings.inPixels) {
        least *= pixel;
        most *= pixel;
    }
    if (!(most > 0)) {
        most = std::max(std::min(static_cast<float>(kMost * spacing_) * pixel, sceneSize_ / 10), least);
        if (!(least > 0)) least = static_cast<float>(kLeast) * pixel;
    }
    if (!(least > 0)) least = most / 10;
    most = std::max(most, 1e-12F);
    return {std::clamp(least, 1e-12F, most), most};
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
