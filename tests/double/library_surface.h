/* Functions of the library for surface materials, called as library::bc_composite(...). */
#pragma once

#include "library.h"

namespace library {

LIBRARY_FUNCTION(bc_construct)
LIBRARY_FUNCTION(bc_composite)
LIBRARY_FUNCTION(bc_destruct)
LIBRARY_FUNCTION(compute_lambert_translucence)
LIBRARY_FUNCTION(compute_irradiance)
LIBRARY_FUNCTION(compute_refraction)
LIBRARY_FUNCTION(compute_reflection)
LIBRARY_FUNCTION(compute_scatter)
LIBRARY_FUNCTION(destroy_scatter)
LIBRARY_FUNCTION(get_derivs)

}  // namespace library
