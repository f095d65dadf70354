/* The library's noise functions, under their own names. */
#pragma once

#include "library.h"

namespace library {
LIBRARY_FUNCTION(noise_drand)
LIBRARY_FUNCTION(noise_frand)
LIBRARY_FUNCTION(noise_scalar_1d)
LIBRARY_FUNCTION(noise_scalar_2d)
LIBRARY_FUNCTION(noise_scalar_3d)
LIBRARY_FUNCTION(noise_scalar_4d)
LIBRARY_FUNCTION(noise_vector_2d)
LIBRARY_FUNCTION(noise_table_scalar)
LIBRARY_FUNCTION(noise_table_vector)
}  // namespace library
