// The line on the terminal that shows how far a render is, or the lines in a log.
#pragma once

#include "support/stage_progress.h"

#include <string>

namespace lumorender {

/// On a terminal: percent, rays per second and the time left, on a line of its own that is written over. Elsewhere, from
/// the default verbosity on: a line every ten percent and every half minute, but none in the first second after another.
/// Shows what tellProgress is told, as long as it lives; there is one at a time.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

private:
    void show(const StageState& state);
    void rewriteLine(const StageState& state);
    void writeLine(const StageState& state);
    void clear();

    bool terminal_ = false;
    bool shown_ = false;
    std::string stage_;       ///< of what follows
    double lastSeconds_ = 0;  ///< when a line was shown last, in seconds of the stage
    double lastDone_ = 0;
};

}  // namespace lumorender
