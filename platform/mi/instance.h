/* Records that place scene elements: transformation and instance. */
#pragma once

#include "types.h"

/* Placement at one time; the matrices lead from world to local space and back. */
typedef struct miTransform {
    miTag function;
    miScalar time;
    miMatrix global_to_local;
    miMatrix local_to_global;
    miUint1 identity;
    miUint1 spare[3];
    int id;
} miTransform;

/* One use of an object, light, camera or group. Flag bytes: bit 0 casts, bit 1 receives. */
typedef struct miInstance {
    miTransform tf;
    miMatrix motion_transform;
    miTag item;     /* what is placed */
    miTag material; /* inherited by what is below */
    miTag parent;
    miTag boxes;
    miTag next;
    miTag prev;
    int mtl_array_size;
    miTag light_obj_ring;
    miTag userdata; /* first user data block */
    miUint label;
    miTag geogroup;

    miUint1 off; /* hidden */
    miUint1 gen_motion;
    miUint1 visible;
    miUint1 shadow;
    miUint1 reflection;
    miUint1 refraction;
    miUint1 transparency;
    miUint1 caustic;
    miUint1 globillum;
    miUint1 finalgather;
    miUint1 face;
    miUint1 temp_material;
    miUint1 spare3;
    miUint1 mtl_override;
    miUint2 history_size;

    miTag approx_list;
    miUint1 approx_override;
    miUint1 spare2;
    miUint1 shadowmap;
    miUint1 exclusive; /* the light list names the lights that do not apply */
    miTag light_list;
    miUint1 finalgather_force;
    miUint1 spare1;
    miUint1 builtin;
    miUint1 shadow_excl; /* same for the shadow list */
    miTag shadow_list;
    miScalar shading_samples;
    miScalar sample_limits[2];
    miTag time_motion_transform;
    int spare[1];

    /* parameters that are inherited down the scene graph */
    miTag param_decl;
    int param_size; /* bytes */
    char param[8];  /* longer than declared */
} miInstance;
