/* Enumerations that appear in the state, in scene records and in calls; query codes are in query_codes.h. */
#pragma once

#include "query_codes.h"

/* Kind of ray (or other occasion) for which a shader runs: miState.type. */
typedef enum miRay_type {
    miRAY_EYE = 0,
    miRAY_TRANSPARENT = 1,
    miRAY_REFLECT = 2,
    miRAY_REFRACT = 3,
    miRAY_LIGHT = 4,
    miRAY_SHADOW = 5,
    miRAY_ENVIRONMENT = 6,
    miRAY_NONE = 7,
    miPHOTON_ABSORB = 8,
    miPHOTON_LIGHT = 9,
    miPHOTON_REFLECT_SPECULAR = 10,
    miPHOTON_REFLECT_GLOSSY = 11,
    miPHOTON_REFLECT_DIFFUSE = 12,
    miPHOTON_TRANSMIT_SPECULAR = 13,
    miPHOTON_TRANSMIT_GLOSSY = 14,
    miPHOTON_TRANSMIT_DIFFUSE = 15,
    miRAY_DISPLACE = 16,
    miRAY_OUTPUT = 17,
    miPHOTON_SCATTER_VOLUME = 18,
    miPHOTON_TRANSPARENT = 19,
    miRAY_FINALGATHER = 20,
    miRAY_LM_VERTEX = 21,
    miRAY_LM_MESH = 22,
    miPHOTON_EMIT_GLOBILLUM = 23,
    miPHOTON_EMIT_CAUSTIC = 24,
    miRAY_PROBE = 25,
    miRAY_HULL = 26,
    miPHOTON_HULL = 27,
    miRAY_COUNT = 28
} miRay_type;

#define miRAY_PRIMARY(type) ((type) == miRAY_EYE)
#define miRAY_SECONDARY(type) \
    (((type) >= miRAY_TRANSPARENT && (type) <= miRAY_NONE) || (type) == miRAY_FINALGATHER || (type) == miRAY_HULL)
#define miRAY_PHOTON(type)                                                                                      \
    (((type) >= miPHOTON_ABSORB && (type) <= miPHOTON_TRANSMIT_DIFFUSE) || (type) == miPHOTON_SCATTER_VOLUME || \
     (type) == miPHOTON_TRANSPARENT || (type) == miPHOTON_EMIT_GLOBILLUM || (type) == miPHOTON_EMIT_CAUSTIC ||  \
     (type) == miPHOTON_HULL)

/* Role in which a shader is called; also the answer of miQ_FUNC_CALLTYPE. */
typedef enum miShader_type {
    miSHADER_LENS = 0,
    miSHADER_MATERIAL = 1,
    miSHADER_LIGHT = 2,
    miSHADER_SHADOW = 3,
    miSHADER_ENVIRONMENT = 4,
    miSHADER_VOLUME = 5,
    miSHADER_TEXTURE = 6,
    miSHADER_PHOTON = 7,
    miSHADER_GEOMETRY = 8,
    miSHADER_DISPLACE = 9,
    miSHADER_PHOTON_EMITTER = 10,
    miSHADER_OUTPUT = 11,
    miSHADER_OTHER = 12,
    miSHADER_LIGHTMAP = 13,
    miSHADER_PHOTONVOL = 14,
    miSHADER_STATE = 15,
    miSHADER_CONTOUR = 16,
    miSHADER_COUNT = 17
} miShader_type;

/* Kind of a database element, as mi_db_type answers. */
typedef enum miScene_types {
    miSCENE_NONE = 0,
    miSCENE_FUNCTION_DECL = 1,
    miSCENE_FUNCTION = 2,
    miSCENE_MATERIAL = 3,
    miSCENE_LIGHT = 4,
    miSCENE_CAMERA = 5,
    miSCENE_BASIS_LIST = 6,
    miSCENE_OBJECT = 7,
    miSCENE_BOX = 8,
    miSCENE_LINEBOX = 9,
    miSCENE_INSTANCE = 10,
    miSCENE_GROUP = 11,
    miSCENE_OPTIONS = 12,
    miSCENE_IMAGE = 13,
    miSCENE_POLYGON = 14,
    miSCENE_INDEX = 15,
    miSCENE_GEOINDEX = 16,
    miSCENE_VERTEX = 17,
    miSCENE_GEOVERTEX = 18,
    miSCENE_VECTOR = 19,
    miSCENE_GEOVECTOR = 20,
    miSCENE_FACE = 21,
    miSCENE_SURFACE = 22,
    miSCENE_CURVE = 23,
    miSCENE_CURVPNT = 24,
    miSCENE_SCALAR = 25,
    miSCENE_GEOSCALAR = 26,
    miSCENE_TAG = 28,
    miSCENE_STRING = 29,
    miSCENE_SPACECURVE = 30,
    miSCENE_BOOK = 31,
    miSCENE_PAGE = 32,
    miSCENE_SUBDIVSURF = 33,
    miSCENE_USERDATA = 34,
    miSCENE_NBOX = 40,
    miSCENE_LOCAL = 41,
    miSCENE_SPLITOBJECT = 42,
    miSCENE_INDEXRANGE = 43,
    miSCENE_LIGHTPROFILE = 44,
    miSCENE_LIGHTPROFILE_STD = 46,
    miSCENE_APPROX_LIST = 47,
    miSCENE_FBINFO = 49,
    miSCENE_COLORPROFILE = 50,
    miSCENE_SPECTRUM = 51,
    miSCENE_FLIST = 53,
    miSCENE_ASSEMBLY = 54,
    miSCENE_MAP_DECL = 55,
    miSCENE_METASL = 56,
    miSCENE_PHEN_EXTDINFO = 57,
    miSCENE_NEURAY = 63,
    miSCENE_FIRST_USER = 64
} miScene_types;

/* What the renderer is busy with: bits of the answer of miQ_STAGE. */
typedef enum miStage {
    miSTAGE_UNKNOWN = 0,
    miSTAGE_TILE = 1,        /* the picture itself */
    miSTAGE_FINALGATHER = 2, /* precomputation of final-gather points */
    miSTAGE_AMBOCCL = 4,     /* precomputation of ambient occlusion */
    miSTAGE_CAUSTIC = 8,     /* photon emission, caustics */
    miSTAGE_GLOBILLUM = 16,  /* photon emission, global illumination */
    miSTAGE_PHOTON = 24,     /* both emissions at once */
    miSTAGE_IMPORTON = 32,
    miSTAGE_LIGHTMAP = 64,
    miSTAGE_IRRADIANCE_PARTICLES = 128
} miStage;

/* Occasion on which a state shader is called: miState_shader_arg.operation. */
typedef enum miState_shader_op {
    miSTATE_SHADER_STATE_INIT = 0, /* a state begins to serve samples, for instance those of a tile */
    miSTATE_SHADER_STATE_EXIT = 1,
    miSTATE_SHADER_SAMPLE_INIT = 2, /* before a primary shader call */
    miSTATE_SHADER_SAMPLE_EXIT = 3  /* right after it, with the same result pointer */
} miState_shader_op;

/* How long an entry made by mi_shaderstate_set lives. */
typedef enum miSs_lifetime {
    miSS_LIFETIME_RAY = 0,    /* for the sub-rays of this state only */
    miSS_LIFETIME_EYERAY = 1, /* for the whole tree of the eye ray */
    miSS_LIFETIME_RECT = 2    /* for all samples of the rectangle */
} miSs_lifetime;

/* Visibility bits of instances and objects, and the mask of miAmboccl_options.flags. */
typedef enum miTrace_flag {
    miTRACE_VISIBLE = 1,
    miTRACE_SHADOW_CAST = 2,
    miTRACE_SHADOW_RECEIVE = 4,
    miTRACE_REFLECTION_CAST = 8,
    miTRACE_REFLECTION_RECEIVE = 16,
    miTRACE_REFRACTION_CAST = 32,
    miTRACE_REFRACTION_RECEIVE = 64,
    miTRACE_TRANSPARENCY_CAST = 128,
    miTRACE_TRANSPARENCY_RECEIVE = 256,
    miTRACE_CAUSTIC = 512,
    miTRACE_GLOBILLUM = 1024,
    miTRACE_FINALGATHER = 2048
} miTrace_flag;

/* Flag bytes of an instance (reflection, shadow ...) hold these two bits. */
#define miFLAG_CAST 1
#define miFLAG_RECEIVE 2

typedef enum miLight_type { miLIGHT_ORIGIN = 0, miLIGHT_DIRECTION = 1, miLIGHT_SPOT = 2 } miLight_type;

typedef enum miLight_area {
    miLIGHT_NONE = 0,
    miLIGHT_RECTANGLE = 1,
    miLIGHT_DISC = 2,
    miLIGHT_SPHERE = 3,
    miLIGHT_CYLINDER = 4,
    miLIGHT_OBJECT = 5,
    miLIGHT_USER = 6
} miLight_area;

/* Type of a shader parameter or of user data, as declared in the scene language. */
typedef enum miParam_type {
    miTYPE_INVALID = -1,
    miTYPE_BOOLEAN = 0,
    miTYPE_INTEGER = 1,
    miTYPE_SCALAR = 2,
    miTYPE_STRING = 3,
    miTYPE_COLOR = 4,
    miTYPE_VECTOR = 5,
    miTYPE_TRANSFORM = 6,
    miTYPE_SHADER = 7,
    miTYPE_SCALAR_TEX = 8,
    miTYPE_COLOR_TEX = 9,
    miTYPE_VECTOR_TEX = 10,
    miTYPE_LIGHT = 11,
    miTYPE_STRUCT = 12,
    miTYPE_ARRAY = 13,
    miTYPE_TEX = 14,
    miTYPE_MATERIAL = 15,
    miTYPE_GEOMETRY = 16,
    miTYPE_LIGHTPROFILE = 17,
    miTYPE_DATA = 18,
    miTYPE_SPECTRUM = 19,
    miTYPE_MAP = 20
} miParam_type;

/* What a function record stands for: miFunction.type. */
typedef enum miFunction_type {
    miFUNCTION_C = 0,
    miFUNCTION_PHEN = 1,
    miFUNCTION_C_REQ = 2,
    miFUNCTION_OUTFILE = 3,
    miFUNCTION_DATA = 4,
    miFUNCTION_PASS_SAVE = 5,
    miFUNCTION_PASS_PREP = 6,
    miFUNCTION_PASS_MERGE = 7,
    miFUNCTION_PASS_DELETE = 8
} miFunction_type;

typedef enum miObject_type {
    miOBJECT_POLYGONS = 0,
    miOBJECT_FACES = 1,
    miOBJECT_BOXES = 2,
    miOBJECT_SPACECURVES = 3,
    miOBJECT_SUBDIVSURFS = 4,
    miOBJECT_PLACEHOLDER = 6,
    miOBJECT_HAIR = 7,
    miOBJECT_INTERSECT_FUNC = 8,
    miOBJECT_MAP = 9
} miObject_type;

typedef enum miCamera_stereo {
    miCAMERA_STEREO_OFF = 0,
    miCAMERA_STEREO_TOEIN = 1,
    miCAMERA_STEREO_OFFAXIS = 2,
    miCAMERA_STEREO_OFFSET = 3
} miCamera_stereo;

/* Data type of an image or frame buffer: channels, then bits (8 unless named), FP float, H half. */
typedef enum miImg_type {
    miIMG_TYPE_RGBA = 0,
    miIMG_TYPE_RGBA_16 = 1,
    miIMG_TYPE_RGB = 2,
    miIMG_TYPE_RGB_16 = 3,
    miIMG_TYPE_A = 4,
    miIMG_TYPE_A_16 = 5,
    miIMG_TYPE_S = 6,
    miIMG_TYPE_S_16 = 7,
    miIMG_TYPE_VTA = 8,
    miIMG_TYPE_VTS = 9,
    miIMG_TYPE_Z = 10,
    miIMG_TYPE_N = 11,
    miIMG_TYPE_TAG = 12,
    miIMG_TYPE_RGBA_FP = 13,
    miIMG_TYPE_M = 14,
    miIMG_TYPE_BIT = 15,
    miIMG_TYPE_RGB_FP = 16,
    miIMG_TYPE_COVERAGE = 17,
    miIMG_TYPE_RGBE = 18,
    miIMG_TYPE_A_FP = 19,
    miIMG_TYPE_S_FP = 20,
    miIMG_TYPE_RGBA_H = 21,
    miIMG_TYPE_RGB_H = 22,
    miIMG_TYPE_A_H = 23,
    miIMG_TYPE_S_H = 24,
    miIMG_TYPE_COUNT = 25
} miImg_type;

/* Fixed numbers of the frame buffers in scenes that do not name their buffers. */
typedef enum miRc_image {
    miRC_IMAGE_RGBA = 0,
    miRC_IMAGE_Z = 1,
    miRC_IMAGE_N = 2,
    miRC_IMAGE_M = 3,
    miRC_IMAGE_TAG = 4,
    miRC_IMAGE_COVERAGE = 5,
    miRC_IMAGE_USER = 12
} miRc_image;

/* Mode of mi_finalgather_store. */
typedef enum miFg_store { miFG_STORE_COMPUTE = 1, miFG_STORE_SET = 2 } miFg_store;
