/* Light maps: textures that shaders fill before the picture is rendered. */
#pragma once

#include "codes.h"
#include "state.h"
#include "types.h"

/*
 * The shaders in a material's slot `lightmap` are called in three manners, once per sample of the state shaders, with
 * a color as result, while mi_query says that the stage is miSTAGE_LIGHTMAP. These manners and the functions below are
 * this host's: of the renderer's own only the names are known.
 *
 * 1. type miRAY_LM_VERTEX: at each corner of each triangle. The first two numbers of the result are its place in the
 *    map, 0 to 1 from the lower left corner. Where one of the three calls is false the triangle is left out.
 * 2. type miRAY_LM_MESH, with an instance: for the triangle. The shader lets mi_lightmap_sample lead it from texel to
 *    texel and puts colors into the image that mi_db_access gives of the texture. A triangle may come in several calls,
 *    each for some of the texels. Calls run on all threads.
 * 3. type miRAY_LM_MESH, without an instance: once for each shader when all is drawn, on one thread, to complete the map.
 *
 * The state is that of a surface that is seen from straight above; internal space is world space, the time that at which
 * the shutter opens.
 */

miBEGIN_C

/*
 * In manner 2: leads the state to the next texel of the texture whose center lies in the triangle, and tells which it is.
 * False behind the last one. Parameters that are evaluated afterwards are those of the place; pointers to values that were
 * evaluated before are good no more. Of triangles that overlap in
 * the map the last one stays, in the order of the scene; what others put there has no effect. The parts of a triangle
 * outside of 0 to 1 have no texels.
 */
miBoolean mi_lightmap_sample(miState* state, miTag texture, int* x, int* y);

/*
 * In manner 3: what is drawn grows over its edges, `texels` wide, so that look-ups which interpolate meet nothing else
 * there. New texels are the mean of those around them.
 */
miBoolean mi_lightmap_edges(miState* state, miTag texture, int texels);

miEND_C
