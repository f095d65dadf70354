/* The light record. */
#pragma once

#include "codes.h"
#include "types.h"

/* Shape of an area light around its origin, by miLight.area. */
typedef union miLight_primitive {
    struct {
        miVector edge_u, edge_v;
    } rectangle;
    struct {
        miVector normal;
        miScalar radius;
    } disc;
    struct {
        miScalar radius;
    } sphere;
    struct {
        miVector axis;
        miScalar radius;
    } cylinder;
    struct {
        miTag object;
    } object;
} miLight_primitive;

/* Settings of detail shadow maps. */
typedef struct miLight_shmap {
    miTag camera;
    miScalar accuracy;
    miScalar filter_u;
    miScalar filter_v;
    miSint2 samples;
    miUint1 filter;
    miUint1 type;
} miLight_shmap;

/* Origin, direction and shape are in the space of the light's instance. */
typedef struct miLight {
    miLight_type type;
    miLight_area area;
    miScalar exponent; /* of the photons' fall-off with distance */

    /* photons */
    miUint caustic_store_photons;
    miUint global_store_photons;
    miColor energy;
    miTag shader;
    miTag emitter;

    miVector origin;
    miVector direction;
    miScalar spread; /* cosine of the spot's half angle */

    /* area lights; the low counts serve rays deeper than low_level */
    miLight_primitive primitive;
    short samples_u;
    short samples_v;
    short low_samples_u;
    short low_samples_v;
    short low_level;

    /* shadow maps */
    miUint1 shadowmap_flags;
    miUint1 dirlight_has_org;
    miBoolean use_shadow_maps;
    miTag shadowmap_file;
    int shadowmap_resolution;
    miScalar shadowmap_softness;
    int shadowmap_samples;

    miBoolean visible; /* area lights: seen by rays */
    miUint label;
    miTag userdata; /* first user data block */
    miUint caustic_emit;
    miUint global_emit;
    miTag spare;
    short h_min, h_max; /* window of the shadow map */
    short v_min, v_max;
    miTag emitter_spectrum;
    miScalar shadowmap_bias;
    miLight_shmap shmap;

    miTag lightprofile;
    miUint1 use_lprof;
    miUint1 photons_only;
    miUint1 builtin_ol;
    miUint1 spare1;
    int spare4[8];
} miLight;
