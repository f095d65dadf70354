#include "gathering/final_gather_rays.h"

#include "mi/options.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/quasi_random.h"
#include "tracing/tracing.h"
#include "tracing/volumes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace lumorender {

namespace {

/// The brightest rays of a bundle, brightest first.
class Speckles {
public:
    /// One ray in sixteen at most: a filter that takes more away changes the picture.
    Speckles(int wanted, int rays) : wanted_(std::clamp(std::min(wanted, rays / 16), 0, kMost)) {}

    void add(const miColor& color) {
        if (wanted_ == 0) return;
        const float brightness = color.r + color.g + color.b;
        if (count_ > wanted_ && !(brightness > bright_[count_ - 1].brightness)) return;
        int place = std::min(count_, wanted_);
        for (; place > 0 && brightness > bright_[place - 1].brightness; --place) bright_[place] = bright_[place - 1];
        bright_[place] = {brightness, color};
        count_ = std::min(count_ + 1, wanted_ + 1);
    }

    /// Takes away from the sum what each is brighter than the next one that stays.
    void removeFrom(double rgb[3]) const {
        if (wanted_ == 0 || count_ <= wanted_) return;
        const double limit = bright_[wanted_].brightness;
        for (int i = 0; i < wanted_; ++i) {
            if (!(bright_[i].brightness > 0)) return;
            const double excess = 1 - limit / bright_[i].brightness;
            rgb[0] -= excess * bright_[i].color.r;
            rgb[1] -= excess * bright_[i].color.g;
            rgb[2] -= excess * bright_[i].color.b;
        }
    }

private:
    struct Ray {
        float brightness = 0;
        miColor color = {};
    };
    static constexpr int kMost = 16;

    int wanted_;
    int count_ = 0;
    Ray bright_[kMost + 1];
};

/// Marks the thread as gathering. What shaders along the rays say about the sample's opacity is not for the sample.
class GatherScope {
public:
    GatherScope(ThreadContext& context, const miState& state)
        : context_(context), path_(context.gather), opacityIsSet_(context.opacityIsSet), opacity_(context.opacity) {
        if (context.gather.depth++ > 0) return;
        context.gather.reflections = state.reflection_level;
        context.gather.refractions = state.refraction_level;
    }
    ~GatherScope() {
        context_.gather = path_;
        context_.opacityIsSet = opacityIsSet_;
        context_.opacity = opacity_;
    }
    GatherScope(const GatherScope&) = delete;
    GatherScope& operator=(const GatherScope&) = delete;

private:
    ThreadContext& context_;
    GatherPath path_;
    bool opacityIsSet_;
    miColor opacity_;
};

/// The rays of one bundle.
class Bundle {
public:
    Bundle(miState* state, const miVector& normal, const GatherSettings& settings)
        : state_(state),
          context_(contextOf(state)),
          settings_(settings),
          normal_(normal),
          u_(perpendicular(normal)),
          v_(cross(normal, u_)),
          sideOfSurface_(state->normal_geom),
          seed_(takeSeed(*state)) {
        if (dot(state->normal_geom, normal) < 0) sideOfSurface_ = -sideOfSurface_;
        origin_ = state->point + sideOfSurface_ * static_cast<float>(surfaceOffset(state->point));
    }

    /// False for rays that would begin inside the surface, where its normals are bent.
    bool direction(int number, miVector& dir) const {
        const std::uint32_t index = indexOf(number);
        const double radius = std::sqrt(scrambledSobol(index, 0, seed_));
        const double angle = 2 * M_PI * scrambledSobol(index, 1, seed_);
        const double height = std::sqrt(std::max(0.0, 1 - radius * radius));
        dir = unit(u_ * static_cast<float>(radius * std::cos(angle)) +
                   v_ * static_cast<float>(radius * std::sin(angle)) + normal_ * static_cast<float>(height));
        return dot(dir, sideOfSurface_) > 0;
    }

    /// The color that a ray brings back, and how far it went; infinite where it met nothing.
    miColor trace(int number, const miVector& dir, double& distance) const {
        RayRecord& record = childRay(context_, state_);
        miState& child = record.state;
        child.type = miRAY_FINALGATHER;
        child.org = origin_;
        child.dir = dir;
        const bool crosses = dot(normal_, state_->normal) < 0;
        if (crosses) child.volume = state_->refraction_volume;
        std::optional<CrossedVolumes> volumes;
        if (crosses) volumes.emplace(context_, *state_, !state_->inv_normal);
        child.qmc_instance = indexOf(number);
        child.pad = mixSeeds(seed_, 2);
        if (settings_.importance >= 0) child.importance = settings_.importance;
        // Beyond the end of the falloff nothing is met but the surroundings.
        const miOptions& options = *state_->options;
        const double stop = options.fg_falloff_stop;
        miColor color = {0, 0, 0, 0};
        if (!traceGathering(&color, context_, record, stop > 0 ? stop : kFar)) color = {0, 0, 0, 0};
        distance = child.dist > 0 ? child.dist : std::numeric_limits<double>::infinity();
        const double start = options.fg_falloff_start;
        if (stop > 0 && distance > start && distance < stop)
            blend(color, dir, static_cast<float>((distance - start) / (stop - start)));
        return color;
    }

private:
    static constexpr double kFar = 1e30;

    /// The states that rays lead to differ in this number only, so that what is random there is stratified too.
    std::uint32_t indexOf(int number) const {
        return state_->qmc_instance * static_cast<std::uint32_t>(settings_.rays) + static_cast<std::uint32_t>(number);
    }

    void blend(miColor& color, const miVector& dir, float share) const {
        miColor around = {0, 0, 0, 0};
        if (!traceEnvironment(&around, state_, dir)) around = {0, 0, 0, 0};
        color.r += share * (around.r - color.r);
        color.g += share * (around.g - color.g);
        color.b += share * (around.b - color.b);
    }

    miState* state_;
    ThreadContext& context_;
    const GatherSettings& settings_;
    miVector normal_, u_, v_;
    miVector sideOfSurface_, origin_;
    std::uint32_t seed_;
};

}  // namespace

Gathered gatherRays(miState* state, const miVector& normal, const GatherSettings& settings) {
    const Bundle bundle(state, normal, settings);
    const GatherScope scope(contextOf(state), *state);
    Speckles speckles(settings.filter, settings.rays);
    Gathered result;
    double nearness = 0;
    int count = 0;
    for (int i = 0; i < settings.rays && !abortRequested(); ++i) {
        miVector dir;
        if (!bundle.direction(i, dir)) continue;
        double distance;
        const miColor color = bundle.trace(i, dir, distance);
        ++count;
        nearness += 1 / distance;
        if (!std::isfinite(color.r + color.g + color.b)) continue;
        result.rgb[0] += color.r;
        result.rgb[1] += color.g;
        result.rgb[2] += color.b;
        speckles.add(color);
    }
    speckles.removeFrom(result.rgb);
    if (count == 0) return result;
    for (double& channel : result.rgb) channel /= count;
    result.meanDistance = count / nearness;
    return result;
}

}  // namespace lumorender
