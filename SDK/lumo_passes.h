/* Part of SDK/lumo.h: frame buffers and the values that shaders give to passes. */
#ifndef LUMO_SDK_LUMO_PASSES_H
#define LUMO_SDK_LUMO_PASSES_H

#include "lumo_base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Frame buffers: records ------------------------------------------------------------------------------------ */

enum { kPassTypeCount = 35 };

/* The pass types, named after what the materials write into them. */
typedef enum PassType {
    kPassBeauty = 0,
    kPassAmbientMaterialColor = 1,
    kPassAmbientIrradiance = 2,
    kPassAmbient = 3,
    kPassDiffuseMaterialColor = 4,
    kPassDiffuse = 5,
    kPassDiffuseNoShadow = 6,
    kPassSpecular = 7,
    kPassSpecularNoShadow = 8,
    kPassIndirect = 9,
    kPassDirectIrradiance = 10,
    kPassDirectIrradianceNoShadow = 11,
    kPassShadow = 12,          /* 12-15 record the light that was blocked */
    kPassShadowLuminance = 13, /* scalar */
    kPassShadowIrradiance = 14,
    kPassShadowCosine = 15, /* scalar */
    kPassOwnAlpha16 = 16,   /* 16-18: whoever writes them also decides their alpha */
    kPassOwnAlpha17 = 17,
    kPassOwnAlpha18 = 18,
    kPassReflection = 19,
    kPassRefraction = 20,
    kPassScatter = 21,
    kPassIncandescence = 22,
    kPassReserved23 = 23,
    kPassReserved24 = 24,
    kPassTranslucence = 25,
    kPassMatte = 26,
    kPassLightScalar = 27, /* scalar, per light */
    kPassTransparency = 28,
    kPassGlow = 29,
    kPassUser = 30, /* the buffers of the write-to-buffer shaders */
    kPassTranslucenceNoShadow = 31,
    kPassReserved32 = 32,
    kPassIncidence = 33, /* scalar */
    kPassBeautyNoShadow = 34
} PassType;

/* FrameBufferInfo::flags. */
enum {
    kEntryComposited = 0x1, /* what lies behind shows through; without it the front stands alone */
    kEntryMatte = 0x2,      /* surfaces that the buffer filters out still hold out what lies behind */
    kEntryUser4 = 0x4,      /* 0x4 and 0x8: handed on, not used here */
    kEntryUser8 = 0x8,
    kEntryThroughReflection = 0x10,    /* filtered surfaces still hand up what they reflect */
    kEntryThroughRefraction = 0x20,    /* filtered surfaces still hand up what they refract */
    kEntryTimesSurfaceColor = 0x40,    /* multiplied by the surface color */
    kEntryShadowed = 0x80,             /* wants shadowed light */
    kEntryIgnoresOccluderMask = 0x100, /* occluders' pass masks are not asked */
    kEntryLightContributes = 0x200,    /* the current light contributes */
    kEntryInLightLoop = 0x400,         /* first entry only */
    kEntryLightNotSetUp = 0x800,       /* first entry only */
    kEntryShadowInverted = 0x1000,     /* records blocked light */
    kEntryInUse = 0x2000,              /* first entry only: getFrameBufferInfo reports no buffers */
    kEntryNoTracedLight = 0x4000,      /* takes nothing from secondary rays */
    kEntryClosed = 0x8000,             /* pass writes do nothing */
    kEntryWritePhase = 0x10000         /* first entry only: a write-to-buffer shader is at work */
};

/* FrameBufferSlot::levelFlags. */
enum {
    kLevelFiltered = 0x1,        /* the surface at this level does not write the buffer */
    kLevelBelowRange = 0x2,      /* ... because the buffer's own depth range starts deeper */
    kLevelNoReflection = 0x4,    /* reflections from here on are filtered too */
    kLevelNoRefraction = 0x8,    /* refractions from here on are filtered too */
    kLevelHidden = 0x10,         /* nothing from here on is seen by the buffer */
    kLevelHasSurroundings = 0x20 /* the ray met nothing, and a medium has put the surroundings behind itself */
};

/* FrameBufferState::flags. */
enum {
    kFrameTempOnHeap = 0x1,   /* render option "vexa allocate temp data on heap" */
    kFrameSurfaceClear = 0x2, /* the surface is clear enough for pass shaders to leave it to what lies behind */
    kFrameContinued = 0x4,    /* a pass shader has continued this sample's ray */
    kFrameContinuing = 0x8    /* the ray goes on as if the surface were not there: a pass shader continues it, or the
                                 * engine looks through a fully clear surface */
};

/* One buffer at one ray level: 13 words. */
typedef struct FrameBufferSlot {
    miColor contribution; /* what shaders write at this level */
    miColor color;        /* what is handed up, composited and written to the buffer at last */
    miColor transparency; /* named after its use in compositing; it holds opacity, 1 - T, per channel */
    miUint levelFlags;
} FrameBufferSlot;

/* One buffer: 104 bytes. */
typedef struct FrameBufferInfo {
    miUint index; /* renderer's frame-buffer index; in the first entry kNamesUnresolved until the first sample */
    miUint flags;
    miInteger minReflectionLevel, maxReflectionLevel;
    miInteger minRefractionLevel, maxRefractionLevel;
    miColor lightValue;  /* light that arrives at the point, for the current light sample */
    miColor shadowValue; /* shadow transmission, or blocked light in shadow-inverted passes */
    miColor shadowSum;
    miColor lightSum;
    miInteger identifier;   /* the application's own number */
    FrameBufferSlot* slots; /* one per ray level, 0 .. trace depth + 1 */
} FrameBufferInfo;

static const miUint kNamesUnresolved = 0xFFFFFFFFu;

/* Where the entries of one pass type lie. */
typedef struct PassRange {
    miUint count;
    miUint first;
} PassRange;

/* 280 bytes. */
typedef struct PassState {
    PassRange types[kPassTypeCount];
} PassState;

/* 20 bytes. All but the lowest flag is cleared at each sample. */
typedef struct FrameBufferState {
    miUint flags;
    miColor transparency; /* T of the surface that the shading engine shaded last (1 is clear) */
} FrameBufferState;

/* The camera's data block as the scene declares it (parameters of `declare data "FrameBufferData"`). Arrays follow the
 * renderer's convention: element k is at [i_ + k] of the inline element. Never walk it without checking counts. */
typedef struct FrameBufferRecord {
    miTag frameBufferName;
    miBoolean composited;
    miInteger matte, user4, user8;
    miInteger throughReflection, throughRefraction;
    miInteger timesSurfaceColor;
    miInteger shadowed;
    miInteger ignoresOccluderMask;
    miInteger minReflectionLevel, maxReflectionLevel;
    miInteger minRefractionLevel, maxRefractionLevel;
    miInteger identifier;
} FrameBufferRecord;

typedef struct FrameBufferData {
    miUint magic; /* 0x46427566, "FBuf" */
    miInteger i_passNames, n_passNames;
    miTag passNames[1];
    miInteger i_frameBufferInfo, n_frameBufferInfo;
    FrameBufferRecord frameBufferInfo[1];
    miInteger i_FrameBufferTypeCounts, n_FrameBufferTypeCounts;
    miInteger FrameBufferTypeCounts[1];
} FrameBufferData;

/* ---- Frame buffers: access ------------------------------------------------------------------------------------- */

/* The buffers of the current state. Returns their number and sets both pointers (owned by the renderer, valid for the
 * sample). Returns 0 and leaves *entries null while tiles are not being rendered, when no state shader published
 * buffers, when the published records do not fit each other, and while the first entry is in use (kEntryInUse). */
LUMO_API miUint getFrameBufferInfo(miState* state, PassState** passes, FrameBufferInfo** entries);

/* Null while tiles are not being rendered or when no state shader published it. */
LUMO_API FrameBufferState* getFrameBufferState(miState* state);

/* Renderer's index of the pass buffer number `index` of the camera's data block. 0 means: there is none. */
LUMO_API miUint getNonMaterialPassFrameBufferIndex(miState* state, miInteger index);

/* Renderer's index of the frame buffer whose name the string tag `name` holds. 0 means: there is none. */
LUMO_API miUint getNamedFrameBufferID(miState* state, miTag name);

/* ---- Passes ---------------------------------------------------------------------------------------------------- */

/* Whether a pass mask lets pass number `pass` through. A mask is a text of hexadecimal digits; digit p / 4 (counted
 * from the start) holds passes p, of which pass p is bit 1 << (p % 4). No mask (null) lets every pass through; a mask
 * that ends before the digit does not. Characters that are no digits give some value; nothing is reported. */
LUMO_API miBoolean contributesToPass(miUint pass, const char* mask);

/* Call before tracing a secondary ray: clears the slots of the next ray level. `count` and `entries` are those of
 * getFrameBufferInfo. Does nothing at the trace depth limit. */
LUMO_API void tracePassInit(miUint count, FrameBufferInfo* entries, miState* state);

/* Call after tracing a secondary ray: what it handed up is added, times `weight` (the weight that the material gives to
 * the traced color), to this level's contribution, and taken away from the next level. `kind`: 0 reflection, 1
 * refraction. */
LUMO_API void tracePassAdd(miUint count, FrameBufferInfo* entries, miState* state, const miColor* weight,
                           miBoolean kind);

/* Write modes. */
enum { kWriteNone = 0, kWriteAdd = 1, kWriteMultiply = 2, kWriteReplace = 3 };
/* Write flags. */
enum { kWriteWeighted = 0x1 };

/* Writes a value into an entry's contribution at the current ray level.
 *   mode      one of the write modes; other values add
 *   flags     bit kWriteWeighted: the value is multiplied by *weight first (alpha too)
 *   useLight  may be null (off). When *useLight is set, the value is a reflectance that light multiplies: the entry's
 *             lightValue if *reference is null, else the blocked light, **reference - lightValue
 *   reference may be null when useLight is off
 * Returns 0, and writes nothing, where the surface is filtered, for environment rays, and for a ray level outside 0 ..
 * trace depth + 1. A closed entry or mode 0 writes nothing and returns 1. */
LUMO_API miBoolean passWriteColor(miState* state, const miColor* value, FrameBufferInfo* entry, const miUint* mode,
                                  const miCBoolean* flags, const miScalar* weight, const miBoolean* useLight,
                                  const miColor* const* reference);

/* The same for an integer (labels), which occupies the contribution's first word. A weighted value is rounded half away
 * from zero; one outside the integers' range becomes the nearest integer, NaN becomes 0. Sums and products wrap. */
LUMO_API miBoolean passWriteInteger(miState* state, const miInteger* value, FrameBufferInfo* entry, const miUint* mode,
                                    const miCBoolean* flags, const miScalar* weight);

/* Inside the light loop: adds a value, lit as in passWriteColor, to the entry's lightSum. Returns 1. */
LUMO_API miBoolean passAddToLightSum(miState* state, const miColor* value, FrameBufferInfo* entry,
                                     const miBoolean* useLight, const miColor* const* reference);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
