#include "render/picture_identity.h"

#include "database/assembly.h"
#include "database/elements.h"
#include "database/placeholder.h"
#include "mi/options.h"
#include "render/frame_buffers.h"
#include "saving/digest.h"

#include <algorithm>
#include <set>

namespace lumorender {

namespace {

std::string buffersOf(const BufferLayout& layout) {
    std::string text;
    for (const BufferSlot& slot : layout.slots)
        text += fmt::format("{}{} {}{}", text.empty() ? "" : ", ",
                            slot.description.name.empty() ? "-" : slot.description.name,
                            imageTypeName(slot.description.datatype), slot.description.filtering ? "" : " unfiltered");
    return text;
}

/// Files that the scene names, as it names them. A string that is the name of no file is no file.
std::set<std::string> filesOf(const Database& database, miTag options) {
    std::set<std::string> files;
    for (miTag tag = 1; tag < database.end(); ++tag) {
        if (const auto* texture = database.detail<TextureDetail>(tag); texture && texture->pixels.empty())
            files.insert(texture->file);
        else if (database.type(tag) == miSCENE_STRING)
            files.emplace(database.string(tag));
        else if (const auto* object = database.detail<Placeholder>(tag))
            files.insert(object->file);
        else if (const auto* assembly = database.detail<AssemblyGroup>(tag))
            files.insert(assembly->file);
    }
    if (const auto* detail = database.detail<OptionsDetail>(options))
        for (const std::string& points : detail->gatherFiles) files.erase(points);
    const auto* record = database.as<miOptions>(options, miSCENE_OPTIONS);
    if (record && record->photonmap_file) files.erase(std::string(database.string(record->photonmap_file)));
    return files;
}

}  // namespace

void addPicture(Identity& identity, const RenderScene& scene, const DataWindow& window, int tileSize) {
    identity.add("the resolution", fmt::format("{} x {}", window.fullWidth, window.fullHeight));
    identity.add("the window", fmt::format("{} {} {} {}", window.x0, window.y0, window.x0 + window.width - 1,
                                           window.y0 + window.height - 1));
    identity.add("the edge of tiles", std::to_string(tileSize));
    identity.add("the list of frame buffers", buffersOf(*scene.buffers));
    for (const std::string& file : filesOf(*scene.database, scene.optionsTag)) {
        const std::string digest = fileDigest(file);
        if (!digest.empty())
            identity.addDigest(fmt::format("file \"{}\"", std::filesystem::path(file).filename().string()), digest);
    }
}

PicturePlan planOf(const std::vector<LayerImage>& images, const std::vector<PlannedFile>& files, int primary,
                   const DataWindow& window, int tileSize) {
    PicturePlan plan;
    plan.window = window;
    plan.tileSize = tileSize;
    plan.primary = primary;
    for (const LayerImage& image : images) plan.layers.push_back({image.name, image.type, !image.shown.empty()});
    for (const PlannedFile& each : files) {
        if (each.isPreview) continue;
        PicturePlan::File& planned = plan.files.emplace_back();
        planned.file = each.file;
        planned.file.layers.clear();
        for (const FileLayer& layer : each.file.layers) {
            planned.layers.push_back(static_cast<int>(layer.image - images.data()));
            planned.types.push_back(layer.type);
            planned.names.push_back(layer.name);
        }
    }
    return plan;
}

}  // namespace lumorender
