/* Reaching the per-sample record that the host's integration keeps in the state. */
#pragma once

#include "vexabase.h"

#include "binding/renderer.h"

namespace lumo {

/* Null when the integration did not place one: shaders then warn and give no result. */
inline Vexabase* vexabaseOf(miState* state) {
    return static_cast<Vexabase*>(mi_shaderstate_get(state, kVexabaseKey, nullptr));
}

}  // namespace lumo
