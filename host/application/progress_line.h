// The line on the terminal that shows how far a render is.
#pragma once

#include "render/tiles.h"

namespace lumorender {

/// Shows percent, rays per second and the time left, on a line of its own that is written over. Shows nothing where
/// standard error is not a terminal.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();
    void show(const RenderProgress& progress);

private:
    void clear();

    bool terminal_ = false;
    bool shown_ = false;
    double lastSeconds_ = -1;
};

}  // namespace lumorender
