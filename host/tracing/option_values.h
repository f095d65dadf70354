// Values of the options that scenes give by name.
#pragma once

#include "database/elements.h"

namespace lumorender {

/// The named number, or `otherwise` where the scene gives none; what is no number is warned of. `options` may be null.
float numberOption(const StringOptions* options, const char* name, float otherwise);

/// The same for switches, which may also be numbers.
bool switchOption(const StringOptions* options, const char* name, bool otherwise);

}  // namespace lumorender
