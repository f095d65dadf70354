/* compute_irradiance: indirect light from final gathering and photons. */
#include "SDK/lumo.h"

#include "SDK/color/color.h"
#include "SDK/framework/float4.h"
#include "SDK/surface/contribution_weight.h"
#include "SDK/passes/frame_buffers.h"
#include "SDK/framework/parameters.h"

#include <algorithm>
#include <cstring>

namespace lumo {
namespace {

/* A color somewhere in a parameter block. */
struct ColorParameter {
    miColor value;
};

ShaderHelper<ColorParameter> parameterAt(miState* state, const miColor* address) {
    return {state, reinterpret_cast<ColorParameter*>(const_cast<miColor*>(address))};
}

/* An object's own settings for final gathering: user data "IrradianceOptions". */
struct IrradianceData {
    miUint magic;   /* VEXA_MAGIC */
    miInteger kind; /* 1: this record */
    miInteger rays;
    miScalar maxRadius, minRadius;
    miInteger view, filter;
    miInteger globillumAccuracy;
    miScalar globillumRadius;
    miInteger causticAccuracy;
    miScalar causticRadius;
    miUint points;
    miScalar importance;
};

/* Fills the record from the user data of the shaded object, if it has any; else its size stays 0. */
void takeObjectOptions(miState* state, miIrrad_options& options) {
    miTag block = miNULLTAG;
    const void* words = get_userdata(VEXA_MAGIC, miSCENE_OBJECT, state->instance, &block, nullptr);
    if (!words) return;
    IrradianceData data{};
    miInteger size = 0;
    mi_query(miQ_DATA_PARAM_SIZE, state, block, &size);
    if (size >= static_cast<miInteger>(sizeof data)) std::memcpy(&data, words, sizeof data);
    mi_db_unpin(block);
    if (data.kind != 1) return;

    options = {};
    options.size = sizeof options;
    options.finalgather_rays = data.rays;
    options.finalgather_maxradius = data.maxRadius;
    options.finalgather_minradius = data.minRadius;
    options.finalgather_view = data.view != 0;
    options.finalgather_filter = static_cast<miUint1>(data.filter);
    options.globillum_accuracy = data.globillumAccuracy;
    options.globillum_radius = data.globillumRadius;
    options.caustic_accuracy = data.causticAccuracy;
    options.caustic_radius = data.causticRadius;
    options.finalgather_points = data.points;
    options.importance = data.importance;
}

/* Integer part; what is no integer's value becomes 0. */
int truncated(miScalar value) { return value > -2e9f && value < 2e9f ? static_cast<int>(value) : 0; }

/* Fewer rays for a surface that counts less; each ray then counts a part of what the surface does. */
int raysToGather(miState* state, const Vexabase& record, miScalar weight, miIrrad_options& options) {
    const miScalar low = record.lowerImportance, high = record.upperImportance;
    if (high > weight) {
        if (options.size == 0) {
            options = {};
            miIrradDefaults(&options, state);
        }
        const miScalar share = (weight - low) / (high - low);
        options.finalgather_rays = truncated(share * static_cast<miScalar>(options.finalgather_rays));
    }
    return options.size != 0 ? options.finalgather_rays : state->options->finalgather_rays;
}

/* Otherwise nothing is traced or looked up, and it does not matter how. */
bool hasIndirectLight(const miOptions& options) { return options.finalgather || options.globillum || options.caustic; }

/* What the renderer gathers at the point. Its rays must not deposit passes or glow: they are not seen by themselves. */
miColor gatheredRadiance(miState* state, Vexabase& record) {
    miIrrad_options options;
    options.size = 0;
    if (hasIndirectLight(*state->options)) takeObjectOptions(state, options);
    if (state->options->finalgather) {
        const int rays = raysToGather(state, record, largestChannel(record.contributionWeight), options);
        // Without any ray the weight becomes infinite, and rays count as important as can be. Left so on purpose.
        scaleRgb(record.contributionWeight, 1 / static_cast<miScalar>(rays));
    }
    const InUseGuard closed(publishedFrameBuffers(state).entries);
    const EffectsScope effects(record);
    miColor radiance = kBlack;
    mi_compute_avg_radiance(&radiance, state, 'f', options.size != 0 ? &options : nullptr);
    return radiance;
}

/* What is gathered, as far as the surface reflects it. Black where that does not count. */
miColor reflectedRadiance(miState* state, Vexabase& record, const miColor& reflected, const miColor& transparency,
                          miScalar glowIntensity) {
    const WeightScope weight(record);
    weight.multiply((1 - transparency) * reflected, glowIntensity);
    if (largestChannel(record.contributionWeight) < record.lowerImportance) return kBlack;
    miColor result = gatheredRadiance(state, record) * reflected;
    result.a = 0;
    return result;
}

/* The same without a record of the host's. */
[[gnu::noinline]] miColor reflectedRadiance(miState* state, const miColor& reflected, const miColor& transparency,
                                            miScalar glowIntensity) {
    Vexabase record;
    return reflectedRadiance(state, record, reflected, transparency, glowIntensity);
}

}  // namespace
}  // namespace lumo

miColor* compute_irradiance(miColor* result, const miColor* irradianceColor, miScalar diffuse,
                            const miColor* surfaceColor, const miColor* transparency, miScalar glowIntensity,
                            const miColor* irradiance, miState* state) {
    using namespace lumo;
    const miColor reflected = parameterAt(state, irradianceColor)(&ColorParameter::value) * diffuse * *surfaceColor;
    *result = kBlack;
    if (isBlack(reflected)) return result;

    const auto replacement = parameterAt(state, irradiance);
    if (replacement.isConnected(&ColorParameter::value)) {
        *result = replacement(&ColorParameter::value) * reflected;
        result->a = 0;
        return result;
    }

    Vexabase* const record = vexabaseOf(state);
    const miColor radiance = record ? reflectedRadiance(state, *record, reflected, *transparency, glowIntensity)
                                    : reflectedRadiance(state, reflected, *transparency, glowIntensity);
    // As a whole, as it will be read: parts would be waited for.
    store4(&result->r, Float4{radiance.r, radiance.g, radiance.b, radiance.a});
    return result;
}
