// What the shader modules have, for people.
#pragma once

#include "database/modules.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumorender {

/// The shaders of all linked modules, or, where none is linked, of those in the module folders, by module: their names,
/// with the versions of their declarations. A module's declarations are those in the file of its name beside it.
/// Modules that are not linked yet are.
std::string listShaders(Modules& modules);

/// The declaration with its comments and the file that has it. Looked for beside linked modules, then in the folders of
/// modules and includes. Where there is none the text says so, with the nearest name, and the result is false.
bool describeShader(const std::string& name, const Modules& modules,
                    const std::vector<std::filesystem::path>& includePath, std::string& text);

}  // namespace lumorender
