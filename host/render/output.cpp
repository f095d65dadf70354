#include "render/output.h"

#include "support/messages.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace lumorender {

namespace {

std::filesystem::path located(const std::filesystem::path& name, const OutputSettings& settings) {
    return name.is_absolute() || settings.fileDirectory.empty() ? name : settings.fileDirectory / name;
}

bool isExr(const ImageFile& file) {
    return file.format == "exr" || (file.format.empty() && file.path.extension() == ".exr");
}

/// Adds the layer to the file of that name if it is one that holds layers, else as a file of its own.
void addLayer(std::vector<ImageFile>& files, ImageFile file, const LayerImage& layer) {
    const auto same = std::find_if(files.begin(), files.end(), [&](const ImageFile& other) {
        return other.path == file.path && isExr(other) && isExr(file);
    });
    if (same != files.end()) {
        same->layers.push_back(&layer);
        return;
    }
    file.layers.push_back(&layer);
    files.push_back(std::move(file));
}

/// The slot that an `output` statement's type means: the primary color, `fbN`, or the buffer of that kind.
int slotOfType(const BufferLayout& layout, std::string type) {
    if (!type.empty() && (type[0] == '+' || type[0] == '-')) type.erase(0, 1);
    for (std::size_t i = 0; i < layout.slots.size(); ++i)
        if (layout.slots[i].description.name == type && static_cast<int>(i) != layout.primary)
            return static_cast<int>(i);
    if (type.rfind("fb", 0) == 0) return -1;
    return layout.primary;
}

}  // namespace

std::vector<ImageFile> planFiles(const BufferLayout& layout, const CameraDetail* camera,
                                 const std::vector<LayerImage>& images, const OutputSettings& settings) {
    std::vector<ImageFile> files;
    const auto addSlot = [&](std::size_t slot) {
        const FrameBufferDescription& buffer = layout.slots[slot].description;
        if (buffer.filename.empty()) return;
        ImageFile file;
        file.path = located(buffer.filename, settings);
        file.format = buffer.filetype;
        file.compression = buffer.compression;
        file.quality = buffer.quality;
        file.gamma = settings.gamma;
        addLayer(files, std::move(file), images[slot]);
    };
    const auto primary = static_cast<std::size_t>(layout.primary);
    addSlot(primary);
    for (std::size_t slot = 0; slot < layout.slots.size(); ++slot)
        if (slot != primary) addSlot(slot);

    if (camera)
        for (const OutputFile& output : camera->files) {
            const int slot = slotOfType(layout, output.type);
            if (slot < 0) {
                error("IMG", "output of type \"{}\" to \"{}\": there is no such frame buffer", output.type,
                      output.file);
                continue;
            }
            ImageFile file;
            file.path = located(output.file, settings);
            file.format = output.format;
            file.compression = output.compression;
            file.quality = output.quality;
            file.gamma = settings.gamma;
            addLayer(files, std::move(file), images[static_cast<std::size_t>(slot)]);
        }

    if (!settings.fileName.empty()) {
        if (files.empty()) files.push_back({{}, {}, {}, -1, settings.gamma, {&images[primary]}});
        const std::filesystem::path old = files.front().path;
        files.front().path = located(settings.fileName, settings);
        if (settings.fileName.extension() != old.extension()) files.front().format.clear();
    }
    if (!settings.fileType.empty() && !files.empty()) {
        files.front().format = settings.fileType;
        if (settings.fileName.empty()) files.front().path.replace_extension(settings.fileType);
    }
    return files;
}

bool checkFolders(const std::vector<ImageFile>& files) {
    bool good = true;
    for (const ImageFile& file : files) {
        const std::filesystem::path folder = file.path.has_parent_path() ? file.path.parent_path() : ".";
        if (access(folder.c_str(), W_OK) == 0) continue;
        error("IMG", "cannot write \"{}\": folder \"{}\": {}", file.path.string(), folder.string(),
              std::generic_category().message(errno));
        good = false;
    }
    return good;
}

namespace {

bool report(const std::filesystem::path& path, const std::string& reason) {
    if (reason.empty())
        tellWritten("IMG", path.string());
    else
        error("IMG", "cannot write \"{}\": {}", path.string(), reason);
    return reason.empty();
}

bool writeFiles(const std::vector<ImageFile>& files, const DataWindow& window, const Metadata& metadata) {
    bool good = true;
    for (const ImageFile& file : files) good = report(file.path, writeImageFile(file, window, metadata)) && good;
    if (files.empty()) warning("IMG", "the camera names no file to write: nothing is kept of this render");
    return good;
}

bool writePreviews(const std::vector<ImageFile>& files, const std::vector<LayerImage>& images, int primary,
                   const DataWindow& window) {
    if (files.empty()) return true;
    const std::filesystem::path stem = std::filesystem::path(files.front().path).replace_extension();
    const std::filesystem::path picture = stem.string() + ".png";
    bool good = true;
    if (picture != files.front().path)
        good = report(picture, writePreview(picture, images[static_cast<std::size_t>(primary)], window));
    if (images.size() < 2) return good;
    std::vector<const LayerImage*> layers;
    for (const LayerImage& image : images) layers.push_back(&image);
    const std::filesystem::path sheet = stem.string() + "-passes.png";
    return report(sheet, writeContactSheet(sheet, layers, window)) && good;
}

}  // namespace

bool writePicture(const std::vector<ImageFile>& files, std::vector<LayerImage>& images, int primary,
                  const DataWindow& window, const Metadata& metadata, bool previews) {
    // The primary picture has the plain channels R, G, B and A; its name is for people.
    std::string& name = images[static_cast<std::size_t>(primary)].name;
    const std::string shownName = std::exchange(name, {});
    const bool good = writeFiles(files, window, metadata);
    name = shownName;
    return (!previews || writePreviews(files, images, primary, window)) && good;
}

}  // namespace lumorender
