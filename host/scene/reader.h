// Reads scene files into the database and hands every render command to the application as it comes.
#pragma once

#include "database/database.h"
#include "database/modules.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

struct RenderCommand {
    miTag rootGroup = 0;
    miTag cameraInstance = 0;
    miTag options = 0;
    std::string where;  ///< "file:line" of the command, for messages
};

/// What a scene file asks of the program besides filling the database.
class SceneActions {
public:
    virtual ~SceneActions() = default;
    /// Renders now, from the database as it stands. Returns false where the rest of the file should not be read.
    virtual bool render(const RenderCommand& command) = 0;
};

struct ReaderSettings {
    std::vector<std::filesystem::path> includePath;
    std::vector<std::filesystem::path> texturePath;
    bool includePathForQuoted = false;  ///< `-I !dir`
    bool verbosityIsFixed = false;      ///< the command line gave it: the scene's `verbose` is ignored
    bool filesAllowed = true;           ///< false: the scene may not name further files or modules to be read
    bool functionsRequired = true;      ///< false: shaders whose function is in no module are taken, for checking only
};

/// Reads one scene file from beginning to end. Every error says file, line, what was found and what was expected.
/// @return true when the whole file was read without an error; render commands before the first error were carried
/// out. Never throws.
bool readScene(const std::filesystem::path& file, Database& database, Modules& modules, SceneActions& actions,
               const ReaderSettings& settings);

/// The same for a scene in memory; `name` stands for the file in messages. Used for standard input, tests and fuzzing.
bool readSceneText(std::string_view text, const std::string& name, Database& database, Modules& modules,
                   SceneActions& actions, const ReaderSettings& settings);

}  // namespace lumorender
