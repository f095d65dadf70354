// Which approximations hold for a surface.
#pragma once

#include "database/elements.h"

namespace lumorender {

/// What is said of surfaces outside of their object.
struct OuterRules {
    Approximation options;
    Approximation overriding;  ///< of instances with that word
    Approximation inherited;   ///< of other instances
};

/// All that hold for the surface or curve of the kind: those of the options, else of instances that override, else what
/// object and group say of it, else those of other instances. Empty where nobody says anything.
Approximation rulesFor(ApproximationKind kind, const std::string& name, const Approximation& object,
                       const Approximation& group, const OuterRules& outer);

/// Where nobody says anything: as fine as the picture shows it.
Approximation usualSurfaceRules();

/// Into how many parts rules of the word `parametric` divide each of the pieces of a direction (0 for u, 1 for v); 1
/// where there are none.
int partsOf(const Approximation& rules, int direction, int degree, std::size_t pieces);

/// How often such rules halve the edges of a control mesh.
int levelsOf(const Approximation& rules);

}  // namespace lumorender
