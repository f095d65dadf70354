#include "render/light_map_files.h"

#include "database/elements.h"
#include "render/frame_buffers.h"
#include "support/messages.h"
#include "support/whole_file.h"

namespace lumorender {

namespace {

/// What the scene says, or what files of the format hold usually.
miImg_type typeOf(const TextureDetail& texture, const ImageFile& file) {
    if (const miImg_type given = imageTypeByName(texture.pixelType); given != miIMG_TYPE_COUNT) return given;
    const FileFormat* format = formatOf(file);
    return format ? format->natural : miIMG_TYPE_RGBA_FP;
}

std::string problemOf(const LightMapFile& map, const OutputRules& rules) {
    if (const std::string problem = problemOfFormat(map.file); !problem.empty()) return problem;
    const FileFormat& format = *formatOf(map.file);
    const std::string objection = objectionToPicture(map.file.path, format, NamedBy::Scene, rules);
    if (!objection.empty()) return objection;
    if (const std::string problem = problemOfTarget(map.file.path); !problem.empty()) return problem;
    if (!pixelFormat(map.type).color)
        return fmt::format("\"{}\" is no type of colors, and light maps are", imageTypeName(map.type));
    if (const std::string problem = problemOfType(format, map.type); !problem.empty()) return problem;
    return problemOfSize(format, map.width, map.height);
}

}  // namespace

std::vector<LightMapFile> lightMapFiles(const RenderScene& scene, const OutputRules& rules) {
    std::vector<LightMapFile> files;
    for (miTag tag = 1; tag < scene.database->end(); ++tag) {
        if (scene.database->type(tag) != miSCENE_IMAGE) continue;
        const auto* texture = scene.database->detail<TextureDetail>(tag);
        if (!texture || !texture->writable || texture->givenFile.empty()) continue;
        LightMapFile map;
        map.texture = tag;
        map.name = scene.database->name(tag);
        map.width = texture->width;
        map.height = texture->height;
        map.file.path = rules.located(texture->givenFile);
        map.file.format = texture->fileFormat;
        map.file.colors = scene.buffers->colors;
        map.type = typeOf(*texture, map.file);
        files.push_back(std::move(map));
    }
    return files;
}

bool checkLightMapFiles(const std::vector<LightMapFile>& files, const OutputRules& rules) {
    bool good = true;
    for (const LightMapFile& map : files) {
        const std::string problem = problemOf(map, rules);
        if (!problem.empty())
            error("IMG", "texture \"{}\": cannot write the light map \"{}\": {}", map.name, map.file.path.string(),
                  problem);
        good = good && problem.empty();
    }
    return good;
}

bool writeLightMaps(const TextureTable& textures, const std::vector<LightMapFile>& files) {
    bool good = true;
    for (const LightMapFile& map : files) {
        const WritableTexture* texture = textures.writable(map.texture);
        if (!texture || !texture->isDrawn()) continue;
        const LayerImage layer = texture->layer();
        ImageFile file = map.file;
        file.layers.emplace_back(&layer, map.type);
        const DataWindow window{0, 0, layer.width, layer.height, layer.width, layer.height};
        const std::string reason = writeImageFile(file, window, {});
        if (reason.empty())
            tellWritten("IMG", file.path.string());
        else
            error("IMG", "cannot write \"{}\": {}", file.path.string(), reason);
        good = good && reason.empty();
    }
    return good;
}

}  // namespace lumorender
