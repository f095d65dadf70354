/* Option records that shaders fill and pass to illumination and texture calls, with their defaults. */
#pragma once

#include "options.h"
#include "state.h"

/* Settings of mi_compute_avg_radiance. */
typedef struct miIrrad_options {
    miUint size; /* bytes of this record */
    int finalgather_rays;
    miScalar finalgather_maxradius;
    miScalar finalgather_minradius;
    miUint1 finalgather_view; /* radii are in pixels */
    miUint1 finalgather_filter;
    miUint1 padding[2];
    int globillum_accuracy; /* photons per look-up */
    miScalar globillum_radius;
    int caustic_accuracy;
    miScalar caustic_radius;
    miUint finalgather_points;
    miScalar importance; /* -1: as the state says */
    miUint id;
    miUint finalgather_force; /* 0 as instance and object say, 1 on, 2 off */
    miUint finalgather_points_test;
} miIrrad_options;

/* Settings of mi_ambient_occlusion; a negative value leaves the choice to the render options. */
typedef struct miAmboccl_options {
    miUint size; /* bytes of this record */
    int rays;
    miVector axis;   /* of the cone of rays, unit length, internal space */
    miScalar spread; /* cosine of the cone's half angle */
    miScalar spread_exp;
    miScalar mindist;
    miScalar maxdist;
    int cache_points;
    int flags; /* miTrace_flag bits, of which occluders must have one */
    miScalar falloff;
} miAmboccl_options;

/* Settings of mi_lookup_filter_color_texture. */
typedef struct miTexfilter {
    miScalar eccmax;        /* longest by shortest axis of the footprint */
    miScalar max_minor;     /* limit of the shortest half axis, in texels of the pyramid level that is read */
    miScalar circle_radius; /* in pixels: 0.5 is as wide as one */
    miBoolean bilinear;
    miScalar spare[10];
} miTexfilter;

/* Takes the settings of the render options over into the record. */
miINLINE void miIrradDefaults(miIrrad_options* irrad, const miState* state) {
    const miOptions* options = state->options;
    irrad->size = (miUint)sizeof *irrad;
    irrad->finalgather_rays = options->finalgather_rays;
    irrad->finalgather_maxradius = options->finalgather_maxradius;
    irrad->finalgather_minradius = options->finalgather_minradius;
    irrad->finalgather_view = options->finalgather_view;
    irrad->finalgather_filter = options->finalgather_filter;
    irrad->padding[0] = irrad->padding[1] = 0;
    irrad->globillum_accuracy = options->globillum_accuracy;
    irrad->globillum_radius = options->globillum_radius;
    irrad->caustic_accuracy = options->caustic_accuracy;
    irrad->caustic_radius = options->caustic_radius;
    irrad->finalgather_points = 0;
    irrad->importance = -1.0f;
    irrad->id = 0;
    irrad->finalgather_force = 0;
    irrad->finalgather_points_test = 0;
}

/* Around the shading normal, everything else as the render options say. */
miINLINE void miAmbocclDefaults(miAmboccl_options* amboccl, const miState* state) {
    amboccl->size = (miUint)sizeof *amboccl;
    amboccl->rays = -1;
    amboccl->axis = state->normal;
    amboccl->spread = -2.0f;
    amboccl->spread_exp = 1.0f;
    amboccl->mindist = -1.0f;
    amboccl->maxdist = -1.0f;
    amboccl->cache_points = -1;
    amboccl->flags = -1;
    amboccl->falloff = -1.0f;
}

#define miIRRAD_DEFAULT(irrad, state) miIrradDefaults((irrad), (state))
#define miAMBOCCL_DEFAULT(amboccl, state) miAmbocclDefaults((amboccl), (state))
