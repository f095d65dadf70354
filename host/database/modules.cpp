#include "database/modules.h"

#include "database/missing_functions.h"
#include "support/messages.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

/// The file name in a path of this or another platform.
std::string fileNameOf(std::string_view file) {
    const std::size_t separator = file.find_last_of("/\\");
    return std::string(separator == std::string_view::npos ? file : file.substr(separator + 1));
}

/// Scenes written on other platforms name the module with that platform's suffix, or with none.
fs::path withModuleSuffix(const fs::path& file) {
    constexpr std::array<std::string_view, 5> kForeign = {".dll", ".DLL", ".dylib", ".bundle", ".sl"};
    const std::string suffix = file.extension().string();
    if (std::find(kForeign.begin(), kForeign.end(), suffix) == kForeign.end() && !suffix.empty()) return file;
    fs::path replaced = file;
    return replaced.replace_extension(".so");
}

std::string listOf(const std::vector<fs::path>& paths) {
    std::string list;
    for (const fs::path& path : paths) list += (list.empty() ? "" : ", ") + path.string();
    return list.empty() ? "nowhere, the search path is empty" : list;
}

/// The module with all that it calls bound at once, so that no shader waits for the loader; or, where functions are
/// missing, up to where it calls these. Null with the loader's reason where that does not help: where it needs variables
/// that are missing.
void* opened(const fs::path& file, std::string& problem) {
    // Under a second name it was looked at before, and what others have loaded since stands behind it.
    if (void* const known = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD)) return known;
    void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    while (!module && !(module = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL))) {
        problem = dlerror();
        if (!provideMissingFunction(problem)) return nullptr;
    }
    coverMissingFunctions(module);
    return module;
}

/// Modules that look the host's functions up themselves are told where: in the program.
void handOverHostHandle(void* module) {
    using SetModuleHandle = void (*)(void*);
    if (auto setHandle = reinterpret_cast<SetModuleHandle>(dlsym(module, "miSetModuleHandle")))
        setHandle(dlopen(nullptr, RTLD_NOW));
}

/// A symbol of the module itself. Those of the libraries it needs are not shaders: a scene that declares a shader
/// called "system" must not get at the C library's function.
void* ownSymbol(void* module, const std::string& name) {
    void* symbol = dlsym(module, name.c_str());
    link_map* moduleMap = nullptr;
    link_map* symbolMap = nullptr;
    Dl_info info;
    if (!symbol || dlinfo(module, RTLD_DI_LINKMAP, &moduleMap) != 0) return nullptr;
    if (dladdr1(symbol, &info, reinterpret_cast<void**>(&symbolMap), RTLD_DL_LINKMAP) == 0) return nullptr;
    return symbolMap == moduleMap ? symbol : nullptr;
}

}  // namespace

std::string Modules::link(std::string_view file) {
    if (isLinked(file)) return {};

    // Where the module may lie: at the path given, if that is allowed, then in the folders of the search path.
    std::vector<fs::path> candidates;
    const fs::path fileName = withModuleSuffix(fileNameOf(file));
    const bool hasFolder = file.find_first_of("/\\") != std::string_view::npos;
    if (hasFolder && allowPaths) candidates.push_back(withModuleSuffix(fs::path(file)));
    for (const fs::path& folder : searchPath) candidates.push_back(folder / fileName);

    std::error_code ignored;
    const auto found = std::find_if(candidates.begin(), candidates.end(),
                                    [&](const fs::path& path) { return fs::is_regular_file(path, ignored); });
    if (found == candidates.end()) {
        return fmt::format("module \"{}\" not found; searched: {}{}", file, listOf(candidates),
                           hasFolder && !allowPaths ? " (modules outside of the search path are not allowed)" : "");
    }

    std::string problem;
    void* handle = opened(fs::absolute(*found), problem);
    if (!handle) return fmt::format("module \"{}\" cannot be loaded: {}", file, problem);
    const fs::path canonical = fs::weakly_canonical(*found, ignored);
    if (canonical.filename() != found->filename())
        info("LINK", "link \"{}\": {} stands in for it", file, canonical.filename().string());
    // One module under a second name, as a link beside it has: the loader knows it already.
    const auto known =
        std::find_if(modules_.begin(), modules_.end(), [&](const Module& module) { return module.handle == handle; });
    if (known != modules_.end()) {
        known->names.push_back(found->filename());
        dlclose(handle);
        return {};
    }
    modules_.push_back({{found->filename()}, found->parent_path(), handle, canonical});
    handOverHostHandle(handle);
    info("LINK", "loaded module {}", found->string());
    return {};
}

EntryPoints Modules::find(const std::string& shaderName) const {
    for (auto module = modules_.rbegin(); module != modules_.rend(); ++module) {
        const auto look = [&](const char* ending) { return ownSymbol(module->handle, shaderName + ending); };
        if (void* call = look("")) {
            return {reinterpret_cast<ShaderEntry>(call), reinterpret_cast<ShaderInit>(look("_init")),
                    reinterpret_cast<ShaderExit>(look("_exit")), reinterpret_cast<ShaderVersion>(look("_version"))};
        }
    }
    return {};
}

fs::path Modules::fileOf(const std::string& shaderName) const {
    for (auto module = modules_.rbegin(); module != modules_.rend(); ++module)
        if (ownSymbol(module->handle, shaderName)) return module->file;
    return {};
}

std::vector<fs::path> Modules::linkedNames() const {
    std::vector<fs::path> files;
    for (const Module& module : modules_)
        for (const fs::path& name : module.names) files.push_back(module.folder / name);
    return files;
}

bool Modules::isLinked(std::string_view file) const {
    const fs::path fileName = withModuleSuffix(fileNameOf(file));
    return std::any_of(modules_.begin(), modules_.end(), [&](const Module& module) {
        return std::find(module.names.begin(), module.names.end(), fileName) != module.names.end();
    });
}

std::vector<fs::path> Modules::files() const {
    std::vector<fs::path> files;
    for (const Module& module : modules_) files.push_back(module.file);
    return files;
}

}  // namespace lumorender
