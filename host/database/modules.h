// Shader modules that the scene links, and the functions found in them.
#pragma once

#include "database/declaration.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// Loads modules from the search path and looks shader functions up in them. Belongs to the thread that reads scenes.
/// Modules stay loaded until the program ends: their code may be referenced from anywhere.
class Modules {
public:
    /// Directories searched for modules, in order. The host puts the folder of its own executable last.
    std::vector<std::filesystem::path> searchPath;
    /// A scene may name modules by path outside the search path only if the user allows it.
    bool allowPaths = false;

    /// Loads the module of a `link` statement. A suffix of another platform (".dll", ".dylib") is replaced by ".so".
    /// One that calls missing functions is loaded with a warning for each, and ends the program where it calls one.
    /// A module under a second name (a symbolic link) is the same module, and is loaded once.
    /// Calls the module's miSetModuleHandle, if it has one, with a handle through which it finds the host's functions.
    /// @return empty on success, else why it failed and where was searched.
    std::string link(std::string_view file);

    /// Looks NAME, NAME_init, NAME_exit and NAME_version up in the loaded modules, the latest first.
    EntryPoints find(const std::string& shaderName) const;

    /// The file of the module in which `find` finds the shader, without links; empty where there is none.
    std::filesystem::path fileOf(const std::string& shaderName) const;

    /// The files of all loaded modules, under all names by which they were linked.
    std::vector<std::filesystem::path> linkedNames() const;

    bool isLinked(std::string_view file) const;

    /// The files of the loaded modules, in the order in which they were linked.
    std::vector<std::filesystem::path> files() const;

private:
    struct Module {
        std::vector<std::filesystem::path> names;  ///< of the files by which it was linked
        std::filesystem::path folder;
        void* handle = nullptr;
        std::filesystem::path file;  ///< without links
    };
    std::vector<Module> modules_;
};

}  // namespace lumorender
