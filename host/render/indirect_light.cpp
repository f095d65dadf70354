#include "render/indirect_light.h"

#include "database/elements.h"
#include "gathering/ambient_occlusion.h"
#include "lightmaps/light_map_pass.h"
#include "mi/options.h"
#include "render/pass_plan.h"
#include "render/tiles.h"
#include "saving/digest.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/whole_file.h"

namespace lumorender {

namespace {

constexpr int kLightMapsOnly = 2;  ///< miOptions::lightmap

const OptionsDetail* detailOf(const RenderScene& scene) {
    return scene.database->detail<OptionsDetail>(scene.optionsTag);
}

/// So many that some of them can gather for the others, and none that belongs to a neighbour, too.
bool hasPixelsOfManySamples(const RenderScene& scene) {
    return scene.options->max_samples >= 1 && !usesGrid(*scene.options, !passesOf(scene).empty());
}

}  // namespace

bool isPointsOnly(const RenderScene& scene) {
    if (wantsPhotons(scene) && scene.options->photonmap_only) return true;
    if (scene.options->lightmap == kLightMapsOnly) return true;
    const OptionsDetail* detail = detailOf(scene);
    return scene.options->finalgather && detail && detail->gatherOnly;
}

FoundFiles foundFiles(const RenderScene& scene, const OutputRules& rules) {
    FoundFiles files;
    files.gather.rebuild = static_cast<GatherFiles::Rebuild>(scene.options->finalgather_rebuild);
    if (const OptionsDetail* detail = detailOf(scene))
        for (const std::string& name : detail->gatherFiles) files.gather.names.push_back(rules.located(name));
    files.photons.isRebuilt = scene.options->photonmap_rebuild != miFALSE;
    if (scene.options->photonmap_file)
        files.photons.name = rules.located(scene.database->string(scene.options->photonmap_file));
    if (wantsLightMaps(scene)) files.lightMaps = lightMapFiles(scene, rules);
    return files;
}

bool checkFoundFiles(const RenderScene& scene, const OutputRules& rules) {
    const FoundFiles files = foundFiles(scene, rules);
    const bool isFrozen = files.gather.rebuild == GatherFiles::Rebuild::Freeze;
    bool good = true;
    const auto check = [&](const char* what, const std::filesystem::path& name, std::string problem) {
        if (problem.empty()) problem = problemOfTarget(name);
        if (!problem.empty())
            error("IMG", "options \"{}\": cannot write {} file \"{}\": {}", scene.database->name(scene.optionsTag),
                  what, name.string(), problem);
        good = good && problem.empty();
    };
    if (scene.options->finalgather && !files.gather.names.empty() && !isFrozen)
        check("final gather", files.gather.names.front(), objectionToPoints(files.gather.names.front(), rules));
    if (wantsPhotons(scene) && !files.photons.name.empty())
        check("photon map", files.photons.name, objectionToPhotons(files.photons.name, rules));
    return checkLightMapFiles(files.lightMaps, rules) && good;
}

bool prepareIndirectLight(RenderScene& scene, const DataWindow& window, const FoundFiles& files,
                          const SavedPoints& saved, int threads) {
    // Photons first: what is gathered comes from them.
    bool good = true;
    if (wantsPhotons(scene)) {
        const auto photons = std::make_shared<PhotonMaps>();
        good = makePhotons(scene, files.photons, threads, *photons);
        scene.photons = photons;
        if (scene.options->photonmap_only || abortRequested()) return good;
    }
    const auto gather =
        scene.options->finalgather
            ? std::make_shared<FinalGather>(scene, scene.database->detail<StringOptions>(scene.options->string_options),
                                            hasPixelsOfManySamples(scene))
            : nullptr;
    // Then light maps, which may be seen along gathering rays. What light they need is gathered at their texels.
    if (wantsLightMaps(scene)) {
        scene.gather = gather;
        if (!makeLightMaps(scene, threads)) return false;
        scene.gather = nullptr;
        good = writeLightMaps(*scene.textures, files.lightMaps) && good;
    }
    if (scene.options->lightmap == kLightMapsOnly) return good;
    // Then occlusion: shaders ask for it along gathering rays too, while no light has to be gathered for it.
    if (scene.occlusion.on && scene.occlusion.cache && scene.options->trace) {
        const auto cache = std::make_shared<OcclusionCache>(scene);
        scene.occlusionCache = cache;
        prepareOcclusion(scene, *cache, window, saved, threads);
    }
    if (!gather) return good;
    scene.gather = gather;
    return prepareFinalGather(scene, *gather, window, files.gather, saved, threads) && good;
}

std::uint64_t digestOfPoints(const RenderScene& scene) {
    std::uint64_t digest = 0;
    if (scene.occlusionCache) digest = digestOf(std::as_bytes(scene.occlusionCache->points.all()), digest);
    if (scene.gather) digest = digestOf(std::as_bytes(scene.gather->points.all()), digest);
    if (scene.photons)
        for (const PhotonMap& map : scene.photons->maps) digest = digestOf(std::as_bytes(map.all()), digest);
    return digest;
}

}  // namespace lumorender
