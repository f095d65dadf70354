/* What every shading engine does before it calls a surface. */
#pragma once

#include "vexabase.h"

namespace lumo {

/* Which rays an engine shades. */
enum class EngineRays { kAll, kEyeOnly };

/* Makes texture coordinates available and fills the record's footprint. `record` is the state's own. */
void prepareShading(miState* state, Vexabase& record, EngineRays rays);

}  // namespace lumo
