/* The renderer's versioned C++ interface: render options and frame buffers by name. */
#pragma once

#include <optional>

#include "binding/renderer.h"

namespace lumo {

/* A render option of type boolean; false when it is not set or is of another type. */
bool renderOptionIsOn(miState* state, const char* name);

/* The renderer's index of the camera's frame buffer of this name. */
std::optional<miUint> frameBufferIndex(miState* state, const char* name);

}  // namespace lumo
