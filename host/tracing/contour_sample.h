// What contours are found by: what the contour store shader keeps of the surfaces that a sample's rays meet.
#pragma once

#include "mi/images.h"
#include "mi/state.h"
#include "tracing/context.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace lumorender {

/// One surface on one way of reflections and refractions.
struct ContourInfo {
    int reflections = 0, refractions = 0;
    std::vector<std::byte> info;  ///< of the store shader
    miState state = {};           ///< of the hit, without what lives as long as the call only
    float depth = 0;              ///< along the camera's axis

    int level() const { return reflections + refractions; }
};

/// Those of one sample. A thread's context names the one that is being filled.
class ContourSample {
public:
    /// Calls the store shader in a slot after a surface was shaded. Of several surfaces on one way the first counts.
    void store(ThreadContext& context, miState* state, const miColor& color, miTag storeShader);

    const std::vector<ContourInfo>& infos() const { return infos_; }
    /// Null where no ray has met anything that way.
    const ContourInfo* find(int reflections, int refractions) const;

private:
    std::vector<ContourInfo> infos_;
};

/// Whether the contrast shader sees a contour between two infos, of which one may be null.
bool seesContour(ThreadContext& context, miTag contrast, const ContourInfo* a, const ContourInfo* b, int level);

/// What the contour shader of the nearer surface's material makes of a contour: color, width and motion of its end.
/// @return false where the material draws none
bool contourEnd(ThreadContext& context, const ContourInfo& near, const ContourInfo* far, miContour_endpoint& end);

}  // namespace lumorender
