/* The exported constants. */
#include "SDK/lumo.h"

const miColor BLACK = {0, 0, 0, 0};
const miColor WHITE = {1, 1, 1, 1};
miColor VEXA_BLACK = {0, 0, 0, 0};
miColor VEXA_WHITE = {1, 1, 1, 1};

const miScalar VEXA_LUMINANCE_RED = 0.3f;
const miScalar VEXA_LUMINANCE_GREEN = 0.59f;
const miScalar VEXA_LUMINANCE_BLUE = 0.11f;

const miScalar VEXA_EPS = 1e-5f;
const miUint VEXA_MAGIC = 0x56657861u;  // "Vexa"
const miInteger VEXA_CUBE_SIDE = 32;

const miInteger VEXA_BIT_BUMP2D = 1;
const miInteger VEXA_BIT_IMAGEPLANE = 2;
const miInteger VEXA_BIT_ENVLIGHTFOG = 4;
const miInteger VEXA_BIT_VOLUMEFOG = 8;
const miInteger VEXA_BIT_FLUID = 16;
const miInteger VEXA_BIT_NOAF = 32;
const miInteger VEXA_BIT_MOTION = 64;

const miMatrix VEXA_IDENTITY_MATRIX = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
const miMatrix VEXA_NULL_MATRIX = {};

const char* const VEXA_FRAMEBUFFER_DATA_SUFFIX = ":fbdata";
const char* const PASS_TYPE_INFO_KEY = "lumoPassState";
const char* const FRAME_BUFFER_INFO_KEY = "lumoFBInfo";
const char* const FRAME_BUFFER_STATE_KEY = "lumoFBState";
