/* Contour lines as pixels. */
#pragma once

#include "shader.h"

#include <vector>

namespace materials {

/* How much each pixel is covered by lines, and in which color: where several lie one over the other that which covers
   more counts, so that the ends of pieces do not show. */
class LinePicture {
public:
    LinePicture(int width, int height, bool brightest);

    /* A line that is as wide at its ends as these say, with round caps. Thinner than a pixel it covers less. */
    void draw(const miContour_endpoint& a, const miContour_endpoint& b, bool glows);

    /* Straight color; alpha is coverage. */
    const miColor& at(int x, int y) const { return pixels_[index(x, y)]; }

private:
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }
    void cover(miColor& pixel, const miColor& color, miScalar coverage) const;

    int width_, height_;
    bool brightest_; /* where lines lie one over the other, the brightest of their colors */
    std::vector<miColor> pixels_;
};

}  // namespace materials
