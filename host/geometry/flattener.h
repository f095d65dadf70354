// The scene graph made flat: every use of an object with its own placement, flags, materials and lists.
#pragma once

#include "database/elements.h"
#include "geometry/memory_budget.h"
#include "geometry/scene_geometry.h"

#include <memory>
#include <memory_resource>
#include <unordered_map>
#include <vector>

namespace lumorender {

/// What instances share. Nothing in here moves.
struct SharedByInstances {
    std::unique_ptr<std::pmr::monotonic_buffer_resource> placements;
    std::unordered_map<miTag, std::vector<miTag>> materials;  ///< lists of one material
    std::unordered_map<miTag, Approximation> approximations;  ///< of objects
};

struct FlatScene {
    std::vector<FlatInstance> instances;  ///< without meshes and without `surfaceMaterials`
    std::vector<FlatElement> lights;
    std::vector<FlatElement> cameras;
    std::unordered_map<miTag, NamedPlacement> placements;  ///< of every instance, by its first path
    std::vector<miTag> generators;                         ///< instances of geometry shaders that have made nothing yet
    SharedByInstances shared;
};

/// Walks the graph below the group in the order of its instances. What is broken is reported and left out.
/// Throws Failure where the root is not a group or where the graph unfolds into more instances than fit into the budget.
/// What geometry shaders made takes their place; `outline` leaves objects out.
FlatScene flatten(const Database& database, miTag rootGroup, const miOptions& options, const GeneratedScene& generated,
                  bool outline, MemoryBudget& budget);

/// The rules of an object and its groups that divide its triangles.
Approximation dividingRules(const ObjectSource& source);

/// What the object says itself counts before what instances say, unless they override it.
const Approximation* chosenApproximation(const Approximation& own, const Approximation* inherited, bool overrides);

/// The element's name in quotes, or its tag where it has no name: for messages.
std::string quotedName(const Database& database, miTag tag);

}  // namespace lumorender
