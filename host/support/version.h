// Which program this is, and which version of the renderer's shader interface it implements.
#pragma once

namespace lumorender {

constexpr const char* kProgram = "lumorender 0.1.0";

/// What scenes and shaders are told when they ask for the renderer's version.
constexpr const char* kInterfaceVersion = "3.12.1";

}  // namespace lumorender
