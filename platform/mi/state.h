/* The shading state: everything a shader knows about the ray, the hit and the render it is called for. */
#pragma once

#include "codes.h"
#include "types.h"

/* Points and vectors are in internal space, which is world space unless the options say otherwise. */
struct miState {
    int version; /* of this record: 2 */

    /* the render: camera and options are read-only for shaders */
    miTag camera_inst;
    const miCamera* camera;
    const miOptions* options;
    miLock global_lock;

    /* bookkeeping of the renderer's sampler and of its shader-state entries */
    miUint qmc_instance;
    miUint pad;
    void* ts;

    /* the sample in the image, in pixels from the lower left corner */
    miScalar raster_x;
    miScalar raster_y;

    /* the ray */
    miState* parent; /* state of the caller; null for the first lens or material shader */
    miRay_type type;
    miUchar qmc_component;
    miCBoolean scanline;   /* the eye ray was found without tracing */
    miCBoolean inv_normal; /* back side hit, normals were turned */
    char face;             /* 'f' front, 'b' back, 'a' all; shaders may set it for sub-rays */
    void* msl_state;
    void* spare;
    int reflection_level; /* signed; shaders may lower it for sub-rays */
    int refraction_level;
    miVector org;  /* start of the ray; the light's position for light and shadow rays */
    miVector dir;  /* unit length, from org towards the hit */
    double dist;   /* org to point; 0 = no hit, undefined for directional lights */
    miScalar time; /* in the shutter interval */
    miScalar ior;  /* indices of refraction, kept by the shaders themselves */
    miScalar ior_in;
    miTag material; /* of the hit, 0 = nothing hit */
    miTag volume;   /* shaders that apply to this ray and to refracted sub-rays */
    miTag environment;
    miTag refraction_volume;

    /* the hit */
    miUint label;           /* value for the label frame buffer */
    miTag instance;         /* 0 = nothing hit */
    miTag light_instance;   /* in light and shadow shaders */
    miRc_intersection* pri; /* null = no hit, and no facing test while lights are sampled */
    miScalar importance;    /* contribution of this ray to the sample, 0 to 1 */
    miScalar bary[4];       /* barycentric coordinates of the hit */
    miVector point;
    miVector normal;      /* interpolated, unit length, on the side the ray came from */
    miVector normal_geom; /* of the primitive itself */
    miScalar dot_nd;      /* normal . dir: negative for ordinary hits */
    double shadow_tol;    /* how near a shadow ray may end before the point */

    /* surface attributes: one entry per texture space, null when the object has none */
    miVector* tex_list;
    miVector* bump_x_list;
    miVector* bump_y_list;
    miVector motion;  /* movement during the shutter interval */
    miVector* derivs; /* du, dv, duu, dvv, duv; null when the object has none */
    miVector tex;     /* look-up point handed to texture shaders */

    /* the call */
    const miFunction* shader; /* the function that is running */
    miState* child;           /* after a trace call: the state its shaders saw */
    short thread;             /* small index of the thread */
    miUshort count;           /* running number of the area-light sample */
    void* user;               /* free for lens and material shaders, handed down to sub-rays */
    int user_size;
};

/* Fourth argument of a state shader. */
typedef struct miState_shader_arg {
    miState_shader_op operation;
    miBoolean shader_return; /* at sample exit: what the primary shader returned */
} miState_shader_arg;
