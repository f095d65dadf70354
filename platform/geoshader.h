/* Types, codes and scene records without function prototypes, for code that only builds or reads scene elements. */
#pragma once

#include "mi/codes.h"
#include "mi/layout.h"
#include "mi/records.h"
#include "mi/types.h"
