/* Stands in for the header by which shaders are exported: the same sources, compiled with this one in front, leave a
 * description of their parameter records instead of entry points. So there is no list of records to keep by hand.
 */
#pragma once

#include "../../../../../SDK/framework/export_shader.h"

#include "tests/declarations/record_layout.h"

#undef LUMO_EXPORT_SHADER
#undef LUMO_EXPORT_FUNCTION_SHADER
#undef LUMO_EXPORT_ENGINE
#undef LUMO_EXPORT_STATE_SHADER
#undef LUMO_EXPORT_SHADOW_SHADER

#define LUMO_DESCRIBE(name, P) static const bool name##IsDescribed = describeShader(#name, layoutOf<P>());

#define LUMO_EXPORT_SHADER(name, Class, source) LUMO_DESCRIBE(name, Class::Parameters)
#define LUMO_EXPORT_FUNCTION_SHADER(name, function, Result, P) LUMO_DESCRIBE(name, P)
#define LUMO_EXPORT_ENGINE(name, function, Result, P) LUMO_DESCRIBE(name, P)
#define LUMO_EXPORT_STATE_SHADER(name, function, P) LUMO_DESCRIBE(name, P)
#define LUMO_EXPORT_SHADOW_SHADER(name, function, P) LUMO_DESCRIBE(name, P)
