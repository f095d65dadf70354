// The `$` directives: inclusion, conditions and registry look-ups.
#include "parsing/token_stream.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace lumorender {

namespace {

constexpr std::size_t kDeepestInclusion = 64;
/// Of all files together: each of a few may include the next one twice.
constexpr int kMostInclusions = 10000;

bool isIf(std::string_view word) {
    return word == "$ifdef" || word == "$ifndef" || word == "$ifeq" || word == "$ifneq";
}

bool isElse(std::string_view word) { return word == "$else" || word == "$elseifdef" || word == "$elseifeq"; }

}  // namespace

void TokenStream::carryOutDirective() {
    static const std::unordered_map<std::string_view, Directive> directives = {
        {"$include", &TokenStream::readInclude}, {"$lookup", &TokenStream::readLookup},
        {"$code", &TokenStream::refuseCode},     {"$ifdef", &TokenStream::readIf},
        {"$ifndef", &TokenStream::readIf},       {"$ifeq", &TokenStream::readIf},
        {"$ifneq", &TokenStream::readIf},        {"$else", &TokenStream::readElse},
        {"$elseifdef", &TokenStream::readElse},  {"$elseifeq", &TokenStream::readElse},
        {"$endif", &TokenStream::readEndif},
    };
    const auto known = directives.find(token_.text);
    if (known != directives.end()) return (this->*known->second)();
    problems_.error(place(), fmt::format("found {}, expected a directive such as $include", describe(token_)));
    scanner().takeLine();
}

void TokenStream::readInclude() {
    std::string_view name;
    char quote = ' ';
    if (!scanner().takeArgument(name, quote) || quote == ' ')
        return problems_.error(place(), "found no file name behind $include, expected one in quotes or angle brackets");
    include(name, quote == '"');
}

void TokenStream::include(std::string_view name, bool quoted) {
    const std::string expanded = expandFileName(name);
    if (!settings_.filesAllowed) return problems_.error(place(), "files may not be included here");
    if (levels_.size() >= kDeepestInclusion)
        return problems_.error(place(), fmt::format("\"{}\": files are included too deeply", expanded));

    if (++inclusions_ > kMostInclusions)
        problems_.stop(place(),
                       fmt::format("\"{}\": more than {} inclusions, expected fewer", expanded, kMostInclusions));

    const std::filesystem::path file = findIncluded(expanded, quoted);
    const SourceText* source = load(file);
    if (!source) return;
    const auto isSame = [&](const Level& level) { return level.identity == source->name(); };
    if (std::any_of(levels_.begin(), levels_.end(), isSame))
        return problems_.error(place(), fmt::format("file \"{}\" includes itself", source->name()));
    levels_.push_back({Scanner(*source, unescaped_), source->name(), {}});
}

/// A quoted name is relative to the file that includes it, then to the working directory; files that come with modules
/// are found on the include path, whichever way the scene writes them.
std::filesystem::path TokenStream::findIncluded(const std::string& name, bool quoted) {
    std::vector<std::filesystem::path> places;
    if (quoted) places = {directory(), std::filesystem::path()};
    places.insert(places.end(), settings_.includePath.begin(), settings_.includePath.end());
    for (const std::string& folder : registry_.folders("_MI_REG_INCLUDE")) places.emplace_back(folder);
    return findFile(place(), name, places);
}

const SourceText* TokenStream::load(const std::filesystem::path& file) {
    const std::string name = file.lexically_normal().string();
    if (const auto known = sources_.find(name); known != sources_.end()) return known->second.get();
    std::string text;
    if (const std::string failure = readFile(file, text); !failure.empty()) {
        problems_.error(place(), fmt::format("cannot include \"{}\": {}", file.string(), failure));
        return nullptr;
    }
    bytes_ += text.size();
    if (bytes_ > limits().memoryBytes)
        problems_.stop(place(), fmt::format("the scene's files have more than {} MB in all, the limit (-memory)",
                                            limits().memoryBytes >> 20));
    const bool isScene = endingOf(file).starts_with(".mi");
    auto source = std::make_unique<SourceText>(name, file.parent_path(), std::move(text), isScene);
    return (sources_[name] = std::move(source)).get();
}

void TokenStream::readLookup() {
    const std::string key = takeQuoted("a registry entry");
    Registry::Entry* entry = registry_.find(key);
    if (!entry) return problems_.error(place(), fmt::format("there is no registry entry \"{}\"", key));
    if (entry->executed) return;
    entry->executed = true;
    // Inclusions are stacked, the last one is read first.
    const std::vector<Registry::Item> items(entry->items.rbegin(), entry->items.rend());
    for (const auto& item : entry->items)
        if (item.kind != "mi") execute(item);
    for (const auto& item : items)
        if (item.kind == "mi") include(item.text, true);
}

void TokenStream::execute(const Registry::Item& item) {
    if (item.kind == "link" && onLink) onLink(expandFileName(item.text));
    if (item.kind == "echo") info("SCEN", "{}", item.text);
    if (item.kind == "code" || item.kind == "system" || item.kind == "spdl")
        problems_.tell(place(), "registry", item.kind);
}

void TokenStream::refuseCode() {
    problems_.tell(place(), "scene", "$code");
    while (scanner().skipToDirective()) {
        const std::string_view line = scanner().takeLine();
        if (line.starts_with("$end code")) return;
    }
}

std::string TokenStream::takeQuoted(std::string_view what) {
    std::string_view argument;
    char quote = ' ';
    if (scanner().takeArgument(argument, quote)) return std::string(argument);
    problems_.error(place(), fmt::format("found the end of the line behind {}, expected {}", describe(token_), what));
    return {};
}

bool TokenStream::evaluate(std::string_view directive) {
    const std::string value = registry_.conditionValue(takeQuoted("the name of a variable"));
    if (directive == "$ifdef" || directive == "$elseifdef") return !value.empty();
    if (directive == "$ifndef") return value.empty();
    const bool equal = value == takeQuoted("a text");
    return directive == "$ifneq" ? !equal : equal;
}

void TokenStream::readIf() {
    const char* const at = token_.at;
    const bool holds = evaluate(token_.text);
    levels_.back().conditionals.push_back({at, holds, false});
    if (!holds) skipBranches();
}

void TokenStream::readElse() {
    auto& conditionals = levels_.back().conditionals;
    if (conditionals.empty())
        return problems_.error(place(), fmt::format("found {} without an $ifdef before", describe(token_)));
    if (conditionals.back().elseSeen) problems_.error(place(), fmt::format("found {} after $else", describe(token_)));
    conditionals.back().elseSeen = true;  // whatever branches come are not read
    skipBranches();
}

void TokenStream::readEndif() {
    auto& conditionals = levels_.back().conditionals;
    if (conditionals.empty()) return problems_.error(place(), "found $endif without an $ifdef before");
    conditionals.pop_back();
}

/// Skips to the branch of the innermost conditional that is to be read, or to its end.
void TokenStream::skipBranches() {
    auto& conditionals = levels_.back().conditionals;
    std::size_t inner = 0;
    while (scanner().skipToDirective()) {
        scanner().next(token_);
        if (isIf(token_.text)) ++inner;
        if (inner > 0) {
            if (token_.text == "$endif") --inner;
            scanner().takeLine();
            continue;
        }
        if (token_.text == "$endif") return conditionals.pop_back();
        if (!isElse(token_.text) || conditionals.back().taken) {
            scanner().takeLine();
            continue;
        }
        conditionals.back().taken = token_.text == "$else" || evaluate(token_.text);
        conditionals.back().elseSeen = token_.text == "$else";
        if (conditionals.back().taken) return;
    }
}

}  // namespace lumorender
