#include "parsing/context.h"

#include "parsing/language.h"
#include "parsing/nearest_name.h"
#include "support/messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace lumorender {

SceneContext::SceneContext(Database& itsDatabase, Modules& itsModules, SceneActions& itsActions,
                           const ReaderSettings& itsSettings)
    : database(itsDatabase),
      modules(itsModules),
      actions(itsActions),
      settings(itsSettings),
      in(problems, registry, itsSettings) {
    for (const auto& [key, value] : settings.registry) registry.define(key, {{{"value", value}}});
    problems.lenient = settings.lenient;
    in.onLink = [this](const std::string& file) { link(in.place(), file); };
}

std::string SceneContext::qualify(std::string_view name) const {
    if (name.starts_with("::")) return std::string(name.substr(2));
    std::string full;
    for (const std::string& space : namespaces) full += space + "::";
    return full += name;
}

std::string SceneContext::readNewName(std::string_view what) {
    if (!in.atName()) in.fail(what);
    std::string name = qualify(in.current().text);
    refuseDeclarationName(name);
    in.advance();
    return name;
}

void SceneContext::refuseDeclarationName(const std::string& name) const {
    if (database.type(database.find(name)) == miSCENE_FUNCTION_DECL)
        throw SyntaxError{in.place(), fmt::format("\"{}\" is the name of a declaration, expected another name", name)};
}

/// The innermost namespace that has the name wins.
miTag SceneContext::find(std::string_view name) const {
    if (namespaces.empty() && !name.starts_with("::")) return database.find(name);
    if (name.starts_with("::")) return database.find(name.substr(2));
    for (std::size_t used = namespaces.size(); used > 0; --used) {
        std::string full;
        for (std::size_t i = 0; i < used; ++i) full += namespaces[i] + "::";
        if (const miTag tag = database.find(full += name)) return tag;
    }
    return database.find(name);
}

miTag SceneContext::reserve(std::string_view name) {
    const miTag known = find(name);
    return known ? known : database.reserve(qualify(name));
}

miTag SceneContext::require(std::string_view name, std::initializer_list<int> types, std::string_view what) {
    const miTag tag = find(name);
    if (std::find(types.begin(), types.end(), database.type(tag)) != types.end()) return tag;
    const bool defined = database.type(tag) != miSCENE_NONE;
    problems.error(in.place(), defined ? fmt::format("\"{}\" is defined as something else, expected {}", name, what)
                                       : fmt::format("\"{}\" is not defined, expected the name of {}", name, what));
    return miNULLTAG;
}

miTag SceneContext::readReference(std::initializer_list<int> types, std::string_view what) {
    if (!in.atName()) in.fail(fmt::format("the name of {}", what));
    const miTag tag = require(in.current().text, types, what);
    in.advance();
    return tag;
}

std::shared_ptr<const ReaderSettings> SceneContext::settingsForLater() {
    if (!settingsForLater_) settingsForLater_ = std::make_shared<ReaderSettings>(settings);
    return settingsForLater_;
}

std::string SceneContext::readFileName() {
    if (!in.atString()) in.fail("a quoted file name");
    fileNamePlace_ = in.place();
    std::string name = in.expandFileName(in.current().text);
    in.advance();
    return name;
}

std::filesystem::path SceneContext::locate(const std::string& file, const std::vector<std::filesystem::path>& folders) {
    if (!settings.filesAllowed || file.empty()) return file;
    std::vector<std::filesystem::path> places = {in.directory(), std::filesystem::path()};
    places.insert(places.end(), folders.begin(), folders.end());
    return in.findFile(fileNamePlace_, file, places);
}

std::filesystem::path SceneContext::locateImage(const std::string& file, std::string& hint) {
    std::vector<std::filesystem::path> folders = settings.texturePath;
    for (const std::string& folder : registry.folders("_MI_REG_TEXTURE")) folders.emplace_back(folder);
    std::filesystem::path found = locate(file, folders);
    std::error_code ignored;
    if (!settings.filesAllowed || file.empty() || std::filesystem::exists(found, ignored)) return found;
    folders.push_back(in.directory());
    if (const auto similar = similarImage(found.string(), folders); !similar.empty())
        hint = fmt::format("\"{}\" lies there", similar.string());
    return found;
}

void SceneContext::link(const Place& place, const std::string& file) {
    if (!settings.filesAllowed) return problems.error(place, "modules may not be linked here");
    if (settings.declarationsOnly) return;
    const std::string failure = modules.link(file);
    if (!failure.empty()) return problems.error(place, failure);
    linked = true;
}

namespace {

std::string guessOfStatement(std::string_view element, std::string_view word) {
    std::vector<std::string> names;
    for (const Meaning& row : language()) {
        if (row.element != element) continue;
        for (std::string_view words = row.words; !words.empty();) {
            const std::size_t end = std::min(words.find('|'), words.size());
            names.emplace_back(words.substr(0, std::min(words.find('='), end)));
            words.remove_prefix(std::min(end + 1, words.size()));
        }
    }
    return guessOf(word, names);
}

}  // namespace

void SceneContext::skipUnknown(std::string_view element, const std::function<bool()>& isKnown) {
    const Token& token = in.current();
    if (in.atEnd() || (token.kind == TokenKind::Symbol && isCommand(token.text)))
        in.fail(fmt::format("a statement of {0} or \"end {0}\"", element));
    problems.warning(in.place(), fmt::format("{} has no statement {}, it is skipped{}", element, describe(token),
                                             guessOfStatement(element, token.text)));
    do {
        in.skipGroup();
    } while (!in.atEnd() && !in.at("end") && !isKnown());
}

/// Replacing an element by another one of its kind is how scenes change; by one of another kind is mostly a slip.
void SceneContext::warnOfOtherKind(const std::string& name, int type) {
    const int before = database.type(database.find(name));
    const auto isShader = [](int kind) { return kind == miSCENE_FUNCTION || kind == miSCENE_FLIST; };
    if (before == miSCENE_NONE || before == type || (isShader(before) && isShader(type))) return;
    problems.warning(elementPlace, fmt::format("\"{}\" was an element of another kind, which is replaced", name));
}

miTag SceneContext::storeBytes(const std::string& name, int type, const void* record, std::size_t size,
                               std::unique_ptr<Detail> detail) {
    if (type != miSCENE_FUNCTION_DECL) refuseDeclarationName(name);
    if (!name.empty()) warnOfOtherKind(name, type);
    const miTag tag = name.empty() ? database.create(type, size) : database.define(name, type, size);
    if (record && size > 0) std::memcpy(database.record(tag), record, size);
    database.setDetail(tag, std::move(detail));
    return tag;
}

miTag SceneContext::edited(const std::string& name, int type, std::string_view what) {
    if (!incremental) return miNULLTAG;
    const miTag tag = database.find(name);
    if (database.type(tag) == type) return tag;
    problems.error(in.place(), fmt::format("there is no {} \"{}\" that could be changed incrementally", what, name));
    return miNULLTAG;
}

DepthGuard::DepthGuard(SceneContext& scene) : scene_(scene) {
    if (scene.depth >= kDeepest) throw SyntaxError{scene.in.place(), "this is nested too deeply"};
    ++scene.depth;
}

}  // namespace lumorender
