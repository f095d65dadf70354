// Vectors in single precision, four numbers at a time: the three coordinates are computed together, each as it would be
// alone.
#pragma once

#include "mi/types.h"

namespace lumorender {

using Lanes = float __attribute__((vector_size(16)));

inline Lanes lanes(const miVector& v) { return Lanes{v.x, v.y, v.z, 0}; }
inline miVector vectorOf(Lanes v) { return {v[0], v[1], v[2]}; }

}  // namespace lumorender
