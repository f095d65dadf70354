// Free-form and subdivision surfaces of objects into triangles.
#pragma once

#include "surfaces/edge_measure.h"
#include "surfaces/surface_rules.h"

namespace lumorender {

struct TessellationJob {
    const ObjectSource* source = nullptr;
    std::string name;  ///< of the object, for messages
    OuterRules outer;
    EdgeMeasure measure;  ///< in the object's space
};

bool hasSurfaces(const ObjectSource& source);

/// A group of triangles for each group that has surfaces. What is broken is told and left out.
std::vector<PolygonGroupSource> tessellate(const TessellationJob& job);

}  // namespace lumorender
