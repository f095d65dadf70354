#include "render/output_plan.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>

namespace lumorender {

namespace {

namespace fs = std::filesystem;

/// "shot.####.exr" and 12 become "shot.0012.exr": one digit or more for each mark.
fs::path withFrame(const fs::path& name, int frame) {
    std::string text = name.string();
    const std::size_t first = text.find('#');
    if (first == std::string::npos) return name;
    const std::size_t end = std::min(text.find_first_not_of('#', first), text.size());
    return text.replace(first, end - first, fmt::format("{:0{}}", frame, end - first));
}

std::string endingText(const fs::path& name) {
    const std::string ending = name.extension().string();
    return ending.empty() ? ending : ending.substr(1);
}

class Planner {
public:
    Planner(const BufferLayout& layout, const std::vector<LayerImage>& images, const OutputSettings& settings)
        : layout_(layout), images_(images), settings_(settings) {}

    void addBuffer(std::size_t slot) {
        const FrameBufferDescription& buffer = layout_.slots[slot].description;
        if (buffer.filename.empty()) return;
        PlannedFile planned = makePlanned(buffer.filename, buffer.filetype, buffer);
        planned.ofBuffers = true;
        FileLayer layer(&images_[slot]);
        layer.encoding = layout_.slots[slot].encoding;
        if (isPrimary(slot)) layer.name.clear();
        add(std::move(planned), std::move(layer));
    }

    void addOutput(const OutputFile& output) {
        const OutputKind kind = kindOf(output);
        const int slot = layout_.slotOf(kind);
        if (slot < 0) {
            error("IMG",
                  "{}: output of type \"{}\" to \"{}\": there is no such frame buffer, expected frame buffer {} in the "
                  "options",
                  output.where, output.type, output.file, kind.number);
            complete_ = false;
            return;
        }
        const BufferSlot& found = layout_.slots[static_cast<std::size_t>(slot)];
        const miImg_type type = kind.number >= 0 ? found.description.datatype : kind.type;
        FileLayer layer(&images_[static_cast<std::size_t>(slot)], type);
        layer.name = kind.number >= 0 ? found.description.name : std::string();
        PlannedFile planned = makePlanned(output.file, output.format, output);
        planned.shadersBefore = output.shadersBefore;
        add(std::move(planned), std::move(layer));
    }

    /// What the user says of the picture's file.
    void rename() {
        if (!settings_.fileName.empty() && files_.empty()) addPrimary();
        renameFirst(files_, settings_);
    }

    void addPreviews() { lumorender::addPreviews(files_, images_, layout_.primary); }

    void numberRepeated(const OutputHistory& history) {
        for (PlannedFile& planned : files_) {
            const fs::path named = planned.file.path;
            const auto earlier = history.find(resolvedPath(named));
            if (earlier == history.end()) continue;
            for (int number = 2; history.contains(resolvedPath(planned.file.path)); ++number)
                planned.file.path = markedName(named, std::to_string(number));
            if (!planned.isPreview)
                warning("IMG", "\"{}\" was written by the render at {}; this one writes \"{}\"", named.string(),
                        earlier->second, planned.file.path.string());
        }
    }

    OutputPlan plan() {
        for (PlannedFile& planned : files_)
            if (!planned.ofBuffers && planned.file.layers.size() == 1) planned.file.layers.front().name.clear();
        return {std::move(files_), complete_};
    }

private:
    bool isPrimary(std::size_t slot) const { return static_cast<int>(slot) == layout_.primary; }

    /// The picture as a file that the scene does not ask for.
    void addPrimary() {
        PlannedFile& planned = files_.emplace_back();
        planned.file.colors = layout_.colors;
        FileLayer& layer = planned.file.layers.emplace_back(&images_[static_cast<std::size_t>(layout_.primary)]);
        const miImg_type natural = naturalImageType(endingText(settings_.fileName));
        if (natural != miIMG_TYPE_COUNT && pixelFormat(natural).color) layer.type = natural;
        layer.encoding = layout_.slots[static_cast<std::size_t>(layout_.primary)].encoding;
        layer.name.clear();
    }

    PlannedFile makePlanned(const std::string& name, const std::string& format, const FileSettings& given) const {
        PlannedFile planned;
        planned.where = given.where;
        ImageFile& file = planned.file;
        file.path = settings_.rules.located(name);
        file.format = format;
        file.compression = given.compression;
        file.quality = given.quality;
        file.density = given.dpi;
        file.tight = given.dataWindow;
        file.colors = layout_.colors;
        return planned;
    }

    static bool holdsLayers(const ImageFile& file) {
        const FileFormat* format = formatOf(file);
        return format && format->writer == FileFormat::Writer::Exr;
    }

    /// Adds the layer to the file of that name if it is one that holds layers, else as a file of its own. The same
    /// statement once more, which incremental changes may leave behind, asks for nothing new.
    void add(PlannedFile planned, FileLayer layer) {
        const auto same = std::find_if(files_.begin(), files_.end(), [&](const PlannedFile& other) {
            return other.file.path == planned.file.path && formatOf(other.file) == formatOf(planned.file);
        });
        if (same != files_.end()) {
            const auto isIt = [&](const FileLayer& l) { return l.image == layer.image && l.type == layer.type; };
            // A layer that an output shader changes in between counts as it is in the end.
            same->shadersBefore = std::max(same->shadersBefore, planned.shadersBefore);
            if (std::any_of(same->file.layers.begin(), same->file.layers.end(), isIt)) return;
            if (holdsLayers(same->file)) {
                same->file.layers.push_back(std::move(layer));
                return;
            }
        }
        planned.file.layers.push_back(std::move(layer));
        files_.push_back(std::move(planned));
    }

    const BufferLayout& layout_;
    const std::vector<LayerImage>& images_;
    const OutputSettings& settings_;
    std::vector<PlannedFile> files_;
    bool complete_ = true;
};

}  // namespace

void renameFirst(std::vector<PlannedFile>& files, const OutputSettings& settings) {
    if (files.empty()) return;
    PlannedFile& first = files.front();
    if (!settings.fileName.empty()) {
        first.file.path = settings.rules.located(withFrame(settings.fileName, settings.frame));
        // An ending that is a format's wins over the statement.
        if (findFormat(endingText(settings.fileName))) first.file.format.clear();
        first.by = NamedBy::User;
        first.where = "-o";
    }
    if (settings.fileType.empty()) return;
    first.file.format = settings.fileType;
    if (settings.fileName.empty()) first.file.path.replace_extension(settings.fileType);
}

void addPreviews(std::vector<PlannedFile>& files, const std::vector<LayerImage>& images, int primary) {
    if (files.empty()) return;
    const fs::path stem = fs::path(files.front().file.path).replace_extension();
    const NamedBy by = files.front().by;
    const auto add = [&](const fs::path& path, std::vector<FileLayer> layers) {
        const auto taken = [&](const PlannedFile& other) {
            return resolvedPath(other.file.path) == resolvedPath(path);
        };
        if (std::any_of(files.begin(), files.end(), taken)) return;
        PlannedFile preview;
        preview.file.path = path;
        preview.file.layers = std::move(layers);
        preview.by = by;
        preview.where = "-preview";
        preview.isPreview = true;
        files.push_back(std::move(preview));
    };
    add(stem.string() + ".png", {&images[static_cast<std::size_t>(primary)]});
    std::vector<FileLayer> all;
    for (const LayerImage& image : images) all.emplace_back(&image);
    if (all.size() > 1) add(stem.string() + "-passes.png", std::move(all));
}

OutputPlan planFiles(const BufferLayout& layout, const CameraDetail* camera, const std::vector<LayerImage>& images,
                     const OutputSettings& settings, const OutputHistory& history) {
    Planner planner(layout, images, settings);
    const auto primary = static_cast<std::size_t>(layout.primary);
    planner.addBuffer(primary);
    for (std::size_t slot = 0; slot < layout.slots.size(); ++slot)
        if (slot != primary) planner.addBuffer(slot);
    if (camera)
        for (const OutputFile& output : camera->files) planner.addOutput(output);
    planner.rename();
    if (settings.previews) planner.addPreviews();
    planner.numberRepeated(history);
    return planner.plan();
}

}  // namespace lumorender
