/* Types, codes and scene records, and the calls that build scene elements: for geometry shaders beside shader.h, and for
   code that only reads elements. */
#pragma once

#include "mi/codes.h"
#include "mi/geometry_api.h"
#include "mi/layout.h"
#include "mi/records.h"
#include "mi/types.h"
