// Inversion of instance transforms.
#pragma once

#include "mi/types.h"

namespace lumorender {

/// Computed in double precision. False, and `inverse` left alone, where the matrix has none.
bool invert(const miMatrix& matrix, miMatrix& inverse);

void setIdentity(miMatrix& matrix);

}  // namespace lumorender
