/* The object record: attributes common to all kinds of geometry. */
#pragma once

#include "codes.h"
#include "types.h"

/* Only ever used by pointer: the geometry that follows the common fields depends on the type. */
typedef struct miObject {
    miTag photonmap_file;
    miUint volume_id;
    miTag finalgather_file;
    miObject_type type;

    /* flag bytes: bit 0 casts, bit 1 receives */
    miUint1 visible;
    miUint1 shadow;
    miUint1 reflection;
    miUint1 refraction;
    miUint1 transparency;
    miUint1 caustic;
    miUint1 globillum;
    miUint1 finalgather;
    miUint1 spare_2;
    miUint1 face;
    miUint1 own_accel;
    miUint1 finalgather_force;
    miUint1 spare_1[3];
    miUint1 fine;

    int view_dependent;
    int mtl_is_label;
    miScalar maxdisplace;
    miUint spare_4;
    miTag userdata; /* first user data block */
    miUint label;

    /* bounding box in object space, now and moved by the motion vectors */
    miVector bbox_min;
    miVector bbox_max;
    miVector bbox_min_m;
    miVector bbox_max_m;

    miTag functions;
    miUint n_functions;
    miUint1 mbox_explicit;
    miSint1 min_samples;
    miSint1 max_samples;
    miUint1 shadowmap;
    miUint1 spare_3[4];
    miScalar ray_offset;
    miTag approx_list;
    miScalar shading_samples;
    miUint tri_est;
    miUint spare[1];
    miTag vertex_info;
    union {
        miPointer pointer; /* where the part that depends on the type begins */
        struct {
            miObject_type type; /* what will be there when the object is needed */
        } placeholder_list;
    } geo;
} miObject;
