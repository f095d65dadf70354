// The one way in which files that scenes name are read.
#pragma once

#include <filesystem>
#include <string>

namespace lumorender {

/// Why the file is not to be read: missing, a folder, a pipe or a device (a scene could make the host wait on them for
/// ever), larger than `limits().fileBytes`, not ours to read. Empty where nothing speaks against it. Links are
/// followed. For libraries that open files for themselves.
std::string obstacleTo(const std::filesystem::path& file);

/// The ending of the file's name, wherever links lead to, in small letters: ".mi". It tells what a file says that it is.
/// Messages show parts of scenes and light profiles, but not of files that are named otherwise.
std::string endingOf(const std::filesystem::path& file);

/// Reads a file as a whole, under the same conditions.
/// @return empty, or why it failed. A wish to stop (support/abort.h) is a failure, too.
std::string readFile(const std::filesystem::path& file, std::string& content);

}  // namespace lumorender
