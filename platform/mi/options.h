/* The render options record, and the approximation settings it contains. */
#pragma once

#include "types.h"

/* How finely surfaces are tessellated. */
typedef struct miApprox {
    miScalar cnst[6];
    miUint1 sharp;
    miUint1 flag;
    miUint1 any;
    miUint1 view_dep;
    int method;
    int style;
    miUint2 subdiv[2];
    miUint max;
    miScalar grading;
    miUint spare[2];
} miApprox;

/* Character-valued fields hold 0, 1 or the letter of the mode. */
struct miOptions {
    /* rays and sampling; depths count levels, a sample limit n means 4^n samples per pixel */
    miBoolean trace;
    int scanline;  /* 0 off, 1 on, 'r' rasterizer */
    miUint motion; /* bit 0: on, bit 1: interpolate the camera instance */
    miBoolean shadow_sort;
    miBoolean preview_mode;
    int reflection_depth;
    int refraction_depth;
    int trace_depth; /* limit of the sum of both levels */
    int min_samples;
    int max_samples;
    miColor contrast;
    miColor time_contrast;
    miTag contour_contrast;
    miTag contour_store;

    /* photons and the pixel filter; radii in scene units, 0 = automatic */
    miBoolean caustic;
    miBoolean globillum;
    int caustic_accuracy;
    miScalar caustic_radius;
    int globillum_accuracy;
    miScalar globillum_radius;
    miScalar caustic_filter_const;
    miScalar filter_size_x; /* in pixels */
    miScalar filter_size_y;
    miScalar jitter; /* 0 to 1 */

    /* shutter interval, in fractions of a frame */
    miScalar shutter; /* closes */
    short spare8[5];
    miSint1 def_min_samples;
    miSint1 def_max_samples;
    int space_max_size;
    int space_max_depth;
    miScalar shutter_delay; /* opens */
    int no_images;

    /* tessellation */
    miApprox approx;
    miApprox approx_displace;
    miUint spare1[19];
    miUint spare9;

    /* modes in single bytes */
    miTag finalgather_file;
    miUint1 space_shadow_separate;
    miUint1 finalgather_filter;
    char rast_collect_rate;
    char rast_motion_resample;
    char use_shadow_maps; /* 0, 1, 'o'; bit 7: shadow maps only */
    miUint1 rendering_shadow_maps;
    char recompute_shadow_maps; /* 'n', 'y' */
    char shadow;                /* 0 off, 1 any order, 'l' sorted, 's' segments */
    char caustic_filter;        /* 'b' box, 'c' cone */
    miUint1 finalgather_rebuild;
    char filter; /* 'b' box, 't' triangle, 'g' gauss */
    char acceleration;
    char face; /* 'f' front, 'b' back, 'a' all */
    char spare10;
    char smethod;
    char render_space; /* 'o': internal space is world space, 'c': camera space */
    miUint1 spare11;
    miUint1 spare12;
    miUint1 visible_lights;
    miUint1 shadow_map_motion;
    int task_size; /* edge of a tile in pixels, 0 = automatic */
    miBoolean strips;

    /* photon maps, final gathering and their scales */
    miTag photonmap_file;
    miBoolean photonmap_rebuild;
    int photon_reflection_depth;
    int photon_refraction_depth;
    int photon_trace_depth;
    int space_max_mem;
    miColor caustic_scale;
    miColor globillum_scale;
    miColor finalgather_scale;
    miColor finalgather_sec_scale;
    miUint spare4;
    miColor photonvol_scale;
    miUint spare2[6];
    miUint spare13;

    /* color profiles and the directory of frame-buffer files */
    miTag input_cprof;
    miTag white_cprof;
    miTag render_cprof;
    miTag fb_dir;

    /* features switched off, and further one-byte settings */
    miCBoolean no_lens;
    miCBoolean no_volume;
    miCBoolean no_geometry;
    miCBoolean no_displace;
    miCBoolean no_output;
    miCBoolean no_merge;
    miUint1 caustic_flag;
    miUint1 diagnostic_mode; /* bits */
    int photonvol_accuracy;
    miScalar photonvol_radius;
    miUint1 globillum_flag;
    miCBoolean samplelock;
    miCBoolean autovolume;
    miUint1 finalgather_view; /* radii are in pixels instead of scene units */
    miCBoolean no_hair;
    miUint1 n_motion_vectors;
    miCBoolean no_pass;
    miCBoolean photon_autovolume;
    miCBoolean no_predisplace;
    miUint1 fg_reflection_depth;
    miUint1 fg_refraction_depth;
    miUint1 fg_trace_depth;
    miScalar fg_falloff_start;
    miScalar fg_falloff_stop;

    miTag userdata; /* first user data block */
    miBoolean irradiance_particles;
    miUint spare5[23];

    /* final gathering */
    int finalgather; /* 0 off, 1 on, 'f' use stored points only */
    int finalgather_rays;
    miScalar finalgather_maxradius;
    miScalar finalgather_minradius;

    /* diagnostics and output */
    miScalar diag_photon_density;
    miScalar diag_grid_size;
    miBoolean desaturate;
    miBoolean dither;
    miBoolean nopremult;
    int colorclip; /* 0 rgb, 1 alpha, 2 raw */
    miScalar gamma;
    miTag inh_funcdecl;
    miColor luminance_weight; /* weights of red, green and blue */
    int spare0[2];

    miUint1 inh_is_traversal;
    miUint1 spare6;
    miUint1 spare7;
    miUint1 shadowmap_flags;
    miScalar maxdisplace; /* scene units */
    miScalar shadowmap_bias;
    miUint1 spare14;
    miUint1 photonmap_only;
    miUint1 lightmap; /* 0 off, 1 on, 2 light maps only, 4 on any host */
    miUint1 fg_diffuse_depth;
    miTag state_func; /* list of state shaders */
    miScalar fg_presamp_density;
    miScalar rast_shading_samples;
    miUint1 fb_virtual; /* how frame buffers are kept: 0, 1, 2 */
    miUint1 unified_sampling;
    miUint1 spare3[2];
    miTag string_options; /* options by name, see the C++ interface */
    int spare[9];
};
