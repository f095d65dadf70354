// Objects whose geometry is in scene files of their own.
#pragma once

#include "database/modules.h"
#include "database/placeholder.h"
#include "parsing/scene_actions.h"

#include <filesystem>

namespace lumorender {

/// Reads the file when the geometry is wanted: the object in it counts, whatever its name and flags are; several are
/// put together. Materials are those of the scene. Other elements are refused, as they would come too late.
std::shared_ptr<ObjectLoader> objectFile(Database& database, Modules& modules,
                                         std::shared_ptr<const ReaderSettings> settings,
                                         const std::filesystem::path& file, std::vector<std::string> namespaces);

}  // namespace lumorender
