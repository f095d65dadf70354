// A scene that is written back and read again, and what is not the same then.
#pragma once

#include "parsing/scene_actions.h"

#include <filesystem>
#include <functional>
#include <string>

namespace lumorender {

/// What differs at a render command or at the end, or nothing. What has errors is written as far as it was read; where it
/// broke off in the middle of an element, less may come back.
/// @param folder where the echoes are written.
/// @param takeErrors what errors were told since the last call.
std::string lossOfEcho(const std::string& text, const std::string& name, const ReaderSettings& settings,
                       const std::filesystem::path& folder, const std::function<std::string()>& takeErrors,
                       bool comparesBroken = true);

}  // namespace lumorender
