// Ordinary surfaces and textures, as shader writers write them.
#include "test_shader.h"
#include "mi_shader_if.h"

#include <cmath>

struct Constant {
    miColor color;
};

TEST_SHADER(plain_constant, Constant) {
    *result = VALUE(color);
    return miTRUE;
}

/// The first texture coordinate as a color.
TEST_SHADER(plain_coordinate, void) {
    const miVector& coord = state->tex_list[0];
    *result = {coord.x, coord.y, coord.z, 1};
    return miTRUE;
}

struct RecordWord {
    int number;
};

/// Four numbers in a row of the record that shaders find at every sample.
TEST_SHADER(plain_record, RecordWord) {
    *result = *reinterpret_cast<miColor*>(static_cast<miScalar*>(mi_shaderstate_get(state, "vexabase", nullptr)) +
                                          VALUE(number));
    return miTRUE;
}

struct Nothing {};

/// What options only tell shaders.
TEST_SHADER(plain_options, Nothing) {
    const miOptions& o = *state->options;
    *result = {o.time_contrast.r, o.time_contrast.a, static_cast<miScalar>(o.n_motion_vectors),
               static_cast<miScalar>(o.filter) + o.filter_size_x + 16 * o.filter_size_y};
    return miTRUE;
}

struct Displace {
    miVector wave;
    miScalar height;
    int space;
};

/// height * cos(wave . p) for the point (0), the point in the world (1), or its texture coordinates (2): one scalar.
TEST_SHADER(plain_displace, Displace) {
    const miVector wave = VALUE(wave);
    miVector p = VALUE(space) == 2 ? state->tex_list[0] : state->point;
    if (VALUE(space) == 1) mi_point_to_world(state, &p, &state->point);
    int called = -1;
    mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &called);
    HOLDS(called == miSHADER_DISPLACE && state->type == miRAY_DISPLACE && state->instance && state->material);
    HOLDS(mi_vector_dot(&state->normal, &state->normal) > .9999f &&
          mi_vector_dot(&state->normal, &state->dir) < -.9999f);
    *reinterpret_cast<miScalar*>(result) = VALUE(height) * std::cos(mi_vector_dot(&wave, &p));
    return miTRUE;
}

struct Parts {
    miScalar scale;
};

/// Several results at once, { weight, tint, second }: scenes connect "name.member".
TEST_SHADER(plain_parts, Parts) {
    const miScalar scale = VALUE(scale), parts[] = {.25f, .5f, .25f, .125f, 1, .1f, .2f, .3f, .4f};
    for (int i = 0; i < 9; ++i) (&result->r)[i] = i == 4 ? 1 : scale * parts[i];
    return miTRUE;
}

struct Products {
    int i_a, n_a;
    miColor a[1];
    int i_b, n_b;
    miColor b[1];
};

/// Sum of a * b, color by color.
TEST_SHADER(plain_products, Products) {
    const auto value = [&](miColor& element) { return *static_cast<miColor*>(mi_eval(state, &element)); };
    *result = {};
    miColor *a = paras->a + paras->i_a, *b = paras->b + paras->i_b;
    for (int i = 0; i < paras->n_a; ++i) *result = *result + value(a[i]) * value(b[i]);
    return miTRUE;
}

// ---- Surfaces in the light of lights.

struct Material {
    miColor ambience, diffuse, specular;
    miScalar exponent, reflectivity;
    int i_light, n_light;
    miTag light[1];
};

TEST_SHADER(plain_material, Material) {
    const miColor diffuse = VALUE(diffuse), specular = VALUE(specular);
    const miScalar exponent = VALUE(exponent), reflectivity = VALUE(reflectivity);
    miColor color;
    *result = VALUE(ambience);
    mi::shader::LightIterator light(state, VALUE(light) + VALUE(i_light), VALUE(n_light));
    for (; !light->at_end(); ++light) {
        miColor sum = {};
        while (light->sample()) {
            const miVector dir = light->get_direction();
            light->get_contribution(&color);
            const miScalar shine = exponent > 0 ? mi_phong_specular(exponent, state, &dir) : 0;
            sum = sum + (light->get_dot_nl() * diffuse + shine * specular) * color;
        }
        if (const int samples = light->get_number_of_samples())
            *result = *result + (1 / static_cast<miScalar>(samples)) * sum;
    }
    miVector mirror;
    mi_reflection_dir(&mirror, state);
    if (reflectivity > 0 &&
        (mi_trace_reflection(&color, state, &mirror) || mi_trace_environment(&color, state, &mirror)))
        *result = mixed(*result, color, reflectivity);
    result->a = 1;
    return miTRUE;
}

// ---- Surfaces that send a ray on.

struct Rays {
    int mode;
    miColor own, tint, otherwise;
    miScalar ior;
};

/// 0 transparent, 1 reflection, 2 refraction, 3 continue, 4 environment in the mirror direction.
static bool traced(miColor* behind, miState* state, int mode, miScalar ior) {
    miVector dir;
    if (mode == 0) return mi_trace_transparent(behind, state);
    if (mode == 3) return mi_trace_continue(behind, state);
    // The surface normal faces the ray; inv_normal tells that the ray is on its way out.
    const miScalar in = state->inv_normal ? ior : 1, out = state->inv_normal ? 1 : ior;
    if (mode == 2) return mi_refraction_dir(&dir, state, in, out) && mi_trace_refraction(behind, state, &dir);
    mi_reflection_dir(&dir, state);
    return mode == 1 ? mi_trace_reflection(behind, state, &dir) : mi_trace_environment(behind, state, &dir);
}

/// own + tint * what came back, or own + otherwise where the ray was refused.
TEST_SHADER(plain_rays, Rays) {
    miColor behind = {};
    *result = VALUE(own);
    const bool went = traced(&behind, state, VALUE(mode), VALUE(ior));
    *result = *result + (went ? VALUE(tint) * behind : VALUE(otherwise));
    return miTRUE;
}

// ---- Surfaces in indirect light.

struct Gather {
    miColor emission, reflectance;
    miBoolean back;
    int rays;
    miScalar maxradius;
    int points, force, recordsize;
};

/// emission + reflectance * average radiance. Settings other than 0 go into the record of the call; `recordsize` makes
/// that as short as older modules have it.
TEST_SHADER(plain_gather, Gather) {
    miIrrad_options options;
    miColor indirect = {};
    miIRRAD_DEFAULT(&options, state);
    if (VALUE(rays)) options.finalgather_rays = VALUE(rays);
    if (VALUE(maxradius) > 0) options.finalgather_maxradius = VALUE(maxradius);
    options.finalgather_points = static_cast<miUint>(VALUE(points));
    options.finalgather_force = static_cast<miUint>(VALUE(force));
    if (VALUE(recordsize)) options.size = static_cast<miUint>(VALUE(recordsize));
    mi_compute_avg_radiance(&indirect, state, VALUE(back) ? 'b' : 'f', &options);
    *result = VALUE(emission) + VALUE(reflectance) * indirect;
    result->a = 1;
    return miTRUE;
}

/// What is answered within final gathering: r its state, g the stage, b 1 where the ray is one of its own.
TEST_SHADER(plain_gather_state, void) {
    int inside = -1, stage = -1;
    miColor wrong = {9, 9, 9, 9};
    mi_query(miQ_FINALGATHER_STATE, state, 0, &inside);
    mi_query(miQ_STAGE, state, 0, &stage);
    *result = {static_cast<float>(inside), static_cast<float>(stage), state->type == miRAY_FINALGATHER ? 1.f : 0, 1};
    if (inside > 0) mi_fb_put(state, 1, &wrong);
    return miTRUE;
}

/// Stores a constant irradiance for its place while points are made, then shows what is known there.
TEST_SHADER(plain_gather_store, Constant) {
    const miBoolean stored = mi_finalgather_store(&VALUE(color), state, 2);
    const miBoolean known = mi_compute_irradiance(result, state);
    result->a = stored ? 1 : 0;
    return known;
}

struct Occlusion {
    int rays;
    miVector axis;  // zero: the shading normal
    miScalar spread, exponent, mindist, maxdist, falloff;
    int flags, cachepoints, recordsize, stages;
};

/// r the hidden part; g, b and a the bent normal. `recordsize` makes the record of the call as short as older modules
/// have it, -1 passes none. Elsewhere than in the `stages`, bits added up, nothing is asked.
TEST_SHADER(plain_occlusion, Occlusion) {
    const miVector axis = VALUE(axis);
    const int size = VALUE(recordsize);
    miAmboccl_options options;
    int stage = 0;
    mi_query(miQ_STAGE, state, 0, &stage);
    if (!(stage & VALUE(stages))) return miTRUE;
    miAMBOCCL_DEFAULT(&options, state);
    options.rays = VALUE(rays);
    if (axis.x != 0 || axis.y != 0 || axis.z != 0) options.axis = axis;
    options.spread = VALUE(spread);
    options.spread_exp = VALUE(exponent);
    options.mindist = VALUE(mindist);
    options.maxdist = VALUE(maxdist);
    options.falloff = VALUE(falloff);
    options.flags = VALUE(flags);
    options.cache_points = VALUE(cachepoints);
    if (size > 0) options.size = static_cast<miUint>(size);
    miVector bent;
    const miScalar hidden = mi_ambient_occlusion(state, size < 0 ? nullptr : &options, &bent);
    *result = {hidden, bent.x, bent.y, bent.z};
    return miTRUE;
}

// ---- A texture over the footprint of the pixel, which the shader projects into the image itself.

struct TextureFilter {
    miTag tex;
    miScalar eccmax, max_minor, radius;
    miBoolean bilinear, norecord;
};

TEST_SHADER(plain_texture_filter, TextureFilter) {
    miTexfilter filter = {VALUE(eccmax), VALUE(max_minor), VALUE(radius), VALUE(bilinear), {0}};
    miVector p[3], t[3];
    miMatrix to_texture;
    if (!mi_texture_filter_project(p, t, state, .01f, 0) || !mi_texture_filter_transform(to_texture, p, t))
        return miFALSE;
    // It leaves z and w alone.
    for (int i = 2; i < 16; ++i) HOLDS((i % 4 < 2 && i / 4 != 2) || to_texture[i] == (i % 5 == 0 ? 1 : 0));
    return mi_lookup_filter_color_texture(result, state, VALUE(tex), VALUE(norecord) ? nullptr : &filter, to_texture);
}

/// The same in light from all sides, as hair has it: without the hit there is no behind.
TEST_SHADER(plain_around, Material) {
    const auto hit = state->pri;
    state->pri = nullptr;
    plain_material(result, state, paras, argument);
    state->pri = hit;
    return miTRUE;
}

/// What is known of a hair: half its width, how many texture and user numbers there are, the last of these.
TEST_SHADER(plain_hair, void) {
    miScalar radius = -1;
    const miScalar* users = nullptr;
    int textures = -1, count = 0;
    mi_query(miQ_HAIR_RADIUS, state, 0, &radius);
    mi_query(miQ_HAIR_NUM_TEXTURES, state, 0, &textures);
    mi_query(miQ_HAIR_NUM_USERS, state, 0, &count);
    *result = {radius, miScalar(textures), miScalar(count), -1};
    if (mi_query(miQ_HAIR_USERS, state, 0, &users)) result->a = users[count - 1];
    return miTRUE;
}
