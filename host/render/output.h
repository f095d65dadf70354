// Writes the pictures of a render.
#pragma once

#include "render/output_plan.h"

namespace lumorender {

/// Writes all files; one that fails does not keep others from being written. A picture whose metadata calls it
/// "incomplete" goes beside the file that was meant, as NAME.incomplete.EXT: it takes the place of no finished one.
/// @return false when one could not be written.
bool writeFiles(const std::vector<PlannedFile>& files, const OutputRules& rules, const DataWindow& window,
                const Metadata& metadata);

}  // namespace lumorender
