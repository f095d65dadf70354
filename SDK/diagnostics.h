/* Messages without a std::string, for places that must not allocate. The text is the renderer's format string. */
#pragma once

#include "binding/renderer.h"

namespace lumo {

inline void reportError(const char* text) { mi_error(text); }
inline void reportWarning(const char* text) { mi_warning(text); }

}  // namespace lumo
