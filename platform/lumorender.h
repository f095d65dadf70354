/* What lumorender offers beyond the published interface. Modules that are to run on other renderers, too, look these
 * functions up by name when they run, and do without where there are none.
 */
#ifndef LUMORENDER_H
#define LUMORENDER_H

#include "mi/state.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Values of all frame buffers in the running sample, by number: those that mi_fb_get and mi_fb_put move one by one.
 * They stay where they are until the sample ends, and may be read and written. */
typedef struct {
    miColor* colors;        /* 16-byte aligned */
    const miInteger* words; /* of each buffer's value: 4 where it is a color */
    miUint count;           /* 0 outside of a sample, and where what is put is no part of the picture */
} LumorenderSampleValues;

void lumorender_sample_values(miState* state, LumorenderSampleValues* values);

#ifdef __cplusplus
}
#endif

#endif
