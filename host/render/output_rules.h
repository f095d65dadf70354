// Where renders may write. A scene is data from anywhere: what it names is written below the output folder only, as an
// image, and over images only. What users name themselves is their business, except over the scene that they render.
#pragma once

#include "image/file_formats.h"

#include <filesystem>
#include <set>
#include <string>

namespace lumorender {

enum class NamedBy { Scene, User };

struct OutputRules {
    std::filesystem::path folder;              ///< where relative names begin; empty = the current folder
    std::filesystem::path otherFolder;         ///< another one that may be written to; empty = none
    bool anywhere = false;                     ///< scenes write as users do
    std::set<std::filesystem::path> ownFiles;  ///< resolved: what the picture is made from

    std::filesystem::path located(const std::filesystem::path& name) const;
};

/// Why a picture may not be written to the path, and what helps; empty where it may. Looks at what links lead to.
std::string objectionToPicture(const std::filesystem::path& path, const FileFormat& format, NamedBy by,
                               const OutputRules& rules);

/// The same for a file of gathered points that a scene names.
std::string objectionToPoints(const std::filesystem::path& path, const OutputRules& rules);
std::string objectionToPhotons(const std::filesystem::path& path, const OutputRules& rules);
/// ... and of samples of passes, which a scene may remove, too.
std::string objectionToPass(const std::filesystem::path& path, const OutputRules& rules);

}  // namespace lumorender
