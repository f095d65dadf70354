// Chooses the writer of an image file.
#include "image/image.h"
#include "image/layers.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <cctype>

namespace lumorender {
namespace {

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

    WholeFile target(file.path);
    if (format == "exr")
        writeExr(target, file, window, metadata);
    else if (isNativeFormat(format))
        writeNative(target, format, *file.layers.front(), window);
    else
        writeCommon(target, format, file, window, metadata);
    target.keep();
}

}  // namespace

std::string reasonOfFailure(const std::function<void()>& write) noexcept {
    try {
        write();
        return {};
    } catch (const std::exception& problem) {
        return problem.what();
    } catch (...) {
        return "unknown reason";
    }
}

std::string writeImageFile(const ImageFile& file, const DataWindow& window, const Metadata& metadata) {
    return reasonOfFailure([&] { writeAs(formatOf(file), file, window, metadata); });
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
