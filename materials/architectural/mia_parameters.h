/* Parameters and results of mia_material and mia_material_x; architectural.mi explains them. */
#pragma once

#include "lights/light_list.h"
#include "module/term.h"

#include "shader.h"

#include <cstddef>

namespace materials {

struct MiaMaterial {
    miScalar diffuse_weight;
    miColor diffuse;
    miScalar diffuse_roughness;

    miScalar reflectivity;
    miColor refl_color;
    miScalar refl_gloss;
    miInteger refl_gloss_samples;
    miBoolean refl_interpolate, refl_hl_only, refl_is_metal;

    miScalar transparency;
    miColor refr_color;
    miScalar refr_gloss, refr_ior;
    miInteger refr_gloss_samples;
    miBoolean refr_interpolate, refr_translucency;
    miColor refr_trans_color;
    miScalar refr_trans_weight;

    miScalar anisotropy, anisotropy_rotation;
    miInteger anisotropy_channel;

    miBoolean brdf_fresnel;
    miScalar brdf_0_degree_refl, brdf_90_degree_refl, brdf_curve;
    miBoolean brdf_conserve_energy;

    miInteger intr_grid_density, intr_refl_samples;
    miBoolean intr_refl_ddist_on;
    miScalar intr_refl_ddist;
    miInteger intr_refr_samples;

    miBoolean single_env_sample;
    miBoolean refl_falloff_on;
    miScalar refl_falloff_dist;
    miBoolean refl_falloff_color_on;
    miColor refl_falloff_color;
    miInteger refl_depth;
    miScalar refl_cutoff;
    miBoolean refr_falloff_on;
    miScalar refr_falloff_dist;
    miBoolean refr_falloff_color_on;
    miColor refr_falloff_color;
    miInteger refr_depth;
    miScalar refr_cutoff;

    miScalar indirect_multiplier, fg_quality, fg_quality_w;
    miBoolean ao_on;
    miInteger ao_samples;
    miScalar ao_distance;
    miColor ao_dark, ao_ambient;
    miInteger ao_do_details;

    miBoolean thin_walled, no_visible_area_hl, skip_inside_refl, do_refractive_caustics, backface_cull, propagate_alpha;
    miScalar hl_vs_refl_balance, cutout_opacity;
    miColor additional_color;
    miTag bump;
    miBoolean no_diffuse_bump;
    miInteger mode;
    LightArray lights;
};

struct MiaMaterialX : MiaMaterial {
    miInteger bump_mode;
    miVector overall_bump, standard_bump;
    miBoolean multiple_outputs;
    miScalar refl_base;
    miColor refl_base_color;
    miScalar refl_base_gloss;
    miInteger refl_base_gloss_samples;
    miVector refl_base_bump;
};

/* Scenes and other modules know the order. */
static_assert(sizeof(MiaMaterial) == 96 * 4 && sizeof(MiaMaterialX) == 114 * 4);

struct MiaOutputs {
    miColor result;
    Term diffuse, spec, refl, refr, tran;
    miColor indirect_result, indirect_raw, indirect_post_ao, ao_raw;
    miColor add_result;
    miColor opacity_result, opacity_raw;
    miScalar opacity;
};

static_assert(sizeof(MiaOutputs) == 93 * 4);

/* One call of the shader. */
struct MiaCall {
    miState* state;
    const MiaMaterial& p;
    const MiaMaterialX* x; /* null for mia_material */
    Parameters in;

    MiaCall(miState* state_, const MiaMaterial& p_, const MiaMaterialX* x_) : state(state_), p(p_), x(x_), in(state_) {}

    /* Declarations of older scenes end before the second layer of reflection. */
    bool hasBaseLayer() const {
        return x && state->shader->parameter_size >= static_cast<int>(sizeof(MiaMaterialX)) &&
               in.share(x->refl_base) > 0;
    }
};

}  // namespace materials
