// Objects whose geometry is in scene files of their own.
#pragma once

#include "database/modules.h"
#include "database/placeholder.h"
#include "parsing/context.h"
#include "parsing/scene_actions.h"

#include <filesystem>
#include <string_view>

namespace lumorender {

/// Reads the file when the geometry is wanted: the object in it counts, whatever its name and flags are; several are
/// put together. Materials are those of the scene. Other elements are refused, as they would come too late.
std::shared_ptr<ObjectLoader> objectFile(Database& database, Modules& modules,
                                         std::shared_ptr<const ReaderSettings> settings,
                                         const std::filesystem::path& file, std::vector<std::string> namespaces);

/// Reads the one object that stands in a part of a file, as it is now; the file has to be the same then.
std::shared_ptr<ObjectLoader> objectPart(SceneContext& scene, const std::filesystem::path& file, std::size_t begin,
                                         std::string_view text);

}  // namespace lumorender
