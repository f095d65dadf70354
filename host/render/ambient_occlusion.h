// Ambient occlusion: how much of what surrounds a place is hidden by surfaces near it.
#pragma once

#include "database/elements.h"
#include "mi/option_records.h"
#include "mi/state.h"

namespace lumorender {

/// What the scene says by name; calls may say otherwise for themselves.
struct OcclusionSettings {
    bool on = true;
    int rays = 256;
    float least = 0, most = 0;  ///< distances between which surfaces hide anything; `most` 0 = however far
    float falloff = 1;          ///< a surface at distance d hides (1 - (d - least) / (most - least)) ^ falloff
};

/// Says once what of the scene's wishes is not done.
OcclusionSettings occlusionSettings(const StringOptions* named);

/// The hidden part, 0 to 1, of the cone of directions that the record describes, on the side of the surface that its
/// axis points to. Directions on the other side are left out: the surface itself, where its normals are bent, hides
/// nothing. Everything that carries one of the record's flags hides wholly, whatever its material lets through.
/// @param options null = the shading normal's hemisphere; shorter records of older modules are taken as they are
/// @param bent    gets the mean direction of what is not hidden: world space, unit length; the axis where all is. May
/// be
///                null
float ambientOcclusion(miState* state, const miAmboccl_options* options, miVector* bent);

}  // namespace lumorender
