#include "application/shader_list.h"

#include "parsing/declaration_texts.h"
#include "parsing/nearest_name.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

fs::path declarationsOf(fs::path module) { return module.replace_extension(".mi"); }

/// The files of a folder with this ending, by name.
std::vector<fs::path> filesIn(const fs::path& folder, const char* ending) {
    std::vector<fs::path> files;
    std::error_code failure;
    for (fs::directory_iterator i(folder, failure), end; i != end && !failure; i.increment(failure))
        if (i->path().extension() == ending) files.push_back(i->path());
    std::sort(files.begin(), files.end());
    return files;
}

void linkAllWithDeclarations(Modules& modules) {
    for (const fs::path& folder : modules.searchPath)
        for (const fs::path& file : filesIn(folder, ".so"))
            if (fs::exists(declarationsOf(file))) modules.link(file.filename().string());
}

/// Those beside modules come first.
std::vector<fs::path> declarationFiles(const Modules& modules, const std::vector<fs::path>& includePath) {
    std::vector<fs::path> files;
    for (const fs::path& module : modules.linkedNames()) files.push_back(declarationsOf(module));
    for (const auto* path : {&modules.searchPath, &includePath})
        for (const fs::path& folder : *path)
            for (const fs::path& file : filesIn(folder, ".mi")) files.push_back(file);
    return files;
}

}  // namespace

std::string listShaders(Modules& modules) {
    if (modules.linkedNames().empty()) linkAllWithDeclarations(modules);
    std::string text;
    for (const fs::path& module : modules.linkedNames()) {
        if (!fs::exists(declarationsOf(module))) {
            text += fmt::format("{}: there are no declarations beside it, {}\n", module.string(),
                                declarationsOf(module).filename().string());
            continue;
        }
        std::string lines;
        int count = 0;
        for (const DeclarationText& each : readDeclarationTexts(declarationsOf(module))) {
            if (each.kind == "data") continue;
            const bool isThere = each.kind == "phenomenon" || modules.find(each.name).call;
            lines += fmt::format("  {:<40} version {}{}\n", each.name, each.version,
                                 each.kind == "phenomenon" ? ", a phenomenon"
                                 : isThere                 ? ""
                                                           : ", not in the module");
            ++count;
        }
        text += fmt::format("{}: {} shader{}\n{}", module.string(), count, count == 1 ? "" : "s", lines);
    }
    return text.empty() ? "No module is linked, and the module folders have none with declarations.\n" : text;
}

bool describeShader(const std::string& name, const Modules& modules, const std::vector<fs::path>& includePath,
                    std::string& text) {
    std::vector<std::string> names;
    for (const fs::path& file : declarationFiles(modules, includePath))
        for (const DeclarationText& each : readDeclarationTexts(file)) {
            if (each.name == name) {
                text = fmt::format("# {}\n{}\n", file.string(), each.text);
                return true;
            }
            names.push_back(each.name);
        }
    const std::string nearest = nearestName(name, names);
    text = fmt::format("there is no declaration of \"{}\"{}", name,
                       nearest.empty() ? "; -list tells all shaders" : ", did you mean \"" + nearest + "\"?");
    return false;
}

}  // namespace lumorender
