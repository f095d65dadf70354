#include "parsing/registry.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdlib>
#include <utility>

namespace lumorender {

namespace {

/// What scenes may ask of the program, and cannot change.
constexpr std::pair<std::string_view, std::string_view> kOwnKeys[] = {
    {"_MI_RAY_VERSION", kRendererVersion},
    {"_MI_RAY_MAJOR_VERSION", kRendererVersion.substr(0, kRendererVersion.find('.'))},
    {"_MI_RAY_SYSTEM", "linux"},
    {"_MI_RAY_PLATFORM", sizeof(void*) == 8 ? "linux-64" : "linux-32"},
};

constexpr int kDeepestExpansion = 16;
constexpr std::size_t kLongestExpansion = 16384;  // entries that name each other twice would grow without end,
constexpr int kMostExpansions = 1000;             // or go on for ever without growing

std::string environment(std::string_view name) {
    const char* value = std::getenv(std::string(name).c_str());
    return value ? value : "";
}

std::string_view withoutBraces(std::string_view name) {
    return name.starts_with('{') && name.ends_with('}') ? name.substr(1, name.size() - 2) : name;
}

std::string environmentOf(std::string_view key) {
    if (!key.starts_with('?')) return environment(key);
    return std::getenv(std::string(key.substr(1)).c_str()) ? "1" : "";
}

long takeField(std::string_view& version) {
    long field = 0;
    const auto [behind, code] = std::from_chars(version.data(), version.data() + version.size(), field);
    version.remove_prefix(static_cast<std::size_t>(behind - version.data()));
    const auto dot = version.find('.');
    version.remove_prefix(dot == std::string_view::npos ? version.size() : dot + 1);
    return code == std::errc() ? field : 0;
}

}  // namespace

void Registry::setVariable(std::string_view name, std::string_view value) { variables_[std::string(name)] = value; }

void Registry::clearVariable(std::string_view name) { variables_.erase(std::string(name)); }

void Registry::define(std::string_view name, Entry entry) {
    entries_[std::string(withoutBraces(name))] = std::move(entry);
}

Registry::Entry* Registry::find(std::string_view name) {
    const auto found = entries_.find(withoutBraces(name));
    return found == entries_.end() ? nullptr : &found->second;
}

std::string Registry::conditionValue(std::string_view key) {
    if (key.find('{') != std::string_view::npos) {
        std::vector<std::string> missing;
        return expand(key, missing);
    }
    const auto found = variables_.find(key);
    return found == variables_.end() ? std::string() : found->second;
}

std::string Registry::expand(std::string_view text, std::vector<std::string>& missing) {
    std::string result;
    expansions_ = 0;
    expandInto(result, text, 0, missing);
    return result;
}

std::vector<std::string> Registry::folders(std::string_view key) {
    std::vector<std::string> missing, result(1);
    for (const char c : find(key) ? expand(fmt::format("{{{}}}", key), missing) : std::string()) {
        if (c != ':' && c != ';')
            result.back() += c;
        else
            result.emplace_back();
    }
    std::erase(result, std::string());
    return result;
}

void Registry::expandInto(std::string& result, std::string_view text, int depth, std::vector<std::string>& missing) {
    while (!text.empty() && result.size() < kLongestExpansion) {
        const bool isVariable = text.starts_with("${");
        if (!isVariable && text.front() != '{') {
            result.push_back(text.front());
            text.remove_prefix(1);
            continue;
        }
        const auto open = isVariable ? 2u : 1u;
        const auto close = text.find('}', open);
        if (close == std::string_view::npos) {
            result += text;
            return;
        }
        const std::string_view key = text.substr(open, close - open);
        if (isVariable)
            result += environmentOf(key);
        else if (key.starts_with('$'))
            result += environmentOf(key.substr(1));
        else
            expandKey(result, key, depth, missing);
        text.remove_prefix(close + 1);
    }
}

void Registry::expandKey(std::string& result, std::string_view key, int depth, std::vector<std::string>& missing) {
    for (const auto& [name, value] : kOwnKeys)
        if (key == name) {
            result += value;
            return;
        }
    if (++expansions_ > kMostExpansions) return;
    if (const Entry* entry = find(key); entry && depth < kDeepestExpansion)
        for (const Item& item : entry->items)
            if (item.kind == "value") return expandInto(result, item.text, depth + 1, missing);
    if (!key.starts_with('_')) missing.emplace_back(key);
}

int compareWithOwnVersion(std::string_view wanted) {
    std::string_view own = kRendererVersion;
    while (!own.empty() || !wanted.empty()) {
        const long ownField = takeField(own);
        const long wantedField = takeField(wanted);
        if (ownField != wantedField) return wantedField < ownField ? -1 : 1;
    }
    return 0;
}

}  // namespace lumorender
