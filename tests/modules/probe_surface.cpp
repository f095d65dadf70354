// Probe of what an ordinary surface shader asks about its place: spaces, corners, lights, opacity, light profiles. It
// knows the scene: the instance is scaled by 2 in x and moved by (1, 2, -5), the camera stands at (0, 0, 3). Of the
// three lights the parameters name the first, with its origin at (0, 0, 7) and moved by (0, 5, 0), and another.
#include "test_shader.h"

#include <cmath>
#include <cstring>

static bool isNear(double a, double b) { return std::fabs(a - b) < 1e-5; }

static bool isNear(const miVector& a, const miVector& b) {
    return std::fabs(a.x - b.x) < 1e-3f && std::fabs(a.y - b.y) < 1e-3f && std::fabs(a.z - b.z) < 1e-3f;
}

using Transform = void (*)(const miState*, miVector*, const miVector*);

constexpr miVector kAsked = {3, 4, 5};

/// There it is as expected, and the way back ends where it began, in place too.
static bool leads(const miState* state, Transform to, Transform from, const miVector& expected) {
    miVector there, back;
    to(state, &there, &kAsked);
    back = there;
    from(state, &back, &back);
    return isNear(there, expected) && isNear(back, kAsked);
}

static void checkSpaces(const miState* state) {
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

static void checkLight(miState* state, miTag light) {
    const miTag before = state->light_instance;
    state->light_instance = light;
    HOLDS(leads(state, mi_point_to_light, mi_point_from_light, {3, -1, 5}));
    HOLDS(leads(state, mi_vector_to_light, mi_vector_from_light, kAsked));
    HOLDS(leads(state, mi_normal_to_light, mi_normal_from_light, kAsked));
    state->light_instance = before;

    int samples = 0;
    miVector origin = {0, 0, 0}, dir = {0, 0, 0}, traced = {0, 0, 0};
    void* parameters = nullptr;
    mi_light_info(light, &origin, nullptr, &parameters);
    HOLDS(isNear(origin, {0, 0, 7}) && parameters);
    miColor sampled = {}, color = {};
    miScalar cosine = 0, tracedCosine = 0;
    HOLDS(mi_sample_light(&sampled, &dir, &cosine, state, light, &samples));
    HOLDS(mi_trace_light(&color, &traced, &tracedCosine, state, light));
    HOLDS(isNear(dir, traced) && cosine == tracedCosine && color.g == sampled.g && color.g > 0);
}

static void checkLightLists(miState* state, miTag* own) {
    miTag* list = own;
    int n = 2;
    HOLDS(mi_inclusive_lightlist(&n, &list, state) && n == 2);
    HOLDS((list[0] == own[0] && list[1] == own[1]) || (list[0] == own[1] && list[1] == own[0]));
    list = own;
    HOLDS(mi_exclusive_lightlist(&n, &list, state) && n == 1 && list[0] != own[0] && list[0] != own[1]);
    list = nullptr;
    n = 0;
    HOLDS(mi_exclusive_lightlist(&n, &list, state) && n == 3);
    n = 0;
    HOLDS(mi_inclusive_lightlist(&n, &list, state) && n == 0);
    HOLDS(mi_instance_lightlist(&n, &list, state) && n == 3);
    HOLDS(mi_global_lights_info(&list) == 3);
}

static void checkCorners(miState* state) {
    const miVector *a = nullptr, *b = nullptr, *c = nullptr;
    const miScalar* w = state->bary;
    const auto weighted = [&] {
        return miVector{w[0] * a->x + w[1] * b->x + w[2] * c->x, w[0] * a->y + w[1] * b->y + w[2] * c->y, 0};
    };
    miVector local;
    mi_point_to_object(state, &local, &state->point);
    HOLDS(mi_tri_vectors(state, 'p', 0, &a, &b, &c) && isNear(local, weighted()));
    HOLDS(mi_tri_vectors(state, 't', 0, &a, &b, &c) && isNear(state->tex_list[0], weighted()));
    HOLDS(!mi_tri_vectors(state, 't', 1, &a, &b, &c) && !mi_tri_vectors(state, 't', -1, &a, &b, &c));
    HOLDS(!mi_tri_vectors(state, 'x', 0, &a, &b, &c));
    miScalar x = 0, y = 0;
    HOLDS(mi_raster_unit(state, &x, &y) && x * 4 == state->raster_x && y * 4 == state->raster_y && x > 0 && y > 0);
}

static void checkOpacity(miState* state) {
    const miColor first = {.1f, .2f, .3f, .4f}, last = {.5f, .6f, .7f, .8f};
    miColor opacity = {9, 9, 9, 9};
    HOLDS(!mi_opacity_get(state, &opacity));
    mi_opacity_set(state, &first);
    mi_opacity_set(state, &last);
    HOLDS(mi_opacity_get(state, &opacity) && std::memcmp(&opacity, &last, sizeof last) == 0);
}

/// The profile has the intensities 40, 20, 0 at 0, 60, 120 degrees of C0 and half of it at C180.
static void checkProfile(miState* state, miTag profile) {
    constexpr float kPi = 3.14159265f;
    const auto answers = [&](miQ_type code, double expected) {
        miScalar value = -1;
        return mi_query(code, state, profile, &value) && isNear(value, expected);
    };
    int count = 0;
    HOLDS(answers(miQ_LIGHTPROFILE_PHI_MIN, 0) && answers(miQ_LIGHTPROFILE_PHI_MAX, 2 * kPi));
    HOLDS(answers(miQ_LIGHTPROFILE_COSTHETA_MIN, -.5) && answers(miQ_LIGHTPROFILE_COSTHETA_MAX, 1));
    HOLDS(answers(miQ_LIGHTPROFILE_INTENSITY_MAX, 40));
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
}

struct Probe {
    miTag profile;
    int i_lights, n_lights;
    miTag lights[1];
};

TEST_SHADER(probe_surface, Probe) {
    miTag* const lights = VALUE(lights) + VALUE(i_lights);
    HOLDS(VALUE(n_lights) == 2);
    checkSpaces(state);
    checkLight(state, lights[0]);
    checkLightLists(state, lights);
    checkCorners(state);
    checkOpacity(state);
    checkProfile(state, VALUE(profile));
    *result = {1, 1, 1, 1};
    return miTRUE;
}

struct ProfileLight {
    miTag profile;
    miBoolean relative;
};

TEST_SHADER(probe_profile_light, ProfileLight) {
    const miScalar i = mi_lightprofile_sample(state, VALUE(profile), VALUE(relative));
    *result = {i, i, i, 1};
    return miTRUE;
}
