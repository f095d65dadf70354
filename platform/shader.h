/* The shader interface for C and C++: include this one in shader sources. */
#pragma once

#include "mi/codes.h"
#include "mi/functions.h"
#include "mi/image_files.h"
#include "mi/images.h"
#include "mi/layout.h"
#include "mi/light_maps.h"
#include "mi/macros.h"
#include "mi/option_records.h"
#include "mi/records.h"
#include "mi/state.h"
#include "mi/types.h"
#include "mi/vector_math.h"
