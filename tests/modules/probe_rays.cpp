// Probes of rays: shader-state entries, frame buffers, lens rays, levels, light samples and shadows.
#include "facts.h"
#include "mi/camera.h"
#include "mi/options.h"
#include "mi_shader_if.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

namespace {

int bufferIndex(const miState* state, const char* name) {
    mi::shader::Interface* host = mi_get_shader_interface();
    const mi::shader::Framebuffer* buffers = host->accessFramebuffer(state->camera->buffertag);
    std::size_t index = 0;
    const bool found = buffers && buffers->get_index(name, index);
    if (buffers) host->releaseFramebuffer(buffers, state->camera->buffertag);
    host->release();
    return found ? static_cast<int>(index) : -1;
}

/// A buffer is empty at first, and holds what was put last.
template <class Value>
void checkBuffer(Facts& facts, miState* state, const char* name, const Value& value) {
    const int index = bufferIndex(state, name);
    facts.check(index >= 1, name);
    Value before, after;
    std::memset(&before, 0x55, sizeof before);
    const Value zero = {};
    HOLDS(mi_fb_get(state, index, &before) && std::memcmp(&before, &zero, sizeof zero) == 0);
    Value copy = value;
    HOLDS(mi_fb_put(state, index, &copy));
    HOLDS(mi_fb_get(state, index, &after) && std::memcmp(&after, &value, sizeof value) == 0);
}

}  // namespace

extern "C" {

// ---- Shader-state entries.

DLLEXPORT int probe_entries_version() { return 1; }

/// The eye ray's surface makes entries and looks at them again after the surface behind has made its own.
DLLEXPORT miBoolean probe_entries(miColor* result, miState* state, void*, void*) {
    int one = 1;
    if (state->type != miRAY_EYE) {
        const bool seen = mi_shaderstate_get(state, "probe.forSubRays", nullptr) != nullptr;
        mi_shaderstate_set(state, "probe.childRay", &one, sizeof one, miSS_LIFETIME_RAY);
        mi_shaderstate_set(state, "probe.childEye", &one, sizeof one, miSS_LIFETIME_EYERAY);
        miColorSet(result, seen ? 1.0f : 0.0f, 0, 0, 1);
        return miTRUE;
    }
    Facts facts;
    HOLDS(!mi_shaderstate_get(state, "probe.text", nullptr));  // the last sample's are gone
    char text[20] = "nineteen characters";
    int size = 0;
    HOLDS(mi_shaderstate_set(state, "probe.text", text, 20, miSS_LIFETIME_EYERAY));
    auto* stored = static_cast<char*>(mi_shaderstate_get(state, "probe.text", &size));
    HOLDS(stored && stored != text && size == 20 && std::memcmp(stored, text, 20) == 0);
    HOLDS(reinterpret_cast<std::uintptr_t>(stored) % 16 == 0);

    for (int i = 0; i < 64; ++i) {
        char key[32];
        std::snprintf(key, sizeof key, "probe.%d", i);
        mi_shaderstate_set(state, key, &i, sizeof i, miSS_LIFETIME_EYERAY);
    }
    HOLDS(mi_shaderstate_get(state, "probe.text", nullptr) == stored);
    text[0] = 'N';
    mi_shaderstate_set(state, "probe.text", text, 20, miSS_LIFETIME_EYERAY);
    HOLDS(mi_shaderstate_get(state, "probe.text", nullptr) == stored && stored[0] == 'N');
    HOLDS(numberInState(state, "probe.63", miSS_LIFETIME_EYERAY) == 63);
    mi_shaderstate_set(state, "probe.63", nullptr, 0, miSS_LIFETIME_EYERAY);
    HOLDS(!mi_shaderstate_get(state, "probe.63", nullptr));

    miColor behind = {0, 0, 0, 0};
    mi_shaderstate_set(state, "probe.forSubRays", &one, sizeof one, miSS_LIFETIME_RAY);
    mi_trace_transparent(&behind, state);
    HOLDS(behind.r == 1);
    HOLDS(!mi_shaderstate_get(state, "probe.childRay", nullptr));
    HOLDS(mi_shaderstate_get(state, "probe.childEye", nullptr));
    facts.tell(result);
    result->b = static_cast<miScalar>(++numberInState(state, "probe.samples", miSS_LIFETIME_RECT));
    return miTRUE;
}

// ---- Frame buffers.

DLLEXPORT int probe_buffers_version() { return 1; }

DLLEXPORT miBoolean probe_buffers(miColor* result, miState* state, void*, void*) {
    Facts facts;
    const miScalar x = state->raster_x, y = state->raster_y;
    checkBuffer(facts, state, "filtered", miColor{x, y, 1, 0});
    checkBuffer(facts, state, "number", x + 100 * y);
    checkBuffer(facts, state, "vector", miVector{x, y, -1});
    checkBuffer(facts, state, "label", 0xDEADBEEFU);
    HOLDS(bufferIndex(state, "nobody") == -1);
    miColor color = {0, 0, 0, 0};
    HOLDS(!mi_fb_put(state, 1000, &color) && !mi_fb_put(state, -1, &color) && !mi_fb_get(state, 1000, &color));
    facts.tell(result);
    return miTRUE;
}

struct probe_value_parameters {
    miScalar from;  // pixels from this column on hold what is no number
    miScalar value;
};

DLLEXPORT int probe_value_version() { return 1; }

/// The same value in a color, a number and a vector, of which some are no numbers.
DLLEXPORT miBoolean probe_value(miColor* result, miState* state, probe_value_parameters* paras, void*) {
    const bool bad = state->raster_x > *mi_eval_scalar(&paras->from);
    const miScalar v = bad ? std::numeric_limits<miScalar>::quiet_NaN() : *mi_eval_scalar(&paras->value);
    miVector vector = {v, v, 1};
    miScalar number = v;
    mi_fb_put(state, bufferIndex(state, "number"), &number);
    mi_fb_put(state, bufferIndex(state, "vector"), &vector);
    miColorSet(result, v, v, v, 1);
    return miTRUE;
}

// ---- Eye rays.

DLLEXPORT int probe_lens_version() { return 1; }

DLLEXPORT miBoolean probe_lens(miColor* result, miState* state, void*, void*) {
    const miBoolean ok = mi_trace_eye(result, state, &state->org, &state->dir);
    miVector told = {state->instance ? 1.0f : 0.0f, state->point.z, static_cast<miScalar>(state->dist)};
    miVector normal = state->normal;
    mi_fb_put(state, bufferIndex(state, "vector"), &told);
    if (state->instance) mi_fb_put(state, bufferIndex(state, "normal"), &normal);
    return ok;
}

// ---- Levels.

DLLEXPORT int probe_levels_version() { return 1; }

DLLEXPORT miBoolean probe_levels(miColor* result, miState* state, void*, void*) {
    Facts facts;
    miColor color = {0, 0, 0, 0};
    miVector back;
    mi_reflection_dir(&back, state);
    const miVector point = state->point;
    const double dist = state->dist;

    HOLDS(mi_trace_transparent(&color, state));
    state->point = point;  // traces may leave what they met
    HOLDS(state->child->type == miRAY_TRANSPARENT && state->child->parent == state);
    HOLDS(state->child->refraction_level == 1 && state->child->reflection_level == 0);
    HOLDS(mi_trace_reflection(&color, state, &back));
    HOLDS(state->child->type == miRAY_REFLECT && state->child->reflection_level == 1);
    HOLDS(state->child->refraction_level == 0);
    state->point = point;
    HOLDS(mi_trace_environment(&color, state, &back));
    HOLDS(state->child->refraction_level == 0 && state->child->reflection_level == 0);

    // A lowered level is taken as it is: by the depth test, and by the child, one higher.
    state->refraction_level = -1;
    state->point = point;
    HOLDS(mi_trace_transparent(&color, state));
    HOLDS(state->child->refraction_level == 0);
    state->refraction_level = -7;
    state->point = point;
    HOLDS(mi_trace_transparent(&color, state));
    HOLDS(state->child->refraction_level == -6);
    state->refraction_level = state->options->refraction_depth;
    HOLDS(!mi_trace_transparent(&color, state));
    state->refraction_level = 0;

    state->point = point;
    state->dist = dist;
    HOLDS(mi_trace_continue(&color, state));
    HOLDS(state->child->parent == state && state->child->type == state->type);
    HOLDS(state->child->refraction_level == 0 && state->child->reflection_level == 0);
    HOLDS(color.g == 1);  // of the surface behind
    facts.tell(result);
    return miTRUE;
}

// ---- Lights and shadows.

struct probe_light_parameters {
    miColor color;
    miBoolean moves;
    miVector org;  // where the light says it is, if it moves
    miBoolean shadow;
};

DLLEXPORT int probe_light_version() { return 1; }

DLLEXPORT miBoolean probe_light(miColor* result, miState* state, probe_light_parameters* paras, void*) {
    ++numberInState(state, "probe.lightCalls", miSS_LIFETIME_EYERAY);
    *result = *mi_eval_color(&paras->color);
    if (*mi_eval_boolean(&paras->moves)) {
        state->org = *mi_eval_vector(&paras->org);
        mi_vector_sub(&state->dir, &state->point, &state->org);
        state->dist = mi_vector_norm(&state->dir);
        mi_vector_normalize(&state->dir);
        state->dot_nd = .25f;
    }
    return *mi_eval_boolean(&paras->shadow) ? mi_trace_shadow(result, state) : miTRUE;
}

struct probe_lit_parameters {
    miBoolean bothSides;  // takes the hit record away: no facing test
};

DLLEXPORT int probe_lit_version() { return 1; }

/// Result: sum of the light, cosine in alpha; the direction goes to "vector", (counter, calls of lights) to "number".
DLLEXPORT miBoolean probe_lit(miColor* result, miState* state, probe_lit_parameters* paras, void*) {
    miRc_intersection* const hit = state->pri;
    miTag* lights = nullptr;
    int n = 0;
    miColorSet(result, 0, 0, 0, 0);
    numberInState(state, "probe.lightCalls", miSS_LIFETIME_EYERAY) = 0;
    if (*mi_eval_boolean(&paras->bothSides)) state->pri = nullptr;
    mi_instance_lightlist(&n, &lights, state);
    for (int i = 0; i < n; ++i) {
        miColor color;
        miVector dir = {0, 0, 0};
        miScalar cosine = 0;
        int samples = 0;
        while (mi_sample_light(&color, &dir, &cosine, state, lights[i], &samples)) {
            color.a = cosine;
            miColorAddScaled(result, &color, 1);
            mi_fb_put(state, bufferIndex(state, "vector"), &dir);
        }
        miScalar told =
            static_cast<miScalar>(10 * samples + numberInState(state, "probe.lightCalls", miSS_LIFETIME_EYERAY));
        mi_fb_put(state, bufferIndex(state, "number"), &told);
    }
    state->pri = hit;
    return miTRUE;
}

struct probe_shadow_parameters {
    miTag name;
    miColor transmission;
    miBoolean stops;
};

DLLEXPORT int probe_shadow_version() { return 1; }

DLLEXPORT miBoolean probe_shadow(miColor* result, miState* state, probe_shadow_parameters* paras, void*) {
    const miTag name = *mi_eval_tag(&paras->name);
    const miColor* transmission = mi_eval_color(&paras->transmission);
    mi_info("probe: shadow of %s: dist %.4f dot %.4f dir %.4f %.4f %.4f", static_cast<const char*>(mi_db_access(name)),
            state->dist, static_cast<double>(state->dot_nd), static_cast<double>(state->dir.x),
            static_cast<double>(state->dir.y), static_cast<double>(state->dir.z));
    mi_db_unpin(name);
    if (state->options->shadow == 's') mi_trace_shadow_seg(result, state);
    result->r *= transmission->r;
    result->g *= transmission->g;
    result->b *= transmission->b;
    return !*mi_eval_boolean(&paras->stops);
}

}  // extern "C"
