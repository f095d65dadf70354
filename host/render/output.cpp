#include "render/output.h"

#include "support/messages.h"

namespace lumorender {

namespace {

std::string writePreviewFile(const PlannedFile& planned, const DataWindow& window) {
    const std::vector<FileLayer>& layers = planned.file.layers;
    if (layers.size() == 1) return writePreview(planned.file.path, *layers.front().image, window);
    std::vector<const LayerImage*> images;
    for (const FileLayer& layer : layers) images.push_back(layer.image);
    return writeContactSheet(planned.file.path, images, window);
}

/// What may be written was checked before the render; much may have changed since then.
std::string write(const PlannedFile& planned, const OutputRules& rules, const DataWindow& window,
                  const Metadata& metadata) {
    if (const FileFormat* format = formatOf(planned.file)) {
        if (format->writer == FileFormat::Writer::Nothing) return {};
        const std::string objection = objectionToPicture(planned.file.path, *format, planned.by, rules);
        if (!objection.empty()) return objection;
    }
    return planned.isPreview ? writePreviewFile(planned, window) : writeImageFile(planned.file, window, metadata);
}

}  // namespace

bool writeFiles(const std::vector<PlannedFile>& files, const OutputRules& rules, const DataWindow& window,
                const Metadata& metadata) {
    bool good = true;
    for (PlannedFile planned : files) {
        std::filesystem::path& path = planned.file.path;
        if (metadata.contains("incomplete")) path = markedName(path, "incomplete");
        const std::string reason = write(planned, rules, window, metadata);
        if (reason.empty())
            tellWritten("IMG", path.string());
        else
            error("IMG", "cannot write \"{}\": {}", path.string(), reason);
        good = good && reason.empty();
    }
    return good;
}

}  // namespace lumorender
