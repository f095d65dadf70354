// Whether a shader's declaration describes the records that its module was made for.
#pragma once

#include "database/declaration.h"

#include <string>

namespace lumorender {

/// Where the layouts of parameters or result differ, in words; empty where the shader can be called. Names, defaults
/// and what else has no place in memory may differ. Parameters may be missing at the end (see `completeParameters`),
/// and further ones may follow there.
std::string layoutDifference(const Declaration& found, const Declaration& expected);

/// Appends the parameters that are missing at the end, with the defaults that the module gives. Returns how many.
std::size_t completeParameters(Declaration& found, const Declaration& expected);

}  // namespace lumorender
