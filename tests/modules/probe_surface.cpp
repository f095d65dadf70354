// Probe of what an ordinary surface shader asks about its place: spaces, corners, lights, opacity, entries. It knows
// the scene: the instance is scaled by 2 in x and moved by (1, 2, -5), the camera stands at (0, 0, 3), and the only
// light, with its origin at (0, 0, 7), is moved by (0, 5, 0).
#include "facts.h"

#include <cmath>
#include <cstring>

namespace {

using Transform = void (*)(const miState*, miVector*, const miVector*);

constexpr miVector kAsked = {3, 4, 5};

bool isNear(const miVector& a, const miVector& b) {
    return std::fabs(a.x - b.x) < 1e-3f && std::fabs(a.y - b.y) < 1e-3f && std::fabs(a.z - b.z) < 1e-3f;
}

/// There it is as expected, and the way back ends where it began, in place too.
bool leads(const miState* state, Transform to, Transform from, const miVector& expected) {
    miVector there, back;
    to(state, &there, &kAsked);
    back = there;
    from(state, &back, &back);
    return isNear(there, expected) && isNear(back, kAsked);
}

void checkSpaces(Facts& facts, const miState* state) {
    HOLDS(leads(state, mi_point_to_world, mi_point_from_world, kAsked));
    HOLDS(leads(state, mi_vector_to_world, mi_vector_from_world, kAsked));
    HOLDS(leads(state, mi_normal_to_world, mi_normal_from_world, kAsked));
    HOLDS(leads(state, mi_point_to_camera, mi_point_from_camera, {3, 4, 2}));
    HOLDS(leads(state, mi_vector_to_camera, mi_vector_from_camera, kAsked));
    HOLDS(leads(state, mi_normal_to_camera, mi_normal_from_camera, kAsked));
    HOLDS(leads(state, mi_point_to_object, mi_point_from_object, {1, 2, 10}));
    HOLDS(leads(state, mi_vector_to_object, mi_vector_from_object, {1.5f, 4, 5}));
    HOLDS(leads(state, mi_normal_to_object, mi_normal_from_object, {6, 4, 5}));
}

void checkLight(Facts& facts, miState* state) {
    miTag* lights = nullptr;
    int n = 0, samples = 0;
    HOLDS(mi_instance_lightlist(&n, &lights, state) && n == 1);
    const miTag before = state->light_instance;
    state->light_instance = lights[0];
    HOLDS(leads(state, mi_point_to_light, mi_point_from_light, {3, -1, 5}));
    HOLDS(leads(state, mi_vector_to_light, mi_vector_from_light, kAsked));
    HOLDS(leads(state, mi_normal_to_light, mi_normal_from_light, kAsked));
    state->light_instance = before;

    miVector origin = {0, 0, 0}, dir = {0, 0, 0}, traced = {0, 0, 0};
    void* parameters = nullptr;
    mi_light_info(lights[0], &origin, nullptr, &parameters);
    HOLDS(isNear(origin, {0, 0, 7}) && parameters);
    miColor sampled = {0, 0, 0, 0}, color = {0, 0, 0, 0};
    miScalar cosine = 0, tracedCosine = 0;
    HOLDS(mi_sample_light(&sampled, &dir, &cosine, state, lights[0], &samples));
    HOLDS(mi_trace_light(&color, &traced, &tracedCosine, state, lights[0]));
    HOLDS(isNear(dir, traced) && cosine == tracedCosine && color.g == sampled.g && color.g > 0);
}

void checkCorners(Facts& facts, miState* state) {
    const miVector *a = nullptr, *b = nullptr, *c = nullptr;
    miVector local;
    mi_point_to_object(state, &local, &state->point);
    const miScalar* w = state->bary;
    HOLDS(mi_tri_vectors(state, 'p', 0, &a, &b, &c));
    HOLDS(isNear(local, {w[0] * a->x + w[1] * b->x + w[2] * c->x, w[0] * a->y + w[1] * b->y + w[2] * c->y, 0}));
    HOLDS(mi_tri_vectors(state, 't', 0, &a, &b, &c));
    HOLDS(isNear(state->tex_list[0],
                 {w[0] * a->x + w[1] * b->x + w[2] * c->x, w[0] * a->y + w[1] * b->y + w[2] * c->y, 0}));
    HOLDS(!mi_tri_vectors(state, 't', 1, &a, &b, &c) && !mi_tri_vectors(state, 't', -1, &a, &b, &c));
    HOLDS(!mi_tri_vectors(state, 'x', 0, &a, &b, &c));
    miScalar x = 0, y = 0;
    HOLDS(mi_raster_unit(state, &x, &y) && x * 4 == state->raster_x && y * 4 == state->raster_y && x > 0 && y > 0);
}

void checkOpacity(Facts& facts, miState* state) {
    const miColor first = {.1f, .2f, .3f, .4f}, last = {.5f, .6f, .7f, .8f};
    miColor opacity = {9, 9, 9, 9};
    HOLDS(!mi_opacity_get(state, &opacity));
    mi_opacity_set(state, &first);
    mi_opacity_set(state, &last);
    HOLDS(mi_opacity_get(state, &opacity) && std::memcmp(&opacity, &last, sizeof last) == 0);
}

miBoolean countEntries(void* argument, char* key, void* value, int size, int lifetime) {
    int number = 0;
    if (std::strncmp(key, "probe.", 6) == 0 && size == sizeof number && lifetime == miSS_LIFETIME_EYERAY) {
        std::memcpy(&number, value, sizeof number);
        *static_cast<int*>(argument) += number;
    }
    return miTRUE;
}

}  // namespace

extern "C" {

DLLEXPORT int probe_surface_version() { return 1; }

DLLEXPORT miBoolean probe_surface(miColor* result, miState* state, void*, void*) {
    Facts facts;
    checkSpaces(facts, state);
    checkLight(facts, state);
    checkCorners(facts, state);
    checkOpacity(facts, state);
    numberInState(state, "probe.three", miSS_LIFETIME_EYERAY) = 3;
    numberInState(state, "probe.forty", miSS_LIFETIME_EYERAY) = 40;
    int sum = 0;
    mi_shaderstate_enumerate(state, countEntries, &sum);
    HOLDS(sum == 43);
    facts.tell(result);
    return miTRUE;
}

}  // extern "C"
