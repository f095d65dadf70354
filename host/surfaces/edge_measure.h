// How lengths are compared with what approximations ask for.
#pragma once

#include "database/approximation.h"
#include "support/geometry.h"

#include <functional>

namespace lumorender {

/// How long an edge between two points of object space is in the rule's terms, in relation to `limit`. From any thread.
using EdgeMeasure = std::function<float(const V3d& a, const V3d& b, const ApproximationRule& rule, float limit)>;

}  // namespace lumorender
