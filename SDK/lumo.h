/* The shader SDK of lumovexa.so: everything that another shader library needs to take part in the same render passes.
 *
 * Unless a function says otherwise:
 *  - it may be called on any render thread; it touches only the calling state's own data and takes no lock;
 *  - it reports trouble through the renderer's message functions, never by an exception;
 *  - pointers must not be null; colors, vectors and records that are only read are const;
 *  - truth values are miBoolean (0 or 1).
 *
 * C and C++. The few functions with C++ types stand at the end.
 */
#ifndef LUMO_SDK_LUMO_H
#define LUMO_SDK_LUMO_H

#include <shader.h>

#define LUMO_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Constants ------------------------------------------------------------------------------------------------- */

LUMO_API extern const miColor BLACK; /* 0 0 0 0 */
LUMO_API extern const miColor WHITE; /* 1 1 1 1 */

/* The same two values where a writable address is wanted. Nobody may change them. */
LUMO_API extern miColor VEXA_BLACK;
LUMO_API extern miColor VEXA_WHITE;

/* Luminance = 0.3 r + 0.59 g + 0.11 b, everywhere. */
LUMO_API extern const miScalar VEXA_LUMINANCE_RED;
LUMO_API extern const miScalar VEXA_LUMINANCE_GREEN;
LUMO_API extern const miScalar VEXA_LUMINANCE_BLUE;

LUMO_API extern const miScalar VEXA_EPS;       /* 1e-5 */
LUMO_API extern const miUint VEXA_MAGIC;       /* first word of the library's user-data blocks: 'V' 'e' 'x' 'a' */
LUMO_API extern const miInteger VEXA_CUBE_SIDE; /* 32 */

/* Flags of object and material properties. */
LUMO_API extern const miInteger VEXA_BIT_BUMP2D;      /* 1 */
LUMO_API extern const miInteger VEXA_BIT_IMAGEPLANE;  /* 2 */
LUMO_API extern const miInteger VEXA_BIT_ENVLIGHTFOG; /* 4 */
LUMO_API extern const miInteger VEXA_BIT_VOLUMEFOG;   /* 8 */
LUMO_API extern const miInteger VEXA_BIT_FLUID;       /* 16 */
LUMO_API extern const miInteger VEXA_BIT_NOAF;        /* 32 */
LUMO_API extern const miInteger VEXA_BIT_MOTION;      /* 64 */

LUMO_API extern const miMatrix VEXA_IDENTITY_MATRIX;
LUMO_API extern const miMatrix VEXA_NULL_MATRIX;

/* Appended to a camera's name to name its frame-buffer data block. */
LUMO_API extern const char* const VEXA_FRAMEBUFFER_DATA_SUFFIX; /* ":fbdata" */

/* Keys of the three shader-state entries that lumoFrameBufferState publishes. */
LUMO_API extern const char* const PASS_TYPE_INFO_KEY;     /* "lumoPassState", one PassState */
LUMO_API extern const char* const FRAME_BUFFER_INFO_KEY;  /* "lumoFBInfo", an array of FrameBufferInfo */
LUMO_API extern const char* const FRAME_BUFFER_STATE_KEY; /* "lumoFBState", one FrameBufferState */

/* ---- Module ---------------------------------------------------------------------------------------------------- */

/* The renderer hands over its module handle (as dlopen gives it) once, before any other call. Every renderer function
 * is looked up by name in that module when it is first called. */
LUMO_API void miSetModuleHandle(void* handle);

/* ---- Scene data ------------------------------------------------------------------------------------------------ */

/* Finds the user-data block whose first word is `magic`.
 *   type   element type of `start`: 34 (user data) when `start` is the first block of a chain, else 7 (object). An
 *          instance given for an object is followed to its item.
 *   found  out, may be null: tag of the block. It stays pinned: the caller calls mi_db_unpin on this tag when done.
 *   swapped out, may be null: 1 when the block was written with the other byte order (all its words are reversed), else
 *          0. Such blocks are found only when this is given.
 * Returns the address of the block's parameter data, or null (nothing stays pinned, nothing is reported, and the two
 * out values are untouched). */
LUMO_API const void* get_userdata(miUint magic, miUint type, miTag start, miTag* found, miInteger* swapped);

/* The camera's position in world space. Without a camera instance: the origin. */
LUMO_API void origin_from_camera(miState* state, miVector* origin);

/* ---- Per-thread pools and stack -------------------------------------------------------------------------------- */

/* A pool of fixed-size blocks of `size` bytes, shared by all who ask for the same (id, size). Let `id` tell threads
 * apart: a pool is not locked. `lock` (the state's global lock) is held only while a new pool enters the list.
 * Thread-safe. Null when the renderer offers no block pools. */
LUMO_API miMemblk* get_tla(miLock lock, miUint id, miUint size);

/* Frees every pool. For the end of a render, when no shader uses a pool any more. */
LUMO_API void clr_tla_list(miLock lock);

/* A stack of blocks from a pool of the calling thread. Each element starts with a pointer to the element below. */
typedef struct LumoStack {
    void* top; /* most recent element or null */
    miUint count;
    miMemblk* pool;
} LumoStack;

/* Element size in bytes, the link pointer included. */
LUMO_API void stack_create(miState* state, LumoStack* stack, miUint size);
/* Returns the new top element, uninitialised but for its link; null when there is no memory (the stack is unchanged).
 * */
LUMO_API void* stack_push(LumoStack* stack);
/* Nothing happens on an empty stack. */
LUMO_API void stack_pop(LumoStack* stack);

/* ---- Motion time sampler --------------------------------------------------------------------------------------- */

/* for (tmsampler_init(&s, state, on); !tmsampler_isDone(&s); tmsampler_next(&s, state)) ... */
typedef struct LumoTimeSampler {
    miInteger index; /* samples taken */
    miInteger count; /* samples to take, 1 to 100 */
    miScalar step;   /* time between two samples */
} LumoTimeSampler;

/* One sample per call inside final gathering, without motion blur, or when the renderer knows that something moves in
 * the current sample; else the options' smallest time contrast decides. */
LUMO_API void tmsampler_init(LumoTimeSampler* sampler, miState* state, miBoolean enable);
LUMO_API miBoolean tmsampler_isDone(const LumoTimeSampler* sampler);
/* Moves state->time on, wrapping round at the shutter's close. */
LUMO_API void tmsampler_next(LumoTimeSampler* sampler, miState* state);

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
    kPassShadow = 12,            /* 12-15 record the light that was blocked */
    kPassShadowLuminance = 13,   /* scalar */
    kPassShadowIrradiance = 14,
    kPassShadowCosine = 15,      /* scalar */
    kPassOwnAlpha16 = 16,        /* 16-18: whoever writes them also decides their alpha */
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
    kPassLightScalar = 27,       /* scalar, per light */
    kPassTransparency = 28,
    kPassGlow = 29,
    kPassUser = 30,              /* the buffers of the write-to-buffer shaders */
    kPassTranslucenceNoShadow = 31,
    kPassReserved32 = 32,
    kPassIncidence = 33,         /* scalar */
    kPassBeautyNoShadow = 34
} PassType;

/* FrameBufferInfo::flags. */
enum {
    kEntryComposited = 0x1,            /* what lies behind shows through; without it the front stands alone */
    kEntryMatte = 0x2,                 /* surfaces that the buffer filters out still hold out what lies behind */
    kEntryUser4 = 0x4,                 /* 0x4 and 0x8: handed on, not used here */
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
    kLevelHidden = 0x10          /* nothing from here on is seen by the buffer */
};

/* FrameBufferState::flags. */
enum {
    kFrameTempOnHeap = 0x1,     /* render option "vexa allocate temp data on heap" */
    kFrameSurfaceClear = 0x2,   /* the surface is clear enough for pass shaders to leave it to what lies behind */
    kFrameContinued = 0x4,      /* a pass shader has continued this sample's ray */
    kFrameContinuing = 0x8      /* the ray goes on as if the surface were not there: a pass shader continues it, or the
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
    miInteger identifier; /* the application's own number */
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

/* ---- Lights and shadows ---------------------------------------------------------------------------------------- */

/* How a material, the light shaders and the shadow shaders exchange light pass by pass. `count` and `entries` are those
 * of getFrameBufferInfo; with a count of 0 nothing happens, but that shadows are still traced.
 *
 *   the material, per light   sampleLightBegin
 *                             while (mi_sample_light(...)) {
 *                                 handleNonLumoLights
 *                                 its terms times each entry's lightValue go to the entry's lightSum
 *                             }
 *                             sampleLightEnd
 *   a light shader            setupLightContributions, then one of
 *                             traceShadow | setLightIrradiance | traceShadowAccumulateBegin, ...Accumulate, ...End
 *   a shadow shader           applyShadowTransparencyToFrameBuffers
 */

/* What a light tells the material besides its color, in 12 words of the per-sample record. A material sets them to
 * these values before each light:
 *   0     1 ambient light         1, 2  light goes to diffuse, to specular terms    3    share that was blocked, 0 to 1
 *   4-7   color before shadows    8, 9  address of an area light's four corners     10   the cosine is to be negated
 *   11    set by the material: no shadows are traced */
LUMO_API extern const miUint defaultLightDataArray[12]; /* 0 1 1 0 0 0 0 0 0 0 0 0 */

/* Opens a light: clears the sums. */
LUMO_API void sampleLightBegin(miUint count, FrameBufferInfo* entries);

/* Call after each sample. A light of another library knows nothing of passes: its color then becomes the lightValue of
 * all entries that the pass mask of `light`, the light's instance, lets through; of the others it is BLACK. */
LUMO_API void handleNonLumoLights(miUint count, FrameBufferInfo* entries, const miColor* color, miTag light,
                                  miState* state);

/* Closes a light: writes the mean of `samples` samples, as mi_sample_light counted them, by passWriteColor. Nothing is
 * written when there was none. */
LUMO_API void sampleLightEnd(miState* state, miUint count, FrameBufferInfo* entries, miInteger samples,
                             const miUint* mode, const miCBoolean* flags, const miScalar* weight);

/* To be called first by a light shader: asks the light instance's pass mask which entries the light contributes to. */
LUMO_API void setupLightContributions(miUint count, FrameBufferInfo* entries, miState* state);

/* Traces the shadow ray of a light shader's state, and sets what arrives and what is shadowed for each entry.
 *   result       out: transmission, 1 is clear
 *   lightColor   where nothing is in the way
 *   shadowColor  where nothing gets through
 *   single       1: `result` serves all entries. 0: each has its own transmission, of those occluders alone whose pass
 *                masks include it
 * Returns 0 when the light is fully blocked. */
LUMO_API miBoolean traceShadow(miUint count, FrameBufferInfo* entries, miColor* result, const miColor* lightColor,
                               const miColor* shadowColor, miCBoolean single, miState* state);

/* For light without shadow. */
LUMO_API void setLightIrradiance(miUint count, FrameBufferInfo* entries, const miColor* irradiance);

/* For lights that trace several shadow rays: begin, once per ray accumulate, end. Each ray is that of the state, which
 * the light sets up. `result` and the returned value are those of traceShadow. */
LUMO_API void traceShadowAccumulateBegin(miUint count, FrameBufferInfo* entries);
LUMO_API miBoolean traceShadowAccumulate(miUint count, FrameBufferInfo* entries, miColor* result, miState* state);
/* Means over `samples` rays; with 0 the plain sums are used. */
LUMO_API void traceShadowAccumulateEnd(miUint count, FrameBufferInfo* entries, miUint samples,
                                       const miColor* lightColor, const miColor* shadowColor);

/* An occluder in a shadow ray, the hit instance of a shadow shader's state, of transparency T.
 *   accumulateOnly  0: attenuates shadowValue. 1: attenuates lightValue; entries that record blocked light add what is
 *                   taken away
 * Returns whether some entry with shadows still gets light. */
LUMO_API miBoolean applyShadowTransparencyToFrameBuffers(miUint count, FrameBufferInfo* entries,
                                                         const miColor* transparency, miCBoolean accumulateOnly,
                                                         miState* state);

/* Lights that are flat quadrilaterals, given by four corners in order around it. All vectors in internal space.
 * Null corners give 0. */

/* Stands for the cosine, of the whole light; not above 0 when it lies behind the surface. `normal` has unit length. */
LUMO_API miScalar arealight_lambertian_reflect(const miVector* point, const miVector* normal, const miVector* corners);

/* The direction, from the point to the light and of unit length, that comes closest to the reflected ray; the weight of
 * a highlight there: 1 where the ray hits the light, else the cosine of the two directions, not below 0. */
LUMO_API miScalar arealight_max_phong_spec_dir(const miVector* point, const miVector* reflection,
                                               const miVector* corners, miTag light, miVector* direction);

/* ---- Surface materials ----------------------------------------------------------------------------------------- */

/* Result of every surface material: 64 floats. Where only red, green and blue are named, alpha stays 0. */
typedef struct SurfaceShaderReturnType {
    miColor color;        /* what the surface looks like; alpha is that of the base color */
    miColor glowColor;    /* rgb */
    miColor matteOpacity; /* rgb; kBlackHole in each cuts a hole into the picture */
    miColor transparency; /* T of the surface, as compositing is to see it: 0 where refracted rays already looked behind */
    miColor term0;        /* ambient. These copies are written when the composition's mask has the bit of their number */
    miColor term1;        /* incandescence */
    miColor term2;        /* indirect light */
    miColor term3;        /* direct light */
    miColor term4;        /* direct light without shadow */
    miColor term5;        /* rgb: share of the light that was blocked */
    miColor term6;        /* specular */
    miColor term7;        /* specular, with bit 7; see bc_composite */
    miColor term8;        /* reflection */
    miColor term9;        /* refraction */
    miColor term10;       /* scatter */
    miColor opacity;      /* rgb: 1 - T */
} SurfaceShaderReturnType;

static const miScalar kBlackHole = -1000000.0f;

/* Bits of a composition's mask: which terms a surface computes, adds and records. */
enum {
    kTermAmbient = 0x1,
    kTermIncandescence = 0x2,
    kTermIndirect = 0x4,
    kTermDirect = 0x8,            /* light as sampled */
    kTermDirectNoShadow = 0x10,   /* light before shadows */
    kTermShadowRatio = 0x20,      /* also leaves the weight of secondary rays as it is */
    kTermSpecular = 0x40,
    kTermSpecularNoShadow = 0x80,
    kTermReflection = 0x100,
    kTermRefraction = 0x200,
    kTermScatter = 0x400
};

enum { kCompositionModes = 7 };

typedef struct CompositionState {
    miInteger mode;   /* 0 to 6; 0 is a normal render, 2 the shadow ratio alone */
    miUint perLight;  /* 1: the light loop runs */
    miUint perSample; /* 1: lights trace their shadows */
    miUint mask;
} CompositionState;

/* Fills a composition for one of the modes; any other number composes like 0. Mode 6 is for final gathering: outside of
 * it only indirect light, refraction and reflection are left. */
LUMO_API void bc_construct(CompositionState* composition, miInteger mode, miState* state);

/* Composes the terms of a surface into its result, in which `transparency` must be set and the rest be 0.
 *   base, specular  two colors each: with light as sampled, with light before shadows
 *   scalar          share of the light that was blocked, 0 to 1
 *   transparency    attenuates what lies on the surface: all but incandescence, specular, reflection and refraction
 *   hide            the color is black; glow stays
 *   matteMode       0 black hole (nothing else is written), 1 matteOpacity, 2 matteOpacity times opacity
 * specular, reflection and scatter may be null. */
LUMO_API void bc_composite(const CompositionState* composition, SurfaceShaderReturnType* result, const miColor* ambient,
                           const miColor* incandescence, const miColor* indirect, const miColor* base, miScalar scalar,
                           const miColor* specular, const miColor* reflection, const miColor* refraction,
                           const miColor* scatter, const miColor* transparency, miScalar glowScale,
                           miScalar glowSpecularScale, miBoolean hide, miInteger matteMode, miScalar matteOpacity);

LUMO_API void bc_destruct(CompositionState* composition);

/* ---- Surface materials: models --------------------------------------------------------------------------------- */

LUMO_API extern const miScalar TRANSLUCENCE_ANGLE_FAC; /* -11.5: cosine to which a depth of 1 lets light through */
LUMO_API extern const miScalar TRANSLUCENCE_FADE;      /* 0.15: range of cosines over which it fades in */

/* Factor of the light that shines through a thin surface.
 *   cosine     of the shading normal and `direction`; below 0 the light is behind the surface
 *   direction  from the point to the light, unit length
 *   focus      0: the same to all sides; towards 1 only straight on. At 1 the exponent is 100000
 *   depth      0: only light from the front; 1 widens the range of cosines by 11.5
 *   corners    four of an area light, else null */
LUMO_API miScalar compute_lambert_translucence(miState* state, miScalar cosine, const miVector* direction,
                                               miScalar translucence, miScalar focus, miScalar depth,
                                               const miVector* corners);

/* Highlights. `light` is the direction from the point to the light. Rays other than eye rays see the highlight times
 * `secondarySpecularScale`, and none when that is not above 0. */

/* cosine^power of the light's angle to the mirrored ray, but not below 4.54e-5 up to a right angle. `reflection` has
 * unit length. */
LUMO_API miScalar compute_phong_specular(const miVector* reflection, miScalar cosinePower,
                                         miScalar secondarySpecularScale, const miVector* light, const miState* state);

/* Highlight of small facets. Vectors have unit length.
 *   cosine, normalEye  of the normal with light and with the direction to the eye
 *   eccentricity       width of the highlight: 0 small to 1 everywhere
 *   specularRollOff    share that is reflected head on; at grazing angles all is */
LUMO_API miScalar compute_blinn_specular(miScalar cosine, miScalar normalEye, const miVector* light,
                                         miScalar eccentricity, miScalar specularRollOff,
                                         miScalar secondarySpecularScale, const miVector* normal, const miState* state);

/* Highlight of a thin fibre: 1 where `tangent` has the same cosine with both directions, falling smoothly to 0 where the
 * cosines are 1 and -1; to this power. For light that a fibre mirrors to the eye: the direction to the light, and that
 * of the eye's ray. Unit length all three. */
LUMO_API miScalar compute_hairtubeshader_specular(miScalar power, const miVector* a, const miVector* b,
                                                  const miVector* tangent);

/* Indirect light from final gathering or photons at the state's point, times `irradianceColor`, `diffuse` and the
 * surface color. `irradianceColor` and `irradiance` are addresses inside the running shader's parameter block; a
 * connected `irradiance` takes the place of the gathering. The number of rays falls with the weight with which this
 * surface counts in the pixel, between the two importance thresholds of the per-sample record. Alpha is 0. Returns
 * `result`. */
LUMO_API miColor* compute_irradiance(miColor* result, const miColor* irradianceColor, miScalar diffuse,
                                     const miColor* surfaceColor, const miColor* transparency, miScalar glowIntensity,
                                     const miColor* irradiance, miState* state);

/* How a surface refracts. */
typedef struct RefractionSettings {
    miBoolean refractions;        /* off: compositing looks straight through the surface */
    miScalar refractiveIndex;     /* of the inside; 1 is air. That of the outside is known from the ray. Not above 0: 1 */
    miScalar refractionDepth;     /* handed on for the material's own use */
    miScalar lightAbsorbance;     /* light falls to 1/e over a way of 1 / this inside */
    miScalar surfaceThickness;    /* above 0: a sheet of this thickness instead of the boundary of a solid */
    miScalar shadowAttenuation;   /* these two are for shadow rays */
    miScalar transparencyDepth;
    miBoolean chromaticAberration; /* red, green and blue take ways of their own */
    miScalar refractionBlur;      /* radius of the cone of rays at distance 1 */
    miInteger refractionLimit;    /* rays that were refracted this often go on straight */
    miInteger refractionRays;     /* of a blurred refraction; at least 1 is traced */
    miBoolean hideSource;         /* the surface itself is not seen, so nothing is traced */
    miColor transparency;         /* tints what is seen through */
} RefractionSettings;

/* What is seen through a surface, tinted; also folds the rays' passes into the entries, which are those of
 * getFrameBufferInfo (count 0: no passes). Returns 1 when rays were traced, so that the surface is to be treated as
 * opaque from then on; else *result is black. */
LUMO_API miBoolean compute_refraction(miColor* result, miState* state, const RefractionSettings* settings,
                                      PassState* passes, miUint count, FrameBufferInfo* entries);

/* How the rays of a blurred reflection are spread: as facets of the surface, or light around the mirrored ray, make a
 * highlight of the same parameters. reflectionBlur times the angles: 1 blurs as much as the highlight. */
enum {
    kLobeCone = 0,   /* evenly over a disc; reflectionBlur is its radius at distance 1 */
    kLobePower = 1,  /* cosine of the angle to the mirrored ray, to the power lobe[0] */
    kLobeSoft = 2,   /* t lobe[0] / (t^2 (lobe[0] - 1) + 1), t = 1 - (1 - cosine) / lobe[1] */
    kLobeFacets = 3  /* normals of facets, after Trowbridge and Reitz: lobe[0] wide along lobeTangent, lobe[1] across */
};

/* How a surface reflects. */
typedef struct ReflectionSettings {
    miScalar reflectivity;
    miColor color;                /* times reflectivity: the weight of the rays' passes */
    miScalar glowIntensity;       /* handed on for the material's own use */
    miInteger reflectionLimit;    /* rays that were reflected this often reflect no more */
    miScalar reflectionBlur;      /* not above 0: sharp; see above */
    miInteger reflectionRays;     /* of a blurred reflection; at least 1 is traced */
    miVector normal;              /* shading normal */
    miScalar normalEye;           /* cosine of the normal and the direction to the eye */
    miInteger lobe;
    miScalar lobeWidth[2];
    miVector lobeTangent;         /* in the surface, unit length; for kLobeFacets */
    miBoolean colorIsMap;         /* `color` is a picture of the surroundings, which serves where no ray may be traced */
} ReflectionSettings;

/* The color that is reflected, not yet times color and reflectivity; passes as above. Where the render's depths or the
 * limit allow no ray it is white with `colorIsMap`, else the environment in the mirrored direction, which then go into
 * the beauty passes. Returns 1 when there was any of it; else *result is black. */
LUMO_API miBoolean compute_reflection(miColor* result, miState* state, const ReflectionSettings* settings,
                                      PassState* passes, miUint count, FrameBufferInfo* entries);

/* How light spreads below a surface. Colors out of 0 to 1 are brought into it; what is no number counts as 0. */
typedef struct ScatterSettings {
    miScalar scatterRadius;   /* mean free path inside, in internal space; not above 0 or not finite: black */
    miColor scatterColor;     /* diffuse albedo of the inside: also decides how far each color spreads */
    miScalar scatterAccuracy; /* rays that look for light around the point, 1 to 1024; rounded up */
    miInteger scatterFalloff; /* 0 diffusion; 1 to 3: linear, quadratic, cubic, down to 0 at the radius */
    miInteger scatterLimit;   /* on rays that were reflected and refracted this often, light leaves where it entered */
    miInteger scatterCache;   /* not 0: the light that enters an instance is gathered once and kept */
    miScalar diffuse;         /* share of the light that does not enter */
    miColor color;            /* tints what comes out */
    miScalar translucence, translucenceFocus, translucenceDepth; /* not used: they stand in for what is found here */
    const miVector* normalCamera;  /* these three are addresses in the parameter block, or null; bumps are not used */
    const miColor* irradiance;
    const miColor* irradianceColor;
} ScatterSettings;

typedef struct ScatterCache ScatterCache;

/* Light that entered the state's surface around its point and comes out there, times color x scatterColor x (1 -
 * diffuse): from the surface's lights, and as indirect light the point's own. Never does more come out than goes in.
 * Alpha is 0; no passes are written.
 *   cache  address of the material's pointer, null at first; threads may share it. The material gives what it points to
 *          to destroy_scatter when it goes. Null: nothing is kept
 * Returns 1; 0 when nothing can come out, and *result is black. */
LUMO_API miBoolean compute_scatter(miColor* result, miState* state, const ScatterSettings* settings,
                                   ScatterCache** cache);

/* Frees what a material has kept; null is allowed. No thread may use it any more. */
LUMO_API void destroy_scatter(ScatterCache* cache);

/* Two unit vectors in the tangent plane: along the surface's derivatives in u and v (not at right angles, as a rule).
 * Returns 1; or 0 when the surface has none that span a plane, and gives two vectors at right angles around the normal,
 * so that the result is always of use. A normal that is no direction gives the x and y axes. */
LUMO_API miBoolean get_derivs(const miState* state, miVector* u, miVector* v);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---- Subsystems with headers of their own ----------------------------------------------------------------------- */

#include "lumo_color.h"
#include "lumo_noise.h"
#include "lumo_ramps.h"

#ifdef __cplusplus

/* ---- C++ ------------------------------------------------------------------------------------------------------- */

#include <string>
#include <utility>

/* A pinned block of scene data: its address, its tag and whether its words are byte-swapped. Can be moved, not copied.
 * It does not unpin: whoever ends up owning it calls mi_db_unpin(tag()) when done, unless it is empty. */
template <class T>
class MIDataPtr {
public:
    MIDataPtr() = default;
    MIDataPtr(const T* data, miTag tag, bool swapped) : data_(data), tag_(tag), swapped_(swapped ? 1 : 0) {}
    MIDataPtr(MIDataPtr&& other) noexcept { *this = std::move(other); }
    MIDataPtr& operator=(MIDataPtr&& other) noexcept
    {
        data_ = std::exchange(other.data_, nullptr);
        tag_ = std::exchange(other.tag_, miNULLTAG);
        swapped_ = other.swapped_;
        return *this;
    }

    bool empty() const { return data_ == nullptr || tag_ == miNULLTAG; }
    const T* data() const { return data_; }
    miTag tag() const { return tag_; }
    bool swapped() const { return swapped_ != 0; }

private:
    const T* data_ = nullptr;
    miTag tag_ = miNULLTAG;
    miCBoolean swapped_ = 0;
};

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage" /* names are plain C names, types need not be */
#endif

extern "C" {

/* The camera's "FBuf" block, pinned; empty when there is none. Its words are as the scene wrote them: check counts and
 * swapped() before use. */
LUMO_API MIDataPtr<FrameBufferData> getFrameBufferDataBlock(miState* state);

/* Messages. The text is the renderer's format string: a '%' in it is interpreted. */
LUMO_API void lumoFatal(const std::string& message);
LUMO_API void lumoError(const std::string& message);
LUMO_API void lumoWarning(const std::string& message);
LUMO_API void lumoInfo(const std::string& message);

} /* extern "C" */

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

#endif /* __cplusplus */
#endif
