// What can go wrong with files, told before the render.
#include "render/output_plan.h"

#include "image/image_library.h"
#include "support/messages.h"
#include "support/whole_file.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <map>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

/// What of the file is wrong by itself; empty where nothing is.
std::string problemOf(const PlannedFile& planned, const OutputRules& rules, const DataWindow& window) {
    const ImageFile& file = planned.file;
    if (const std::string problem = problemOfFormat(file); !problem.empty()) return problem;
    const FileFormat& format = *formatOf(file);
    if (format.writer == FileFormat::Writer::Nothing) return {};
    if (const std::string objection = objectionToPicture(file.path, format, planned.by, rules); !objection.empty())
        return objection;
    if (const std::string problem = problemOfTarget(file.path); !problem.empty()) return problem;
    if (format.writer == FileFormat::Writer::Library || planned.isPreview)
        if (const std::string problem = reasonOfFailure(imageLibrary); !problem.empty()) return problem;
    if (planned.isPreview) return {};
    for (const FileLayer& layer : file.layers)
        if (const std::string problem = problemOfType(format, layer.type); !problem.empty()) return problem;
    return problemOfSize(format, window.fullWidth, window.fullHeight);
}

bool isWritten(const PlannedFile& planned) {
    const FileFormat* format = formatOf(planned.file);
    return format && format->writer != FileFormat::Writer::Nothing;
}

/// Settings that the format has no place for.
void tellOfSettings(const PlannedFile& planned) {
    const ImageFile& file = planned.file;
    const FileFormat* format = formatOf(file);
    if (!format || !isWritten(planned)) return;
    const auto tell = [&](bool isGiven, bool isKept, const char* what) {
        if (isGiven && !isKept)
            warning("IMG", "{}: {} has no effect on {} files (\"{}\")", planned.where, what, format->name(),
                    file.path.string());
    };
    tell(file.quality >= 0, format->quality, "quality");
    tell(file.density > 0, format->density, "dpi");
    tell(file.tight, format->writer == FileFormat::Writer::Exr, "dod");
    if (file.compression.empty() || hasWord(format->compressions, file.compression)) return;
    const std::string known(format->compressions);
    warning("IMG", "{}: compression \"{}\" has no effect on {} files (\"{}\"), {}", planned.where, file.compression,
            format->name(), file.path.string(),
            known.empty() ? "which have one of their own" : "expected one of " + known);
}

double bytesOf(const PlannedFile& planned, const DataWindow& window) {
    double bytes = 0;
    for (const FileLayer& layer : planned.file.layers) {
        const PixelFormat pixel = pixelFormat(layer.type);
        bytes += (pixel.half ? 2.0 : pixel.bitDepth / 8.0) * pixel.channels * window.fullWidth * window.fullHeight;
    }
    return bytes;
}

/// Pictures may take less when they are compressed, so this is no error.
void warnOfFullDisks(const std::vector<PlannedFile>& files, const DataWindow& window) {
    struct Disk {
        double needed = 0;
        fs::path folder;
    };
    std::map<dev_t, Disk> disks;
    for (const PlannedFile& planned : files) {
        struct stat info;
        const fs::path folder = resolvedPath(planned.file.path).parent_path();
        if (!isWritten(planned) || planned.isPreview || stat(folder.c_str(), &info) != 0) continue;
        Disk& disk = disks[info.st_dev];
        disk.needed += bytesOf(planned, window);
        disk.folder = folder;
    }
    for (const auto& [device, disk] : disks) {
        struct statvfs space;
        if (statvfs(disk.folder.c_str(), &space) != 0) continue;
        const double left = static_cast<double>(space.f_bavail) * static_cast<double>(space.f_frsize);
        if (disk.needed > left)
            warning("IMG", "\"{}\" has {:.1f} MB left, and the pictures take up to {:.1f} MB", disk.folder.string(),
                    left / 1e6, disk.needed / 1e6);
    }
}

}  // namespace

bool checkFiles(const std::vector<PlannedFile>& files, const OutputRules& rules, const DataWindow& window) {
    bool good = true;
    const auto refuse = [&](const PlannedFile& planned, const std::string& problem) {
        error("IMG", "{}: cannot write \"{}\": {}", planned.where, planned.file.path.string(), problem);
        good = false;
    };
    std::map<fs::path, std::string> named;
    for (const PlannedFile& planned : files) {
        if (const std::string problem = problemOf(planned, rules, window); !problem.empty()) refuse(planned, problem);
        tellOfSettings(planned);
        if (!isWritten(planned)) continue;
        const auto [other, isFirst] = named.emplace(resolvedPath(planned.file.path), planned.where);
        if (!isFirst)
            refuse(planned, fmt::format("{} names the same file, which holds one picture only (exr holds several)",
                                        other->second));
    }
    warnOfFullDisks(files, window);
    return good;
}

}  // namespace lumorender
