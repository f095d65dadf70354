// Contour lines of a picture: where the contrast shader sees a difference between neighbouring samples.
#pragma once

#include "image/image.h"
#include "mi/images.h"
#include "tracing/context.h"

#include <vector>

namespace lumorender {

struct ContourLine {
    miContour_endpoint a = {}, b = {};
};

/// Lines in the window, from samples of their own: a grid of one or, where the picture takes several in a
/// pixel, two across it, and more on the way between two of them that differ, until the place of the contour is known to an eighth of
/// their distance. The lines are the same with any number of threads. Empty where a stop is requested.
std::vector<ContourLine> findContours(const RenderScene& scene, const DataWindow& window, int threads);

}  // namespace lumorender
