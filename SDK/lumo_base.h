/* Part of SDK/lumo.h: constants, the module, scene data, per-thread memory, motion time. */
#ifndef LUMO_SDK_LUMO_BASE_H
#define LUMO_SDK_LUMO_BASE_H

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

LUMO_API extern const miScalar VEXA_EPS;        /* 1e-5 */
LUMO_API extern const miUint VEXA_MAGIC;        /* first word of the library's user-data blocks: 'V' 'e' 'x' 'a' */
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
/* Returns the new top element, uninitialised but for its link; null without memory (the stack is unchanged). */
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

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
