#include "application/command_words.h"

#include "application/value_pattern.h"
#include "support/limits.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

namespace lumorender {

namespace {

using Line = CommandLine;

int integerIn(const Values& values, std::size_t at, int low, int high) {
    const int number = std::stoi(values[at]);
    if (number < low || number > high) throw UsageError(fmt::format("found {}, expected {} to {}", number, low, high));
    return number;
}

std::uint64_t megabytes(const Values& values) {
    return static_cast<std::uint64_t>(integerIn(values, 0, 1, 1 << 30)) << 20;
}

bool isOn(const Values& values) { return values.empty() || values[0] == "on"; }

void setVerbosityLevel(Line& line, const Values& values) {
    constexpr int kOff = 2, kOn = 5;
    line.verbosity = values[0] == "on" ? kOn : values[0] == "off" ? kOff : integerIn(values, 0, 0, 7);
}

void addFolders(std::vector<std::filesystem::path>& to, const Values& values) {
    std::string part;
    for (const char c : values[0] + ":") {
        if (c != ':' && c != ';') {
            part += c;
            continue;
        }
        if (!part.empty()) to.emplace_back(part);
        part.clear();
    }
}

void selectRenders(Line& line, const Values& values) {
    RenderRange range;
    if (isInteger(values[0])) {
        range.first = integerIn(values, 0, 1, 1 << 30);
        range.last = values.size() > 1 ? integerIn(values, 1, range.first, 1 << 30) : range.first;
        range.step = values.size() > 2 ? integerIn(values, 2, 1, 1 << 30) : 1;
    } else if (values[0] == "off") {
        range.last = 0;
    }
    line.renders = range;
}

/// Words behind the file of -echo.
void setEcho(Line& line, const Values& values) {
    line.echo = values[0];
    for (std::size_t i = 1; i < values.size(); ++i) {
        const std::string& word = values[i];
        const auto without = [&](const char* because) {
            line.warnings.push_back(fmt::format("-echo {}: {} has no effect: {}", values[0], word, because));
        };
        if (word == "ascii" || word == "source")
            continue;  // so it is anyway
        else if (word == "norendercommand")
            line.echoStyle.renders = false;
        else if (word == "incremental")
            line.echoStyle.incremental = true;
        else if (word == "explode") {
            line.echoStyle.explodes = true;
            if (i + 1 < values.size() && isInteger(values[i + 1])) ++i;  // each object is a file, whatever its depth
        } else if (word == "approx")
            without("geometry is written as the scene gives it");
        else if (word == "textures")
            without("images stay in their files, and are named by where they are");
        else if (word == "omit" || word == "norecurse") {
            without("all elements are written");
            ++i;
        } else
            throw UsageError(
                fmt::format("found {} behind the file, expected ascii, source, norendercommand, incremental "
                            "or explode",
                            word));
    }
}

WordGroup runningWords() {
    return {
        "What is done",
        {
            {"help", "", "Show this text", [](Line& l, const Values&) { l.page = Page::Help; }},
            {"version", "", "Show the version", [](Line& l, const Values&) { l.page = Page::Version; }},
            {"render", "on|off|N:first [N:last [N:step]]",
             "Carry out these of the scene's render commands, counted from 1; one number is one of them. The others "
             "are passed over, with all changes in between",
             &selectRenders},
            {"strict", "", "Take warnings for errors, and render nothing after one",
             [](Line& l, const Values&) { l.strict = true; }},
            {"lenient", "", "Render what can be, although the scene has errors; the exit code stays 1",
             [](Line& l, const Values&) { l.render.continueWithoutTextures = l.reader.lenient = true; }},
            {"verbose v", "on|off|N:level",
             "Which messages are printed: the first N classes of fatal, error, warning, progress, info, debug, "
             "verbose debug. Off is 2, on is 5; 3 without it",
             &setVerbosityLevel},
            {"copyright", "on|off", "Show version and license before anything else",
             [](Line& l, const Values& v) { l.copyright = isOn(v); }},
            {"threads", "N:count", "Threads that render; one per core without it",
             [](Line& l, const Values& v) { l.render.tiles.threads = integerIn(v, 0, 1, 1024); }},
            {"memory", "N:MB", "What geometry and pictures may take; four fifths of the machine's memory without it",
             [](Line&, const Values& v) { limits().memoryBytes = megabytes(v); }},
            {"file_limit", "N:MB", "What a file may have that a scene names, images unpacked, too; 4096 without it",
             [](Line&, const Values& v) { limits().fileBytes = megabytes(v); }},
            {"task_size", "N:pixels", "Edge of a tile",
             [](Line& l, const Values& v) { l.render.tiles.tileSize = integerIn(v, 0, 1, 4096); }},
            {"task_order", "T:name", "Order of tiles", NoEffect{"the order of tiles is fixed"}},
            {"hosts", "T:name..", "Machines that help", NoEffect{"every machine renders for itself"}},
            {"nomaster", "", "Do not render on this machine", NoEffect{"every machine renders for itself"}},
            {"echo", "T:file..",
             "Write the scene as one file, without what this command line changes of it, and do not render it. Behind "
             "the file: norendercommand; incremental, so that it changes a scene that is there; explode, each object "
             "in a file beside it; ascii and source, which it is anyway. approx, textures, omit and norecurse have "
             "no effect",
             &setEcho},
            {"code", "T:file..", "Compile and load shaders", NotDone{"nothing is compiled here; -link loads modules"}},
            {"list", "",
             "List the shaders of the modules that -link and the scene link, or of all that are found, and do not "
             "render",
             [](Line& l, const Values&) { l.listsShaders = true; }},
            {"describe", "T:shader", "Print a shader's declaration with its comments, and do not render",
             [](Line& l, const Values& v) { l.described = v[0]; }},
            {"completion", "bash|zsh", "Print completions of this command line for a shell",
             [](Line& l, const Values& v) { l.page = v[0] == "bash" ? Page::Bash : Page::Zsh; }},
            {"manual", "man|markdown", "Print these options as a manual page, or as tables in Markdown",
             [](Line& l, const Values& v) { l.page = v[0] == "man" ? Page::Man : Page::Markdown; }},
            {"message", "T:class..", "Choose messages by what they are about", NoEffect{"-verbose chooses messages"}},
            {"xcolor", "T:text", "Colors of messages", NoEffect{"messages have no colors"}},
            {"imgpipe", "N:descriptor", "Show the picture as it is rendered", NoEffect{"there is no viewer"}},
        }};
}

WordGroup fileWords() {
    return {"Files",
            {
                {"file_name o", "T:file", "Name of the first image file",
                 [](Line& l, const Values& v) { l.render.fileName = v[0]; }},
                {"file_type", "T:format",
                 "Format of the first image file; without -file_name the file gets the format's ending, too",
                 [](Line& l, const Values& v) { l.render.fileType = v[0]; }},
                {"file_dir", "T:folder", "Folder in which relative names of image files begin",
                 [](Line& l, const Values& v) { l.render.fileDirectory = v[0]; }},
                {"fb_dir", "T:folder", "Folder for frame buffers while they are made", NoEffect{"they stay in memory"}},
                {"preview", "", "Write a PNG of the picture and a sheet of all passes beside it",
                 [](Line& l, const Values&) { l.render.previews = true; }},
                {"link l", "T:file..", "Load shader modules before the scene; one, or a list that ends with --",
                 [](Line& l, const Values& v) { l.links.insert(l.links.end(), v.begin(), v.end()); }},
                {"ld_path L", "T:folders", "Folders with shader modules, separated by colons",
                 [](Line& l, const Values& v) { addFolders(l.libraryPath, v); }},
                {"include_path I", "T:folders", "Folders for $include, separated by colons",
                 [](Line& l, const Values& v) { addFolders(l.reader.includePath, v); }},
                {"texture_path T lightprofile_path", "T:folders",
                 "Folders with textures and light profiles, separated by colons",
                 [](Line& l, const Values& v) { addFolders(l.reader.texturePath, v); }},
                {"M assembly_path", "T:folders", "Folders with files of objects, separated by colons",
                 [](Line& l, const Values& v) { addFolders(l.reader.objectPath, v); }},
                {"registry", "T:key T:value", "What {key} in file names of the scene stands for",
                 [](Line& l, const Values& v) { l.reader.registry.emplace_back(v[0], v[1]); }},
                {"texture_continue", "[on|off]", "Render although a texture is missing",
                 [](Line& l, const Values& v) { l.render.continueWithoutTextures = isOn(v); }},
                {"allow_paths", "", "Let scenes link modules from anywhere, and write files anywhere, over anything",
                 [](Line& l, const Values&) { l.render.allowPaths = true; }},
            }};
}

/// "3/16": the third of sixteen shares.
Share shareOf(const std::string& text) {
    const std::size_t slash = text.find('/');
    const std::string number = text.substr(0, slash);
    const std::string count = slash == std::string::npos ? "" : text.substr(slash + 1);
    constexpr int kMost = 1 << 20;
    if (isInteger(number) && isInteger(count)) {
        const Share share{std::stoi(number), std::stoi(count)};
        if (share.count >= 1 && share.count <= kMost && share.number >= 0 && share.number <= share.count) return share;
    }
    throw UsageError(fmt::format("found {}, expected a share such as 3/16: the third of sixteen", text));
}

WordGroup longRenderWords() {
    return {"Long renders and farms",
            {
                {"checkpoint", "T:file",
                 "Keep what is finished in this file; the same command goes on from there when it was ended",
                 [](Line& l, const Values& v) { l.render.saving.checkpoint = v[0]; }},
                {"keep_checkpoint", "", "Keep the checkpoint when the picture is written",
                 [](Line& l, const Values&) { l.render.saving.keepsCheckpoint = true; }},
                {"tiles", "T:share",
                 "Render a share of the picture, such as 3/16, into NAME.3-of-16.part beside it. Share 0/16 makes the "
                 "points of indirect light for all",
                 [](Line& l, const Values& v) { l.render.saving.share = shareOf(v[0]); }},
                {"merge", "", "Join parts into the picture: their names stand where the scene stands otherwise",
                 [](Line& l, const Values&) { l.merges = true; }},
            }};
}

}  // namespace

std::vector<std::string> Word::allNames() const {
    std::istringstream stream{std::string(names)};
    std::vector<std::string> result;
    for (std::string name; stream >> name;) result.push_back(name);
    return result;
}

std::string Word::explanation() const {
    if (const auto* nothing = std::get_if<NoEffect>(&meaning))
        return fmt::format("{}. Has no effect: {}", help, nothing->because);
    if (const auto* nothing = std::get_if<NotDone>(&meaning))
        return fmt::format("{}. Not done: {}", help, nothing->because);
    return std::string(help);
}

const std::vector<WordGroup>& commandWords() {
    static const std::vector<WordGroup> groups = [] {
        std::vector<WordGroup> all = {runningWords(), fileWords(), longRenderWords()};
        for (WordGroup& group : sceneWords()) all.push_back(std::move(group));
        return all;
    }();
    return groups;
}

const Word* findWord(std::string_view name) {
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words) {
            const std::vector<std::string> names = word.allNames();
            if (std::find(names.begin(), names.end(), name) != names.end()) return &word;
        }
    return nullptr;
}

}  // namespace lumorender
