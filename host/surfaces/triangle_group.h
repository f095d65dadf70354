// Tessellated surfaces as a group of polygons.
#pragma once

#include "database/elements.h"
#include "surfaces/subdivision_patches.h"
#include "surfaces/tessellator.h"

namespace lumorender {

/// What a surface of the tessellation was made of, by its number there.
struct MadeSurface {
    struct Heading {
        miTag material = 0;
        std::uint32_t label = 0;
    };

    const PatchSet* patches = nullptr;
    const SubdivisionPatches* subdivision = nullptr;  ///< the same, where its faces have headings of their own
    const SubdivisionSource* mesh = nullptr;
    Heading heading;
};

/// Triangles without area, where borders are drawn together, are left out.
PolygonGroupSource triangleGroup(const Tessellator& tessellator, const std::vector<MadeSurface>& surfaces);

}  // namespace lumorender
