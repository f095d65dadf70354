#include "parsing/file_search.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace lumorender {

namespace {

using Path = std::filesystem::path;

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), lower);
    return text;
}

bool hasDrive(std::string_view name) {
    return name.size() > 1 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0])) != 0;
}

std::string withSlashes(std::string name) {
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

/// Folders and name, without a drive or a root.
std::vector<std::string> partsOf(const std::string& name) {
    std::vector<std::string> parts;
    std::string part;
    for (const char c : withSlashes(hasDrive(name) ? name.substr(2) : name) + "/") {
        if (c != '/') {
            part += c;
            continue;
        }
        if (!part.empty() && part != ".") parts.push_back(part);
        part.clear();
    }
    return parts;
}

bool isThere(const Path& file) {
    std::error_code ignored;
    return std::filesystem::exists(file, ignored);
}

bool isFile(const Path& file) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(file, ignored);
}

/// Calls `visit` with the name's last parts in each place, most parts first, until it says true.
template <class Visit>
void visitTails(const std::string& name, std::span<const Path> places, const Visit& visit) {
    const std::vector<std::string> parts = partsOf(name);
    for (std::size_t first = 0; first < parts.size(); ++first) {
        // A tail that leaves its place would find what nobody offers.
        const auto from = parts.begin() + static_cast<std::ptrdiff_t>(first);
        if (std::find(from, parts.end(), "..") != parts.end()) continue;
        Path tail;
        std::for_each(from, parts.end(), [&](const std::string& part) { tail /= part; });
        for (const Path& place : places)
            if (visit(place / tail)) return;
    }
}

bool isImage(const Path& file) {
    static constexpr std::array kEndings = {".bmp", ".ct",  ".exr", ".gif", ".hdr", ".iff",  ".jpeg", ".jpg",
                                            ".map", ".pgm", ".pic", ".png", ".ppm", ".psd",  ".rgb",  ".rgba",
                                            ".rla", ".sgi", ".st",  ".tga", ".tif", ".tiff", ".webp"};
    const std::string ending = lowered(file.extension().string());
    return std::any_of(kEndings.begin(), kEndings.end(), [&](const char* known) { return ending == known; });
}

/// In the folder of `wanted`, which does not exist itself.
Path similarBeside(const Path& wanted) {
    constexpr int kMostEntries = 10000;
    const std::string stem = lowered(wanted.stem().string());
    Path best;
    std::error_code problem;
    std::filesystem::directory_iterator entry(wanted.parent_path().empty() ? Path(".") : wanted.parent_path(), problem);
    for (int i = 0; !problem && entry != std::filesystem::directory_iterator() && i < kMostEntries; ++i) {
        const Path& file = entry->path();
        const bool fits = lowered(file.stem().string()) == stem && isImage(file) && isFile(file);
        if (fits && (best.empty() || file < best)) best = file;  // whatever order the folder has
        entry.increment(problem);
    }
    return best;
}

}  // namespace

std::vector<PathSubstitution> readSubstitutions(std::string_view text) {
    std::vector<PathSubstitution> result;
    while (!text.empty()) {
        const std::string_view one = text.substr(0, text.find(';'));
        text.remove_prefix(std::min(text.size(), one.size() + 1));
        const std::size_t equal = one.find('=');
        if (equal == std::string_view::npos || equal == 0) continue;
        result.push_back({std::string(one.substr(0, equal)), std::string(one.substr(equal + 1))});
    }
    return result;
}

std::string substitute(const std::string& name, std::span<const PathSubstitution> substitutions) {
    for (const PathSubstitution& each : substitutions) {
        std::string from = withSlashes(each.from), begin = withSlashes(name.substr(0, from.size()));
        if (hasDrive(from)) {
            from = lowered(from);
            begin = lowered(begin);
        }
        while (from.size() > 1 && from.back() == '/') from.pop_back();
        if (!begin.starts_with(from)) continue;
        std::string rest = withSlashes(name.substr(from.size()));
        if (!rest.empty() && rest.front() != '/' && from.back() != '/') continue;
        rest.erase(0, rest.find_first_not_of('/'));
        return rest.empty() || each.to.empty() || each.to.ends_with('/') ? each.to + rest : each.to + "/" + rest;
    }
    return name;
}

Path searchFile(const std::string& name, std::span<const Path> places) {
    for (const Path& place : places)
        if (isThere(place / name)) return place / name;
    Path found;
    visitTails(name, places, [&](const Path& file) {
        if (isFile(file)) found = file;
        return !found.empty();
    });
    return found;
}

Path similarImage(const std::string& name, std::span<const Path> places) {
    Path found = similarBeside(name);
    if (!found.empty()) return found;
    visitTails(name, places, [&](const Path& file) {
        found = similarBeside(file);
        return !found.empty();
    });
    return found;
}

}  // namespace lumorender
