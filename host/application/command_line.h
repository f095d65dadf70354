// The command line: the renderer's single-dash options, with abbreviations.
#pragma once

#include "render/renderer.h"
#include "elements/reader.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumorender {

struct CommandLine {
    std::filesystem::path scene;  ///< empty = standard input
    std::optional<int> verbosity;
    RenderSettings render;
    ReaderSettings reader;
    std::vector<std::string> links;
    std::vector<std::filesystem::path> libraryPath;
    bool allowPaths = false;  ///< scenes may link modules from anywhere
};

/// Reads the arguments. Prints help or version and returns an exit code where they ask for it or are wrong, else
/// nothing and the settings in `result`.
std::optional<int> readCommandLine(int argumentCount, const char* const* arguments, CommandLine& result);

}  // namespace lumorender
