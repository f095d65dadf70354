// Final gathering: indirect light as the average of what rays from a surface meet. Points on a grid over the image are
// gathered first; while tiles render, light is interpolated between them and gathered anew where none is near.
#pragma once

#include "database/elements.h"
#include "gathering/final_gather_points.h"
#include "gathering/point_grids.h"
#include "geometry/scene_geometry.h"
#include "mi/option_records.h"

#include <string>
#include <vector>

namespace lumorender {

struct RenderScene;
struct ThreadContext;

/// How a place is gathered: the render options, or what a shader passes to a call.
struct GatherSettings {
    int rays = 0;
    RadiusLimits radii;
    int filter = 0;         ///< so many of the brightest rays count as the next brighter one only
    int points = 0;         ///< how many to interpolate between
    float importance = -1;  ///< of the rays; below 0 = the surface's own
    std::uint32_t id = 0;
};

/// What a place is gathered with at most.
inline constexpr int kMostGatherRays = 1 << 20;

/// Final gathering of a render: settings of the options, and the points. Read-only while samples are traced.
class FinalGather {
public:
    /// @param manySamples each pixel has samples enough of its own that a few can gather for the others.
    FinalGather(const RenderScene& scene, const StringOptions* named, bool manySamples);

    /// The settings for a call with the shader's own record, or null for those of the options.
    GatherSettings settings(const miIrrad_options* given) const;

    /// What the samples of a pixel gather on the spot they share, where points are made ahead: then the finest of these
    /// are left to the pixels.
    bool sharesInPixels() const { return manySamples_ && reach.spacing() > 0; }

    GatherPoints points;
    const PointReach reach;

private:
    const bool manySamples_;
    GatherSettings ownSettings_;
};

/// Average light over the hemisphere on one side of the surface, weighted by the cosine: irradiance / pi.
/// @param side 'f' for that of the state's normal, 'b' for the other
/// @return false, and black, where there is no final gathering: switched off, the surface takes none, the depth is
/// reached, or ambient occlusion is made ahead, which comes first.
bool averageRadiance(miColor* result, miState* state, char side, const miIrrad_options* options);

/// Gathers in any case, whatever is known around the place.
bool gatherAnew(miColor* result, miState* state);

/// Makes the light (irradiance) known for the side of the state's normal. Only while points are made ahead; else false.
bool storeIrradiance(const miColor& irradiance, miState* state);

}  // namespace lumorender
