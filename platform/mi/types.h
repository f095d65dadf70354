/* Basic types, constants and linkage macros of the renderer's shader interface (x86-64 Linux layout). */
#pragma once

#include <stddef.h>

/* Declarations between these two have C linkage: the host resolves them by plain name. */
#ifdef __cplusplus
#define miBEGIN_C extern "C" {
#define miEND_C }
#define EXTERN_C extern "C"
#define miC_LINKAGE extern "C"
#define miINLINE inline
#else
#define miBEGIN_C
#define miEND_C
#define EXTERN_C extern
#define miC_LINKAGE
#define miINLINE static __inline__ /* known to compilers for C of before 1999, too */
#endif

/* Marks the entry points of a shader module, which is otherwise built with hidden symbols. */
#define DLLEXPORT __attribute__((visibility("default")))

/* Truth values are plain ints; macros keep them usable in conditional expressions beside other ints. */
#define miFALSE 0
#define miTRUE 1
#define miCBOOLEAN(truth) ((miCBoolean)((truth) ? miTRUE : miFALSE))

typedef int miBoolean;            /* truth value in records and parameters: 4 bytes */
typedef unsigned char miCBoolean; /* truth value packed into one byte */
typedef unsigned char miUchar;
typedef unsigned char miUint1;
typedef signed char miSchar;
typedef signed char miSint1;
typedef short miSint2;
typedef unsigned short miUint2;
typedef unsigned short miUshort;
typedef unsigned short miIndex;
typedef int miInteger;
typedef int miSint4;
typedef unsigned int miUint;
typedef unsigned int miUint4;
typedef unsigned int miGeoIndex;
typedef unsigned int miTag; /* handle of a database element */
typedef float miScalar;
typedef double miGeoScalar;
typedef int miThreadID;
typedef int miHostID;
typedef int miVpu; /* a thread that renders, see miTHREAD */
typedef unsigned long miUlong;
typedef long miSlong;
typedef size_t miIntptr;

typedef struct miVector2d {
    miScalar u, v;
} miVector2d;

typedef struct miVector {
    miScalar x, y, z;
} miVector;

typedef struct miGeoVector2d {
    miGeoScalar u, v;
} miGeoVector2d;

typedef struct miGeoVector {
    miGeoScalar x, y, z;
} miGeoVector;

/* Linear light and opacity; aligned like a float, not like a 16-byte vector. */
typedef struct miColor {
    miScalar r, g, b, a;
} miColor;

typedef struct miRange {
    miScalar min, max;
} miRange;

typedef struct miGeoRange {
    miGeoScalar min, max;
} miGeoRange;

/* Row major, for row vectors: element 4 * row + column, translation in 12 to 14. Passed as a pointer. */
typedef miScalar miMatrix[16];

typedef union miPointer {
    void* p;
    miUint4 i[2];
} miPointer;

/* Handle of a lock that the renderer owns; small enough to go by value. */
typedef union miLock {
    struct miLock_s* ptr;
    int i[2];
} miLock;

typedef miBoolean (*miFunction_ptr)(void);

/* Arena of equally sized memory blocks; only the renderer knows its inside. */
typedef struct miMemblk miMemblk;

/* Pixels of a picture, and what builds an object when a ray comes near; named in helper headers of shader writers. */
typedef struct miImg_image miImg_image;
typedef miBoolean (*miApi_object_callback)(miTag object, void* parameters);

/* Hit record of a ray; shaders may save, clear and restore the pointer, never look behind it. */
typedef struct miRc_intersection miRc_intersection;

typedef struct miState miState;
typedef struct miOptions miOptions;
typedef struct miCamera miCamera;
typedef struct miFunction miFunction;

#define miSCALAR_EPSILON 1e-5f
#define miGEO_SCALAR_EPSILON 1e-9
#define miHUGE_SCALAR 1e36f
#define miHUGE_INT 2147483647

#define miNULL_INDEX 0xffffu
#define miMAX_INDEX 0xfffeu
#define miNULL_GEOINDEX 0xffffffffu
#define miMAX_GEOINDEX 0xfffffffeu

#define miNULLTAG 0u
#define miNOLIGHTS 0xffffffffu /* light list that means: no light at all */
#define miGHOSTTAG 0xffffffffu
#define miPARAMTAG 0xfffffffeu /* ghost of a parameter that is set directly, without a connection */

/* Sizes of the per-hit lists in the state. */
#define miMAX_TEXTURE_SPACES 64
#define miDERIVATIVES 5 /* in the order du, dv, duu, dvv, duv */
