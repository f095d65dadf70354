/* mib_fast_occlusion, mib_fg_occlusion, mib_bent_normal_env: how open surfaces are, by what the renderer finds. */
#include "math/vector.h"
#include "module/export.h"
#include "module/parameters.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"

namespace materials {

namespace {

struct FastOcclusion {
    miInteger samples;
    miColor bright, dark;
    miScalar spread, spread_exp, max_distance;
    miBoolean reflective;
};

struct GatheredOcclusion {
    miColor result_when_fg_is_off;
};

struct BentNormalEnvironment {
    miColor bent_normals, occlusion;
    miScalar strength;
    miTag environment;
    miInteger coordinate_space;
    miMatrix matrix;
    miInteger env_samples;
    miScalar env_spread;
};

/* Numbers of coordinate_space. */
enum BentSpace { kInternal = 0, kWorld = 1, kCamera = 2, kObject = 3, kMatrix = 4 };

bool fastOcclusion(miColor& result, miState* state, FastOcclusion& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    miAmboccl_options options;
    miAMBOCCL_DEFAULT(&options, state);
    const int samples = in(p.samples);
    if (samples > 0) options.rays = samples;
    const miVector normal = unit(state->normal, state->normal_geom);
    options.axis = in.isOn(p.reflective) ? aboveSurface(state, mirrored(state->dir, normal)) : normal;
    options.spread = in.within(p.spread, -1, 1);
    const miScalar exponent = in.within(p.spread_exp, 0, 1e6f), reach = in.within(p.max_distance, 0, miHUGE_SCALAR);
    if (exponent > 0) options.spread_exp = exponent;
    if (reach > 0) options.maxdist = reach;
    const miScalar open = 1 - clamped(mi_ambient_occlusion(state, &options, nullptr), 0, 1);
    const miColor bright = in.color(p.bright), dark = in.color(p.dark);
    result = mix(dark, bright, open);
    result.a = mix(dark.a, bright.a, open);
    return true;
}

/* With as many rays as gathering takes, whose own do not tell what they met. */
bool gatheredOcclusion(miColor& result, miState* state, GatheredOcclusion& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    if (!state->options->finalgather) {
        result = in.color(p.result_when_fg_is_off);
        return true;
    }
    miAmboccl_options options;
    miAMBOCCL_DEFAULT(&options, state);
    if (state->options->finalgather_rays > 0) options.rays = state->options->finalgather_rays;
    result = gray(1 - clamped(mi_ambient_occlusion(state, &options, nullptr), 0, 1));
    return true;
}

/* The direction that a color from 0 to 1 stands for. */
miVector openDirection(miState* state, const Parameters& in, const BentNormalEnvironment& p) {
    const miColor encoded = in.color(p.bent_normals);
    const miVector given = {2 * encoded.r - 1, 2 * encoded.g - 1, 2 * encoded.b - 1};
    miVector dir = given;
    switch (in(p.coordinate_space)) {
        case kInternal: break;
        case kCamera: mi_vector_from_camera(state, &dir, &given); break;
        case kObject: mi_vector_from_object(state, &dir, &given); break;
        case kMatrix: mi_vector_transform(&dir, &given, in(p.matrix)); break;
        default: mi_vector_from_world(state, &dir, &given); break;
    }
    return unit(dir, state->normal);
}

/* Light of the surroundings from there, or the mean of a cone around. */
bool bentNormalEnvironment(miColor& result, miState* state, BentNormalEnvironment& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    const miVector dir = openDirection(state, in, p);
    const miTag environment = in(p.environment);
    if (environment != miNULLTAG) state->environment = environment;
    const auto seen = [&](const miVector& way) {
        miColor light = kBlack;
        return mi_trace_environment(&light, state, &way) ? finite(light) : kBlack;
    };
    const int samples = in.count(p.env_samples, 1, kMostRays);
    const miScalar widest = std::cos(in.share(p.env_spread) * kPi / 2);
    const Frame frame = frameAround(dir);
    const miColor light =
        samples == 1 || widest == 1 ? seen(dir) : meanOverPoints(state, samples, [&](const double* point) {
            const miScalar up = mix(1, widest, static_cast<miScalar>(point[0]));
            const miScalar aside = std::sqrt(std::max(1 - up * up, 0.0f)),
                           angle = 2 * kPi * static_cast<miScalar>(point[1]);
            return seen(frame.toWorld({aside * std::cos(angle), aside * std::sin(angle), up}));
        });
    result = light * in.color(p.occlusion) * finite(in(p.strength));
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_fast_occlusion, miColor, FastOcclusion, fastOcclusion)
MATERIALS_SHADER(mib_fg_occlusion, miColor, GatheredOcclusion, gatheredOcclusion)
MATERIALS_SHADER(mib_bent_normal_env, miColor, BentNormalEnvironment, bentNormalEnvironment)

}  // namespace materials
