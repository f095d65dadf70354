#include "application/command_line.h"

#include "support/messages.h"
#include "support/version.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>

namespace lumorender {

namespace {

std::vector<std::filesystem::path> splitPath(const std::string& list) {
    std::vector<std::filesystem::path> result;
    std::string part;
    for (const char c : list + ":") {
        if (c != ':' && c != ';') {
            part += c;
            continue;
        }
        if (!part.empty()) result.emplace_back(part);
        part.clear();
    }
    return result;
}

int verbosityOf(const std::string& text) {
    if (text == "on") return 5;
    if (text == "off") return 2;
    std::size_t end = 0;
    int level = -1;
    try {
        level = std::stoi(text, &end);
    } catch (const std::exception&) {
        end = 0;
    }
    if (end != text.size() || level < 0 || level > 7)
        throw CLI::ValidationError("-verbose", "found \"" + text + "\", expected on, off or a number from 0 to 7");
    return level;
}

/// "0,2" or "2": minimum and maximum level. One number is the maximum, as in the scene language.
std::pair<int, int> sampleLevels(const std::string& text) {
    int levels[2] = {};
    const int found = std::sscanf(text.c_str(), "%d,%d", &levels[0], &levels[1]);
    if (found < 1) throw CLI::ValidationError("-samples", "found \"" + text + "\", expected one or two numbers");
    return found == 1 ? std::pair{levels[0] - 2, levels[0]} : std::pair{levels[0], levels[1]};
}

/// The options have one dash and long names, which may be shortened as long as they stay unambiguous.
class Spelling {
public:
    explicit Spelling(std::vector<std::string> names) : names_(std::move(names)) {}

    std::string full(const std::string& argument) const {
        const bool isOption =
            argument.size() > 1 && argument[0] == '-' && std::isalpha(static_cast<unsigned char>(argument[1])) != 0;
        if (!isOption) return argument;
        const std::string name = argument.substr(1);
        std::vector<std::string> matches;
        for (const std::string& candidate : names_) {
            if (candidate == name) return "--" + candidate;
            if (candidate.rfind(name, 0) == 0) matches.push_back(candidate);
        }
        if (matches.size() == 1) return "--" + matches[0];
        if (matches.empty()) return "--" + name;
        std::string text = "-" + name + " may mean";
        for (const std::string& match : matches) text += " -" + match;
        throw CLI::ValidationError(text);
    }

private:
    std::vector<std::string> names_;
};

/// Texts of the library that reads the options name them with two dashes.
std::string oneDash(std::string text) {
    for (std::size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 1))
        if (at + 2 < text.size() && std::isalpha(static_cast<unsigned char>(text[at + 2])) != 0) text.erase(at, 1);
    return text;
}

bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("+-.0123456789") == std::string::npos;
}

/// Options take a fixed number of values here, so that the scene's name is not taken for one of them: `-link a b --`
/// becomes two options, and `-samples 0 2` one option with its numbers joined.
std::vector<std::string> spellOut(const std::vector<std::string>& arguments, const Spelling& spelling) {
    std::vector<std::string> result;
    const auto isListEnd = [&](std::size_t from) {
        return std::find(arguments.begin() + static_cast<std::ptrdiff_t>(from), arguments.end(), "--") !=
               arguments.end();
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string argument = spelling.full(arguments[i]);
        if (argument == "--link" && isListEnd(i)) {
            for (++i; i < arguments.size() && arguments[i] != "--"; ++i) {
                result.push_back(argument);
                result.push_back(arguments[i]);
            }
            continue;
        }
        result.push_back(argument);
        if (argument != "--samples") continue;
        std::string numbers;
        for (; i + 1 < arguments.size() && isNumber(arguments[i + 1]); ++i)
            numbers += (numbers.empty() ? "" : ",") + arguments[i + 1];
        if (!numbers.empty()) result.back() += "=" + numbers;
    }
    return result;
}

std::filesystem::path sceneFile(const std::string& name) {
    if (name.empty() || std::filesystem::exists(name)) return name;
    return std::filesystem::exists(name + ".mi") ? name + ".mi" : name;
}

}  // namespace

std::optional<int> readCommandLine(int argumentCount, const char* const* arguments, CommandLine& result) {
    CLI::App app("Renders .mi scene files: lumorender [options] [scene.mi]. Without a scene it reads standard input.");
    app.name("lumorender");
    app.set_help_flag("--help", "Show this text");
    app.set_version_flag("--version", fmt::format("{} (shader interface {})", kProgram, kInterfaceVersion));
    std::string scene;
    std::string verbose;
    std::vector<int> resolution;
    std::string samples;
    std::vector<std::string> libraries;
    std::vector<std::string> includes;
    std::vector<std::string> textures;
    std::string hair;
    std::string fileName;
    std::string fileDirectory;
    app.add_option("scene", scene, "The scene file; .mi is added where it is missing");
    app.add_option("--verbose,--v", verbose, "on, off, or how many message classes: 0 none ... 7 all");
    app.add_option("--threads", result.render.tiles.threads, "Threads that render; one per core without it")
        ->check(CLI::Range(1, 1024));
    app.add_option("--resolution", resolution, "Pixels in x and y")->expected(2)->allow_extra_args(false);
    app.add_option("--samples", samples, "Minimum and maximum level: n means 4^n samples per pixel");
    app.add_option("--hair", hair, "on, off: whether hairs are rendered")->check(CLI::IsMember({"on", "off"}));
    std::string displace;
    app.add_option("--displace", displace, "on or off: whether materials displace geometry")
        ->check(CLI::IsMember({"on", "off"}));
    app.add_option("--maxdisplace", result.render.maxDisplace,
                   "How far objects are displaced that do not say so themselves");
    app.add_option("--task_size", result.render.tiles.tileSize, "Edge of a tile in pixels")->check(CLI::Range(1, 4096));
    app.add_option("--file_name,--o", fileName, "Name of the first image file");
    app.add_option("--file_dir", fileDirectory, "Folder in which relative file names begin");
    app.add_option("--link", result.links, "Shader module to load before the scene; a list ends with --")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    app.add_option("--ld_path,--L", libraries, "Folders with shader modules, separated by colons")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    app.add_option("--I", includes, "Folders for $include, separated by colons")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    app.add_option("--T", textures, "Folders with textures, separated by colons")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    app.add_flag("--texture_continue", result.render.continueWithoutTextures, "Render although a texture is missing");
    app.add_flag("--allow_paths", result.allowPaths,
                 "Let scenes link modules from anywhere, not only from the module folders");
    app.add_flag("--preview", result.render.previews, "Write a PNG of the picture and a sheet of all passes beside it");

    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames()) names.push_back(name);
    try {
        std::vector<std::string> given =
            spellOut({arguments + 1, arguments + argumentCount}, Spelling(std::move(names)));
        std::reverse(given.begin(), given.end());
        app.parse(given);
        if (!verbose.empty()) result.verbosity = verbosityOf(verbose);
        if (!displace.empty()) result.render.displace = displace == "on";
        if (!samples.empty()) result.render.samples = sampleLevels(samples);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        std::ostringstream problems;
        const int code = app.exit(error, out, problems);
        std::fputs(oneDash(out.str()).c_str(), stdout);
        std::fputs(oneDash(problems.str()).c_str(), stderr);
        return code == 0 ? 0 : 2;
    }

    result.scene = sceneFile(scene);
    if (resolution.size() == 2) result.render.resolution = {resolution[0], resolution[1]};
    if (!hair.empty()) result.render.hair = hair == "on";
    result.render.fileName = fileName;
    result.render.fileDirectory = fileDirectory;
    const auto append = [](std::vector<std::filesystem::path>& to, const std::vector<std::string>& lists) {
        for (const std::string& list : lists)
            for (const std::filesystem::path& part : splitPath(list)) to.push_back(part);
    };
    append(result.libraryPath, libraries);
    append(result.reader.includePath, includes);
    append(result.reader.texturePath, textures);
    result.reader.verbosityIsFixed = result.verbosity.has_value();
    return std::nullopt;
}

}  // namespace lumorender
