#include "elements/module_declarations.h"

#include "elements/reader.h"

#include <algorithm>
#include <system_error>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

struct NoRendering : SceneActions {
    bool render(const RenderCommand&) override { return true; }
};

}  // namespace

ModuleDeclarations::ModuleDeclarations(const ReaderSettings& settings) : settings_(settings) {
    settings_.declarationsOnly = true;
    settings_.functionsRequired = false;
}

ModuleDeclarations::~ModuleDeclarations() = default;

const Declaration* ModuleDeclarations::expected(const Modules& modules, const Declaration& found,
                                                const std::string& declaredIn) {
    std::vector<fs::path> files{modules.fileOf(found.name)};
    if (found.kind == DeclarationKind::Data) files = modules.files();
    for (auto module = files.rbegin(); module != files.rend(); ++module)
        if (const Declaration* known = find(*module, found, resolve(declaredIn))) return known;
    return nullptr;
}

const Declaration* ModuleDeclarations::find(const fs::path& module, const Declaration& found,
                                            const fs::path& declaredIn) {
    if (module.empty()) return nullptr;
    ModuleFiles& beside = filesOf(module);
    if (std::find(beside.files.begin(), beside.files.end(), declaredIn) != beside.files.end()) return nullptr;
    if (!beside.content) {
        beside.content = std::make_unique<Database>();
        Modules none;
        NoRendering nothing;
        for (const fs::path& file : beside.files) readScene(file, *beside.content, none, nothing, settings_);
    }
    const auto* declaration = beside.content->detail<Declaration>(beside.content->find(found.name));
    return declaration && declaration->kind == found.kind ? declaration : nullptr;
}

ModuleDeclarations::ModuleFiles& ModuleDeclarations::filesOf(const fs::path& module) {
    const auto [entry, isNew] = modules_.try_emplace(module);
    if (!isNew) return entry->second;
    std::error_code ignored;
    for (const auto& neighbour : fs::directory_iterator(module.parent_path(), ignored)) {
        fs::path file = neighbour.path();
        if (file.extension() != module.extension() || !fs::equivalent(file, module, ignored)) continue;
        if (fs::exists(file.replace_extension(".mi"), ignored))
            entry->second.files.push_back(fs::weakly_canonical(file, ignored));
    }
    return entry->second;
}

const fs::path& ModuleDeclarations::resolve(const std::string& file) {
    std::error_code ignored;
    if (file != lastFile_) {
        lastFile_ = file;
        lastResolved_ = fs::weakly_canonical(file, ignored);
    }
    return lastResolved_;
}

}  // namespace lumorender
