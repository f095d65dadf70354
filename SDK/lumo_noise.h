/* Noise: the same patterns for every shader library.
 *
 * The functions may be called from all threads at once and touch only their arguments and constant tables. They report
 * nothing. A coordinate outside -1e9 .. 1e9 counts as 0, and so does one that is not a number.
 *
 * The value noises (noise_scalar_..., noise_vector_2d) repeat with period 1 in each coordinate; a period has
 * VEXA_CUBE_SIDE = 32 lattice cells. They are quadratic B-splines of values in (-1, 1) that belong to the lattice
 * points (C. de Boor, A Practical Guide to Splines, on uniform knots), so they stay inside the range of these values,
 * and their slope is continuous. The double coordinates are rounded to float first (noise_vector_2d calculates in
 * double): what is far from 0 should be brought near to it by the caller, who knows the period that he wants.
 */
#ifndef LUMO_SDK_LUMO_NOISE_H
#define LUMO_SDK_LUMO_NOISE_H

#include "lumo_base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Half a B-spline of its values, in (-0.5, 0.5). Its lattice does not close: the pattern jumps where the period starts
 * anew. In a period's first cell it goes on with the parabola of the second. Both are kept, as scenes depend on them.
 */
LUMO_API miScalar noise_scalar_1d(double x);

/* In (-1, 1), with mean 0. The lattice closes, so there is no seam between periods. */
LUMO_API miScalar noise_scalar_2d(double x, double y);
LUMO_API miScalar noise_scalar_3d(double x, double y, double z);

/* The three-dimensional noise in motion, in [-1, 1]. Each lattice value follows a B-spline through time of its own,
 * apart from the others'.
 *   w  time; the motion repeats with period 1
 *   n  steps of the motion in a period, at most 60000; with 0 nothing moves. A negative n is of no use: the values jump
 *      at each step, and leave the range
 * The pattern jumps where the time's period starts anew. */
LUMO_API miScalar noise_scalar_4d(double x, double y, double z, double w, miInteger n);

/* Slopes and a value on the lattice of noise_scalar_2d. Returns `result`.
 *   x, y  twice the slope of noise_scalar_2d in x and in y, per lattice cell
 *   z     a value in (-3, 3) that starts into each cell with twice the slope in y, and so jumps where the next cell
 *         begins. It differs from noise_scalar_2d on purpose: existing patterns are made of it */
LUMO_API miVector* noise_vector_2d(miVector* result, double x, double y);

/* Gradient noise (K. Perlin, An Image Synthesizer, 1985) with unit gradients, cubic fade and cells of side 1: 0 at all
 * points with integer coordinates, in (-1, 1), period 256. The result is 0 until noise_gradient_init has been called.
 */
LUMO_API miScalar noise_gradient_3d(miScalar x, miScalar y, miScalar z);

/* Draws the gradients from the renderer's random sequence 1, under the state's global lock. Does nothing if that has
 * been done. Call it before shading starts, e.g. in a shader's init: it restarts the renderer's sequence. The table of
 * 786,420 bytes stays until the process ends. Without memory for it nothing happens, and a later call tries again. */
LUMO_API void noise_gradient_init(miState* state);

/* Entry |i| mod 65535 of the table of values: 65535 numbers that cover (-1, 1) evenly. */
LUMO_API miScalar noise_table_scalar(miInteger i);

/* Three entries of the table in a row, i, i + 1 and i + 2, in a ring: -1 is the last one. Only -1 and -2 count from the
 * end; other negative numbers are taken as unsigned (i + 2^32) before they are wrapped. Returns `result`. */
LUMO_API miVector* noise_table_vector(miVector* result, miInteger i);

/* A random number in [0, 1], both included, from a generator with a period of 65536: the seed becomes
 * (25173 seed + 13849) mod 65536, the result is that over 65535. The sequence is the same on all machines. Any seed
 * will do; a seed belongs to one thread. */
LUMO_API double noise_drand(miUint* seed);
LUMO_API miScalar noise_frand(miUint* seed);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
