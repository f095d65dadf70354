/* The camera record. */
#pragma once

#include "codes.h"
#include "types.h"

struct miCamera {
    /* projection: lengths in scene units, aspect is width by height */
    miBoolean orthographic;
    miScalar focal;
    miScalar aperture;
    miScalar aspect;
    miRange clip;
    int x_resolution;
    int y_resolution;

    /* part of the image to render, in pixels, both ends included; clipped to the resolution */
    struct {
        int xl, yl, xh, yh;
    } window;

    /* shaders of the eye rays, lists of functions */
    miTag volume;
    miTag environment;
    miTag lens;
    miTag output;

    int frame;
    miScalar frame_time;
    int spare2;
    miScalar x_offset; /* of the film, in pixels */
    miScalar y_offset;
    miTag userdata; /* first user data block */
    miTag pass;
    miUint spare3[2];
    miBoolean pass_mask;
    miTag buffertag; /* frame-buffer object, see the C++ interface */
    miCamera_stereo stereo;
    miScalar eye_separation;
    miTag filter;
    miScalar parallax_distance;
    int spare[6];
};
