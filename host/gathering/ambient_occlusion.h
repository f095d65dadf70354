// Ambient occlusion: how much of what surrounds a place is hidden by surfaces near it.
#pragma once

#include "database/elements.h"
#include "gathering/final_gather_points.h"
#include "gathering/point_grids.h"
#include "mi/option_records.h"
#include "mi/state.h"

namespace lumorender {

struct DataWindow;

OcclusionSettings occlusionSettings(const StringOptions* named);

/// The hidden part, 0 to 1, of the cone of directions that the record describes, on the side of the surface that its
/// axis points to. Directions on the other side are left out: the surface itself, where its normals are bent, hides
/// nothing. Everything that carries one of the record's flags hides wholly, whatever its material lets through.
/// @param options null = the shading normal's hemisphere; shorter records of older modules are taken as they are
/// @param bent    gets the mean direction of what is not hidden: world space, unit length; the axis where all is. May
/// be
///                null
float ambientOcclusion(miState* state, const miAmboccl_options* options, miVector* bent);

/// Occlusion that is known at places on grids over the image. Read-only while tiles render.
struct OcclusionCache {
    explicit OcclusionCache(const RenderScene& scene);

    GatherPoints points;
    const PointReach reach;
};

/// Fills the cache of the scene, which is the one that shaders look at; with what is `saved` of a former run first.
void prepareOcclusion(const RenderScene& scene, OcclusionCache& cache, const DataWindow& window,
                      const SavedPoints& saved, int threads);

}  // namespace lumorender
