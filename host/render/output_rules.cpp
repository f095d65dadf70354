#include "render/output_rules.h"

#include "gathering/final_gather_file.h"
#include "image/signatures.h"
#include "passes/pass_file.h"
#include "photons/photon_file.h"
#include "support/whole_file.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp =
    "-o names the picture, -file_dir another folder, and -allow_paths lets the scene write where it wants";
constexpr const char* kHelpForPoints =
    "-file_dir names another folder, and -allow_paths lets the scene write where it wants";

/// Endings of files of points and photons. Others could be those of programs, whose text a scene may know how to put into points.
constexpr std::string_view kPointEndings = "fg fgmap fgm map points gather dat bin";
constexpr std::string_view kPassEndings = "pass mipass samples smp dat bin";
constexpr std::string_view kPhotonEndings = "pm pmap pmf map photons photon gi dat bin";

bool isBelow(const fs::path& path, const fs::path& folder) {
    const auto [at, rest] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
    return (at == folder.end() || at->empty()) && rest != path.end();
}

std::string objectionToPlace(const fs::path& resolved, const OutputRules& rules) {
    return rules.ownFiles.contains(resolved) ? "the picture is made from this file" : "";
}

std::string objectionToFolder(const fs::path& resolved, const OutputRules& rules, const char* help) {
    const fs::path folder = resolvedPath(rules.folder.empty() ? "." : rules.folder);
    if (isBelow(resolved, folder)) return {};
    if (!rules.otherFolder.empty() && isBelow(resolved, resolvedPath(rules.otherFolder))) return {};
    return fmt::format("it is outside of the output folder \"{}\"; {}", folder.string(), help);
}

bool isThere(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

/// For files that keep what a render has found out.
std::string objectionToKept(const fs::path& path, const OutputRules& rules, std::string_view endings, const char* what,
                            bool (*isOne)(const fs::path&)) {
    const fs::path resolved = resolvedPath(path);
    const std::string place = objectionToPlace(resolved, rules);
    if (!place.empty() || rules.anywhere) return place;
    if (const std::string outside = objectionToFolder(resolved, rules, kHelpForPoints); !outside.empty())
        return outside;
    const std::string ending = resolved.extension().string();
    if (ending.empty() || !hasWord(endings, ending.substr(1)))
        return fmt::format("its name does not end as files of {} do (one of {}); {}", what, endings, kHelpForPoints);
    if (isThere(resolved) && !isOne(resolved))
        return fmt::format("the file that is there holds no {}; {}", what, kHelpForPoints);
    return {};
}

}  // namespace

fs::path OutputRules::located(const fs::path& name) const {
    return name.is_absolute() || folder.empty() ? name : folder / name;
}

std::string objectionToPicture(const fs::path& path, const FileFormat& format, NamedBy by, const OutputRules& rules) {
    const fs::path resolved = resolvedPath(path);
    const std::string place = objectionToPlace(resolved, rules);
    if (!place.empty() || by == NamedBy::User || rules.anywhere) return place;
    if (const std::string outside = objectionToFolder(resolved, rules, kHelp); !outside.empty()) return outside;
    if (!endingFits(resolved, format))
        return fmt::format("its name does not end as files of the format {} do (.{}); {}", format.name(), format.name(),
                           kHelp);
    if (isThere(resolved) && !isImageFile(resolved))
        return fmt::format("the file that is there is no image; {}", kHelp);
    return {};
}

std::string objectionToPoints(const fs::path& path, const OutputRules& rules) {
    return objectionToKept(path, rules, kPointEndings, "final gather points", isGatherFile);
}

std::string objectionToPhotons(const fs::path& path, const OutputRules& rules) {
    return objectionToKept(path, rules, kPhotonEndings, "photon maps", isPhotonFile);
}

std::string objectionToPass(const fs::path& path, const OutputRules& rules) {
    return objectionToKept(path, rules, kPassEndings, "samples of passes", isPassFile);
}

}  // namespace lumorender
