// What must hold for free-form curves and surfaces, whoever makes them.
#pragma once

#include "database/surface_source.h"

#include <string>

namespace lumorender {

constexpr int kHighestDegree = 30;

/// How many control points go with so many parameters; negative where there are too few parameters.
long pointsOf(const BasisSource& basis, std::size_t parameters);

/// What is wrong with the parameters: they must be numbers, in order, and enough. Empty where nothing is.
std::string problemOfParameters(const DirectionSource& direction);

/// Uses all of the parameters, which must be good: B-splines begin and end inside of their knots. What is wrong with that, or
/// nothing.
std::string useWholeRange(DirectionSource& direction);

/// Uses the part from low to high. What of it has no surface is cut off.
std::string useRange(DirectionSource& direction, float low, float high);

}  // namespace lumorender
