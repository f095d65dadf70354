// Finds files that scenes name, also where a scene comes from another machine.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// The beginning of paths on another machine, and what takes its place on this one.
struct PathSubstitution {
    std::string from, to;
};

/// "/old/place=/new;C:\proj=/proj", in order. What has no = is left out.
std::vector<PathSubstitution> readSubstitutions(std::string_view text);

/// The name with the first substitution that fits its beginning, up to a whole folder; / and \ are alike, and after a
/// drive's letter capitals do not matter.
std::string substitute(const std::string& name, std::span<const PathSubstitution> substitutions);

/// The name in the first of the places that has it. Failing this its last parts, as many as possible, in the first
/// place that has those: "/old/place/t.png", "C:\place\t.png" and "\\server\place\t.png" are looked for as
/// "place/t.png", then as "t.png". Empty where nothing is found.
std::filesystem::path searchFile(const std::string& name, std::span<const std::filesystem::path> places);

/// Of an image that is not found: one of the same name, but for its ending and capitals, in one of the places, or
/// empty. Scenes do not get it, people may mean it.
std::filesystem::path similarImage(const std::string& name, std::span<const std::filesystem::path> places);

}  // namespace lumorender
