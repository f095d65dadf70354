// Chooses the writer of an image file, and keeps half-written files out of sight.
#include "image/image.h"
#include "image/layers.h"

#include "support/messages.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <system_error>

namespace lumorender {
namespace {

namespace fs = std::filesystem;

std::string systemReason(int code) { return std::generic_category().message(code); }

/// A name that no other write of this or another process uses. The ending stays: some libraries look at it.
fs::path temporaryName(const fs::path& target) {
    static std::atomic<int> counter{0};
    fs::path name = target;
    return name.replace_filename(
        fmt::format(".{}.part{}-{}{}", target.stem().string(), getpid(), ++counter, target.extension().string()));
}

/// Creates the empty file ourselves, because the system's reason is clearer than the image libraries' ones.
void createEmpty(const fs::path& path) {
    const int descriptor = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (descriptor < 0) throw Failure(systemReason(errno));
    close(descriptor);
}

void checkTarget(const fs::path& target) {
    if (target.filename().empty()) throw Failure("the path names no file");
    std::error_code ignored;
    const fs::path folder = target.parent_path();
    if (!folder.empty() && !fs::exists(folder, ignored))
        throw Failure(fmt::format("the folder '{}' does not exist", folder.string()));
    if (fs::exists(target, ignored) && !fs::is_regular_file(target, ignored))
        throw Failure(fs::is_directory(target, ignored) ? "it is a folder" : "it is no plain file");
}

std::string formatOf(const ImageFile& file) {
    std::string format = file.format;
    if (format.empty() && file.path.has_extension()) format = file.path.extension().string().substr(1);
    std::transform(format.begin(), format.end(), format.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return format;
}

void warnAboutOtherLayers(const ImageFile& file, const std::string& format) {
    if (file.layers.size() > 1)
        warning("IMG", "{}: the format {} holds one layer; {} more are left out (exr holds them all)",
                file.path.string(), format, file.layers.size() - 1);
}

void writeAs(const std::string& format, const ImageFile& file, const DataWindow& window, const Metadata& metadata) {
    if (format == "null") return;
    if (format.empty()) throw Failure("no file format is given, and the name has no ending");
    if (format != "exr" && !isNativeFormat(format) && !isCommonFormat(format))
        throw Failure(fmt::format("'{}' is no image format that can be written", format));
    if (file.layers.empty()) throw Failure("there is no layer to write");
    for (const LayerImage* layer : file.layers) checkLayer(*layer, window);
    if (format != "exr") warnAboutOtherLayers(file, format);

    writeThroughTemporary(file.path, [&](const fs::path& path) {
        if (format == "exr")
            writeExr(path, file, window, metadata);
        else if (isNativeFormat(format))
            writeNative(path, format, *file.layers.front(), window);
        else
            writeCommon(path, format, file, window, metadata);
    });
}

}  // namespace

void writeThroughTemporary(const fs::path& target, const std::function<void(const fs::path&)>& write) {
    const fs::path resolved = fs::weakly_canonical(target);
    checkTarget(resolved);
    const fs::path temporary = temporaryName(resolved);
    createEmpty(temporary);
    try {
        write(temporary);
        std::error_code problem;
        fs::rename(temporary, resolved, problem);
        if (problem) throw Failure(problem.message());
    } catch (...) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        throw;
    }
}

std::string reasonOfFailure(const fs::path& path, const std::function<void()>& write) noexcept {
    try {
        write();
        return {};
    } catch (const std::exception& problem) {
        return fmt::format("cannot write '{}': {}", path.string(), problem.what());
    } catch (...) {
        return fmt::format("cannot write '{}': unknown reason", path.string());
    }
}

std::string writeImageFile(const ImageFile& file, const DataWindow& window, const Metadata& metadata) {
    return reasonOfFailure(file.path, [&] { writeAs(formatOf(file), file, window, metadata); });
}

miImg_type naturalImageType(const std::string& fileFormat) {
    static const std::map<std::string, miImg_type> kExceptions{
        {"exr", miIMG_TYPE_RGBA_H}, {"hdr", miIMG_TYPE_RGBE}, {"jpg", miIMG_TYPE_RGB}, {"jpeg", miIMG_TYPE_RGB},
        {"ppm", miIMG_TYPE_RGB},    {"bmp", miIMG_TYPE_RGB},  {"zt", miIMG_TYPE_Z},    {"nt", miIMG_TYPE_N},
        {"mt", miIMG_TYPE_M},       {"tt", miIMG_TYPE_TAG},   {"st", miIMG_TYPE_A},    {"bit", miIMG_TYPE_BIT}};
    if (const auto found = kExceptions.find(fileFormat); found != kExceptions.end()) return found->second;
    return isCommonFormat(fileFormat) || isNativeFormat(fileFormat) ? miIMG_TYPE_RGBA : miIMG_TYPE_COUNT;
}

}  // namespace lumorender
