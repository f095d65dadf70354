// The command line: the renderer's single-dash options, with abbreviations.
#pragma once

#include "echo/scene_echo.h"
#include "render/render_settings.h"
#include "elements/reader.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace lumorender {

/// What is printed in place of rendering.
enum class Page { None, Help, Version, Man, Markdown, Bash, Zsh };

/// Which of the scene's render commands are carried out: every `step`th from `first` to `last`, counted from 1.
struct RenderRange {
    int first = 1, last = 1 << 30, step = 1;
    bool includes(int number) const { return number >= first && number <= last && (number - first) % step == 0; }
};

struct CommandLine {
    std::filesystem::path scene;  ///< empty = standard input
    bool merges = false;          ///< joins parts of a picture in place of rendering
    std::vector<std::filesystem::path> parts;
    std::optional<int> verbosity;
    RenderSettings render;
    ReaderSettings reader;
    /// Statements of the scene language that stand at the end of the options and the camera of every render, so that the
    /// command line wins over the scene, whatever the scene changes in between.
    std::string optionsStatements, cameraStatements;
    std::string shutterDelay;  ///< empty = as the options say
    RenderRange renders;
    std::filesystem::path echo;  ///< the scene is written there and not rendered
    EchoStyle echoStyle;
    bool strict = false;  ///< warnings are errors, and nothing is rendered after one
    bool copyright = false;
    std::vector<std::string> links;
    std::vector<std::filesystem::path> libraryPath;
    /// What was asked for and does nothing, or is not done, in words.
    std::vector<std::string> warnings, errors;
    Page page = Page::None;
    bool listsShaders = false;
    std::string described;  ///< the shader whose declaration is printed
};

/// What is wrong with the command line; reaches the user behind the word that it is about.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads the arguments. Prints help or version and returns an exit code where they ask for it or are wrong, else
/// nothing and the settings in `result`.
std::optional<int> readCommandLine(int argumentCount, const char* const* arguments, CommandLine& result);

}  // namespace lumorender
