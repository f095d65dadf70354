// What modules say of their shaders.
#pragma once

#include "database/declaration.h"
#include "parsing/scene_actions.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lumorender {

/// The declarations in the files that lie beside modules: x.mi beside x.so, also where x.so is one of several names
/// (links) of the module. Each module's files are read once, when they are first asked for.
class ModuleDeclarations {
public:
    explicit ModuleDeclarations(const ReaderSettings& settings);
    ~ModuleDeclarations();

    /// What the module of a shader says of it, or for user data what the latest of the linked modules does that knows it:
    /// none is theirs alone. Null where no file beside them declares it, and where the declaration that is to be
    /// compared stands in such a file itself: `declaredIn`.
    const Declaration* expected(const Modules& modules, const Declaration& found, const std::string& declaredIn);

private:
    struct ModuleFiles {
        std::vector<std::filesystem::path> files;  ///< without links
        std::unique_ptr<Database> content;         ///< null until it is asked for
    };
    ReaderSettings settings_;
    std::map<std::filesystem::path, ModuleFiles> modules_;
    std::string lastFile_;  ///< that something was declared in, and
    std::filesystem::path lastResolved_;

    const Declaration* find(const std::filesystem::path& module, const Declaration& found,
                            const std::filesystem::path& declaredIn);
    ModuleFiles& filesOf(const std::filesystem::path& module);
    const std::filesystem::path& resolve(const std::string& file);
};

}  // namespace lumorender
