// Which material each surface of an instance has.
#pragma once

#include "geometry/hair.h"
#include "geometry/mesh.h"
#include "geometry/scene_geometry.h"

#include <map>
#include <tuple>
#include <vector>

namespace lumorender {

/// Instances that have the same shape and inherit the same share what follows.
class SurfaceMaterials {
public:
    /// Labels choose from the instance's list; those beyond it get its first entry.
    void choose(FlatInstance& instance);

private:
    /// By mesh or hair, inherited list, and which of the two wins.
    std::map<std::tuple<const void*, const std::vector<miTag>*, bool>, std::vector<miTag>> chosen_;
};

}  // namespace lumorender
