// Chooses the writer of an image file.
#include "image/file_formats.h"
#include "image/image_library.h"
#include "image/layers.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>

namespace lumorender {
namespace {

void warnAboutOtherLayers(const ImageFile& file, const FileFormat& format) {
    if (file.layers.size() > 1)
        warning("IMG", "{}: the format {} holds one layer; {} more are left out (exr holds them all)",
                file.path.string(), format.name(), file.layers.size() - 1);
}

void check(const ImageFile& file, const FileFormat& format, const DataWindow& window) {
    if (file.layers.empty()) throw Failure("there is no layer to write");
    for (const FileLayer& layer : file.layers) {
        checkLayer(*layer.image, window);
        if (const std::string problem = problemOfType(format, layer.type); !problem.empty()) throw Failure(problem);
    }
    const std::string problem = problemOfSize(format, window.fullWidth, window.fullHeight);
    if (!problem.empty()) throw Failure(problem);
}

void writeFile(const ImageFile& file, const DataWindow& window, const Metadata& metadata) {
    using Writer = FileFormat::Writer;
    if (const std::string problem = problemOfFormat(file); !problem.empty()) throw Failure(problem);
    const FileFormat& format = *formatOf(file);
    if (format.writer == Writer::Nothing) return;
    check(file, format, window);
    if (format.writer != Writer::Exr) warnAboutOtherLayers(file, format);

    WholeFile target(file.path);
    switch (format.writer) {
        case Writer::Exr: writeExr(target, file, window, metadata); break;
        case Writer::Pic: writePic(target, file, window, metadata); break;
        case Writer::Native: writeNative(target, format, file, window); break;
        default: imageLibrary().writeFile(target, format, file, window, metadata);
    }
    target.keep();
}

}  // namespace

std::vector<std::uint32_t> fullLabels(const LayerImage& layer, const DataWindow& window, bool fromTop) {
    const auto fullWidth = static_cast<std::size_t>(window.fullWidth), width = static_cast<std::size_t>(window.width);
    std::vector<std::uint32_t> image(fullWidth * static_cast<std::size_t>(window.fullHeight), 0);
    for (int row = 0; row < window.height; ++row) {
        const int y = window.y0 + row, fileRow = fromTop ? window.fullHeight - 1 - y : y;
        std::copy_n(layer.labels.data() + static_cast<std::size_t>(row) * width, width,
                    image.data() + static_cast<std::size_t>(fileRow) * fullWidth + static_cast<std::size_t>(window.x0));
    }
    return image;
}

std::string problemOfFormat(const ImageFile& file) {
    if (formatOf(file)) return {};
    std::string given = file.format;
    if (given.empty() && file.path.has_extension()) given = file.path.extension().string().substr(1);
    if (given.empty()) return "no file format is given, and the name has no ending; expected one of " + formatNames();
    return fmt::format("'{}' is no image format that can be written; expected one of {}", given, formatNames());
}

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
    return reasonOfFailure([&] { writeFile(file, window, metadata); });
}

}  // namespace lumorender
