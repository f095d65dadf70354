#include "gathering/gathering_for_particles.h"

#include "gathering/final_gather_rays.h"
#include "support/messages.h"
#include "tracing/option_values.h"

#include <algorithm>

namespace lumorender {

namespace {

int countOption(const StringOptions* named, const char* name, int otherwise, int most) {
    const float value = numberOption(named, name, static_cast<float>(otherwise));
    return static_cast<int>(std::clamp(value >= 0 ? value : 0.0F, 0.0F, static_cast<float>(most)));
}

}  // namespace

void gatherForParticles(miOptions& options, const StringOptions* named, const std::string& where) {
    if (!options.irradiance_particles || options.finalgather) return;
    constexpr int kUsualRays = 256, kMostPasses = 100;
    const int passes = countOption(named, "irradiance particles indirect passes", 0, kMostPasses);
    options.finalgather = 1;
    options.finalgather_rays = countOption(named, "irradiance particles rays", kUsualRays, kMostGatherRays);
    options.fg_diffuse_depth = static_cast<miUint1>(passes);
    options.fg_trace_depth = static_cast<miUint1>(std::max<int>(options.fg_trace_depth, passes));
    const float scale = numberOption(named, "irradiance particles scale", 1);
    options.finalgather_scale = {scale, scale, scale, 1};
    warning("RC",
            "{}: irradiance particles are not made; light is gathered in their place, with {} rays of a point and {} "
            "further bounces",
            where, options.finalgather_rays, passes);
}

}  // namespace lumorender
