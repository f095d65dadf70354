/* The per-sample record "vexabase": 144 words that travel with the shading state. The integration places it, shaders
 * read and write its words. Shared by the SDK and the integration only; the values written here are its defaults.
 */
#pragma once

#include <cstddef>

#include <shader.h>

namespace lumo {

inline constexpr char kVexabaseKey[] = "vexabase";

/* What a light shader tells the material about the sample: 12 words. */
struct LightData {
    miInteger isAmbient = 0;
    miInteger emitsDiffuse = 1;
    miInteger emitsSpecular = 1;
    miScalar shadowFraction = 0;       /* 0 unshadowed .. 1 fully blocked */
    miColor color = {0, 0, 0, 0};      /* after intensity and decay, before shadows */
    const miVector* corners = nullptr; /* four of a quadrilateral area light, else null */
    miInteger flipsCosine = 0;
    miInteger withoutSampleTerms = 0; /* set by the material before each light */
};

/* Size of the sampled region at the hit. Lengths are half-widths (0.45 of a pixel's width, so that neighbouring samples
 * overlap a little) of the ellipse that a pixel, seen along the ray, covers on the surface's tangent plane. */
struct Footprint {
    miScalar u = 0;       /* half extent in the first texture space, along u and v; without surface derivatives the */
    miScalar v = 0;       /* lengths below times 1.5e-5 */
    miScalar uvCross = 0; /* always 0: the extents are those of the box around the ellipse */
    miScalar along = 0;   /* half axis in internal space along the tilt: grows as the surface turns away */
    miScalar across = 0;  /* half axis at right angles to it; in the rough estimate the same as `along` */
    miScalar lengthCross = 0; /* always 0 */
};

enum FootprintMode : miInteger { kFootprintConstant = 0, kFootprintComputed = 1 };

struct Vexabase {
    miUint layoutVersion = 1; /* word 0 */
    miUint spare1 = 0;
    miInteger footprintMode = kFootprintComputed;
    miScalar constantFootprint = 0;
    miInteger compositionMode = 0;     /* 4: 0 to 6 */
    miInteger shadowDepthLimit = 1000; /* 0 would switch all traced shadows off */
    miInteger evaluatesFog = 0;
    miScalar lowerImportance = -1; /* nothing is cut off; at 0 a black surface would lose its shadows */
    miScalar upperImportance = 0;
    miInteger lightsBackSide = 0;
    miScalar footprintScale = 0; /* 10: a pixel's size at distance 1 */
    miScalar refractionValue = 0;
    LightData light;                                                     /* 12 */
    miColor lightOutput[3] = {{0, 0, 0, 0}, {1, 1, 1, 1}, {0, 0, 0, 0}}; /* 24 */
    miVector areaCorners[4] = {}; /* 36: what LightData::corners points to, so that it outlives the light shader */
    miUint spare48[66] = {};
    miInteger surfaceMark = 0;            /* 114: cleared before a surface is called */
    miColor glow = {0, 0, 0, 0};          /* 115 */
    miScalar surfaceAlpha[3] = {0, 0, 0}; /* 119 */
    miUint spare122[5] = {};
    Footprint footprint; /* 127 */
    miUint spare133[7] = {};
    miColor contributionWeight = {1, 1, 1, 1}; /* 140: with which rays spawned here count in the pixel */
};

/* Offsets in words; other modules know the record by its words. */
static_assert(sizeof(LightData) == 12 * 4 && sizeof(Footprint) == 6 * 4);
static_assert(sizeof(Vexabase) == 144 * 4 && alignof(Vexabase) == 8);
static_assert(offsetof(LightData, corners) == 8 * 4);
static_assert(offsetof(Vexabase, footprintMode) == 2 * 4);
static_assert(offsetof(Vexabase, lowerImportance) == 7 * 4);
static_assert(offsetof(Vexabase, footprintScale) == 10 * 4);
static_assert(offsetof(Vexabase, light) == 12 * 4);
static_assert(offsetof(Vexabase, lightOutput) == 24 * 4);
static_assert(offsetof(Vexabase, areaCorners) == 36 * 4);
static_assert(offsetof(Vexabase, surfaceMark) == 114 * 4);
static_assert(offsetof(Vexabase, glow) == 115 * 4);
static_assert(offsetof(Vexabase, surfaceAlpha) == 119 * 4);
static_assert(offsetof(Vexabase, footprint) == 127 * 4);
static_assert(offsetof(Vexabase, contributionWeight) == 140 * 4);

}  // namespace lumo
