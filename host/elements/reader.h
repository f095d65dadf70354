// Reads scene files into the database and hands every render command to the application as it comes.
#pragma once

#include "parsing/scene_actions.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace lumorender {

/// Reads one scene file from beginning to end. Every error says file, line, what was found and what was expected.
/// @return true when the whole file was read without an error; render commands before the first error were carried
/// out. Never throws.
bool readScene(const std::filesystem::path& file, Database& database, Modules& modules, SceneActions& actions,
               const ReaderSettings& settings);

/// The same for a scene in memory; `name` stands for the file in messages. Used for standard input, tests and fuzzing.
bool readSceneText(std::string_view text, const std::string& name, Database& database, Modules& modules,
                   SceneActions& actions, const ReaderSettings& settings);

}  // namespace lumorender
