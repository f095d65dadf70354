/* Ramps: a scalar or a color as a function of a position, given by up to 50 entries that may stand in any order, each
 * with its own interpolation towards the next higher one.
 *
 * A ramp is made, looked up and given up within one shader call:
 *
 *   LumoRamp ramp;
 *   ramp_constructor(&ramp, state, &parameters->i_height, 0);
 *   height = ramp_get_interp_float(&ramp, t);
 *   ramp_destructor(&ramp);
 *
 * Positions, t and values have no unit; positions usually lie in 0 to 1, but need not. The functions keep no state and
 * report nothing, and different threads may look up the same ramp.
 */
#ifndef LUMO_SDK_LUMO_RAMPS_H
#define LUMO_SDK_LUMO_RAMPS_H

#include "lumo_base.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { kRampCapacity = 50 };

/* How an entry goes over to the next, for u = 0 to 1 between their positions. Another code holds the entry's value, and
 * is different from kRampNone only at the next entry's position, which then has that entry's value. */
typedef enum RampInterpolation {
    kRampNone = 0,   /* holds the entry's value, at the next entry's position too */
    kRampLinear = 1, /* weight u */
    kRampSmooth = 2, /* weight (1 + cos((u + 1) pi)) / 2: flat at both ends */
    kRampSpline = 3  /* cubic Hermite segment through all entries, slopes by central differences */
} RampInterpolation;

/* A ramp of a shader's parameters is an array parameter: `array struct "ramp" { scalar "position", scalar "value" or
 * color "value", integer "interpolation" }`, in memory the number of the first entry, the count, and the entries. */
typedef struct RampScalarEntry {
    miScalar position;
    miScalar value;
    miInteger interpolation;
} RampScalarEntry;

typedef struct RampColorEntry {
    miScalar position;
    miColor value;
    miInteger interpolation;
} RampColorEntry;

/* 1208 bytes without pointers; copy it as you like. */
typedef struct LumoRamp {
    miUint kind;     /* 0 scalar, else color */
    miInteger count; /* of entries; not above 0: an empty ramp */
    miScalar positions[kRampCapacity];
    miColor values[kRampCapacity]; /* in a scalar ramp the first 50 floats of this area are the 50 values */
    miInteger interpolations[kRampCapacity];
} LumoRamp;

/* Reads a ramp from the parameters of the running shader. Every word that is connected to another shader is evaluated.
 *   group  address of the array parameter's first word (i_...) inside the parameter block; null makes an empty ramp
 *   kind   0: entries are RampScalarEntry, else RampColorEntry
 * Entries beyond the first 50 are not read. An array that does not lie in the shader's block is empty, and an error. */
LUMO_API void ramp_constructor(LumoRamp* ramp, miState* state, const void* group, miUint kind);

/* Empties the ramp. It owns nothing else. */
LUMO_API void ramp_destructor(LumoRamp* ramp);

/* Value at t; 0 for an empty ramp and for a color ramp. Below the lowest position it is the lowest entry's value, above
 * the highest the highest's. Of entries at the same position the first one counts. A t that is not a number lies at no
 * place: the result is the first entry's value if that holds (kRampNone), else not a number. */
LUMO_API miScalar ramp_get_interp_float(const LumoRamp* ramp, miScalar t);

/* The same for color ramps. Sets red, green and blue; alpha only where the value of a single entry is taken whole: at
 * and outside the ends of a spline segment. Elsewhere alpha stays what it was. An empty or a scalar ramp gives 0 0 0 0.
 */
LUMO_API void ramp_get_interp_color(const LumoRamp* ramp, miScalar t, miColor* color);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
