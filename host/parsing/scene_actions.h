// What a scene file asks of the program besides filling the database, and what the program allows it.
#pragma once

#include "database/database.h"
#include "database/modules.h"
#include "parsing/file_search.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumorender {

struct RenderCommand {
    miTag rootGroup = 0;
    miTag cameraInstance = 0;
    miTag options = 0;
    std::string where;  ///< "file:line" of the command, for messages
    /// The files read so far, with their whole text. Valid while the command is carried out.
    std::vector<std::pair<std::string, std::string_view>> texts;
};

/// Shaders that are called outside of a render.
struct CallCommand {
    miTag shaders = 0;
    miTag cameraInstance = 0, options = 0;  ///< 0 = none were named
    std::string where;                      ///< "file:line" of the command, for messages
};

/// What a scene file asks of the program besides filling the database.
class SceneActions {
public:
    virtual ~SceneActions() = default;
    /// Renders now, from the database as it stands. Returns false where the rest of the file should not be read.
    virtual bool render(const RenderCommand& command) = 0;
    /// Calls the shaders now.
    virtual void call(const CallCommand&) {}
    /// The text has been read to its end. Bodies of phenomena still refer to it.
    virtual void finishText() {}
};

class ModuleDeclarations;

struct ReaderSettings {
    std::vector<std::filesystem::path> includePath;
    std::vector<std::filesystem::path> texturePath;
    std::vector<std::filesystem::path> objectPath;  ///< of files with objects and assemblies
    std::vector<PathSubstitution> substitutions;    ///< for files of other machines
    bool verbosityIsFixed = false;                  ///< the command line gave it: the scene's `verbose` is ignored
    bool filesAllowed = true;       ///< false: the scene may not name further files or modules to be read
    bool declarationsOnly = false;  ///< modules are not loaded, and nothing is compared with what they expect
    bool lenient = false;           ///< render commands are carried out although there were errors
    std::vector<std::pair<std::string, std::string>> registry;  ///< keys and what they stand for in file names
    /// Kept from one text to the next where there are many; made anew for each without it.
    std::shared_ptr<ModuleDeclarations> moduleDeclarations;
    bool functionsRequired = true;  ///< false: shaders whose function is in no module are taken, for checking only
};

}  // namespace lumorender
