// Probes of what is around surfaces: volumes and environments tell of every call; light profiles, lists of lights,
// calls with an argument and probing rays are checked.
#include "facts.h"
#include "mi/codes.h"

#include <cmath>

namespace {

void tell(const char* what, miTag name, const miState* state) {
    mi_info("probe: %s %s: type %d dist %.4f", what, static_cast<const char*>(mi_db_access(name)),
            static_cast<int>(state->type), state->dist);
    mi_db_unpin(name);
}

bool isNear(double a, double b) { return std::abs(a - b) < 1e-5; }

}  // namespace

extern "C" {

struct probe_volume_parameters {
    miTag name;
};

DLLEXPORT int probe_volume_version() { return 1; }

DLLEXPORT miBoolean probe_volume(miColor*, miState* state, probe_volume_parameters* paras, void*) {
    tell("volume", *mi_eval_tag(&paras->name), state);
    return miTRUE;
}

struct probe_environment_parameters {
    miTag name;
    miColor color;
};

DLLEXPORT int probe_environment_version() { return 1; }

DLLEXPORT miBoolean probe_environment(miColor* result, miState* state, probe_environment_parameters* paras, void*) {
    tell("environment", *mi_eval_tag(&paras->name), state);
    *result = *mi_eval_color(&paras->color);
    return miTRUE;
}

// ---- Light profiles.

struct probe_profile_light_parameters {
    miTag profile;
    miBoolean relative;
};

DLLEXPORT int probe_profile_light_version() { return 1; }

DLLEXPORT miBoolean probe_profile_light(miColor* result, miState* state, probe_profile_light_parameters* paras, void*) {
    const miScalar i = mi_lightprofile_sample(state, *mi_eval_tag(&paras->profile), *mi_eval_boolean(&paras->relative));
    miColorSet(result, i, i, i, 1);
    return miTRUE;
}

struct probe_profile_parameters {
    miTag profile;
};

DLLEXPORT int probe_profile_version() { return 1; }

/// The profile has the intensities 40, 20, 0 at 0, 60, 120 degrees of C0 and half of it at C180.
DLLEXPORT miBoolean probe_profile(miColor* result, miState* state, probe_profile_parameters* paras, void*) {
    const miTag profile = *mi_eval_tag(&paras->profile);
    constexpr float kPi = 3.14159265f;
    Facts facts;
    miScalar value = -1;
    int count = 0;
    HOLDS(mi_query(miQ_LIGHTPROFILE_PHI_MIN, state, profile, &value) && value == 0);
    HOLDS(mi_query(miQ_LIGHTPROFILE_PHI_MAX, state, profile, &value) && isNear(value, 2 * kPi));
    HOLDS(mi_query(miQ_LIGHTPROFILE_COSTHETA_MIN, state, profile, &value) && isNear(value, -.5));
    HOLDS(mi_query(miQ_LIGHTPROFILE_COSTHETA_MAX, state, profile, &value) && isNear(value, 1));
    HOLDS(mi_query(miQ_LIGHTPROFILE_INTENSITY_MAX, state, profile, &value) && value == 40);
    HOLDS(mi_query(miQ_LIGHTPROFILE_THETA_RES, state, profile, &count) && count == 3);
    HOLDS(mi_query(miQ_LIGHTPROFILE_PHI_RES, state, profile, &count) && count == 3);
    HOLDS(!mi_query(miQ_LIGHTPROFILE_PHI_RES, state, state->material, &count));
    const void* record = mi_db_access(profile);
    const miVector origin = {0, 0, 0};
    HOLDS(isNear(mi_lightprofile_value(record, 0, .5f, &origin, miFALSE), 20));
    HOLDS(isNear(mi_lightprofile_value(record, kPi, .5f, &origin, miTRUE), .25));
    HOLDS(isNear(mi_lightprofile_value(record, kPi / 2, 1, nullptr, miFALSE), 30));
    HOLDS(mi_lightprofile_value(record, 0, -1, &origin, miFALSE) == 0);
    mi_db_unpin(profile);
    HOLDS(mi_lightprofile_sample(state, miNULLTAG, miTRUE) == 1);  // without a profile: the same to all sides
    facts.tell(result);
    return miTRUE;
}

// ---- Lists of lights.

struct probe_lists_parameters {
    int i_lights;
    int n_lights;
    miTag lights[1];
};

DLLEXPORT int probe_lists_version() { return 1; }

/// The scene has three lights, of which the parameter names two.
DLLEXPORT miBoolean probe_lists(miColor* result, miState* state, probe_lists_parameters* paras, void*) {
    Facts facts;
    miTag* const own = mi_eval_tag(paras->lights) + *mi_eval_integer(&paras->i_lights);
    const int count = *mi_eval_integer(&paras->n_lights);
    miTag* all = nullptr;
    int n = mi_global_lights_info(&all);
    HOLDS(n == 3 && count == 2);

    miTag* list = own;
    n = count;
    HOLDS(mi_inclusive_lightlist(&n, &list, state) && n == 2);
    HOLDS((list[0] == own[0] && list[1] == own[1]) || (list[0] == own[1] && list[1] == own[0]));
    list = own;
    n = count;
    HOLDS(mi_exclusive_lightlist(&n, &list, state) && n == 1 && list[0] != own[0] && list[0] != own[1]);
    list = nullptr;
    n = 0;
    HOLDS(mi_exclusive_lightlist(&n, &list, state) && n == 3);
    n = 0;
    HOLDS(mi_inclusive_lightlist(&n, &list, state) && n == 0);
    HOLDS(mi_instance_lightlist(&n, &list, state) && n == 3);
    facts.tell(result);
    return miTRUE;
}

// ---- Calls with an argument.

struct probe_caller_parameters {
    miTag to;
};

struct probe_called_parameters {
    miScalar scale;
};

DLLEXPORT int probe_called_version() { return 1; }

/// Where there is an argument it is a number, which is doubled.
DLLEXPORT miBoolean probe_called(miColor* result, miState* state, probe_called_parameters* paras, void* argument) {
    int type = -1;
    mi_query(miQ_FUNC_CALLTYPE, state, 0, &type);
    const miScalar scale = *mi_eval_scalar(&paras->scale);
    if (argument) *static_cast<int*>(argument) *= 2;
    miColorSet(result, scale, static_cast<miScalar>(type), argument ? 1.0f : 0.0f, 1);
    return argument != nullptr;
}

DLLEXPORT int probe_caller_version() { return 1; }

DLLEXPORT miBoolean probe_caller(miColor* result, miState* state, probe_caller_parameters* paras, void*) {
    Facts facts;
    const miTag to = *mi_eval_tag(&paras->to);
    const miFunction* const self = state->shader;
    int number = 21;
    miColor color = {0, 0, 0, 0};
    HOLDS(mi_call_shader_x(&color, miSHADER_SHADOW, state, to, &number) && number == 42);
    HOLDS(color.r == .5f && color.g == static_cast<miScalar>(miSHADER_SHADOW) && color.b == 1);
    HOLDS(!mi_call_shader(&color, miSHADER_TEXTURE, state, to));  // what it returns comes back
    HOLDS(color.g == static_cast<miScalar>(miSHADER_TEXTURE) && color.b == 0);
    HOLDS(!mi_call_shader_x(&color, miSHADER_TEXTURE, state, miNULLTAG, &number) && number == 42);
    HOLDS(state->shader == self);
    facts.tell(result);
    return miTRUE;
}

// ---- Probing rays.

DLLEXPORT int probe_probes_version() { return 1; }

/// Behind the surface comes one that casts shadows only, then one that mirrors show, then one that eyes see.
DLLEXPORT miBoolean probe_probes(miColor* result, miState* state, void*, void*) {
    Facts facts;
    const auto reach = [state](miUint flag) {
        const bool hit = flag ? mi_trace_probe_x(state, &state->dir, &state->point, flag)
                              : mi_trace_probe(state, &state->dir, &state->point);
        return hit ? static_cast<double>(state->child->dist) : 0;
    };
    HOLDS(isNear(reach(0), 2));
    HOLDS(state->child->type == miRAY_PROBE && state->child->material != 0);
    HOLDS(isNear(reach(miTRACE_SHADOW_CAST), 1));
    HOLDS(isNear(reach(miTRACE_VISIBLE), 3));
    HOLDS(isNear(reach(miTRACE_VISIBLE | miTRACE_REFLECTION_CAST), 2));
    facts.tell(result);
    return miTRUE;
}

}  // extern "C"
