#include "render/indirect_light.h"

#include "database/elements.h"
#include "gathering/ambient_occlusion.h"
#include "mi/options.h"
#include "saving/digest.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/whole_file.h"

namespace lumorender {

namespace {

const OptionsDetail* detailOf(const RenderScene& scene) {
    return scene.database->detail<OptionsDetail>(scene.optionsTag);
}

}  // namespace

bool isPointsOnly(const RenderScene& scene) {
    if (wantsPhotons(scene) && scene.options->photonmap_only) return true;
    const OptionsDetail* detail = detailOf(scene);
    return scene.options->finalgather && detail && detail->gatherOnly;
}

PointFiles pointFiles(const RenderScene& scene, const OutputRules& rules) {
    PointFiles files;
    files.gather.rebuild = static_cast<GatherFiles::Rebuild>(scene.options->finalgather_rebuild);
    if (const OptionsDetail* detail = detailOf(scene))
        for (const std::string& name : detail->gatherFiles) files.gather.names.push_back(rules.located(name));
    files.photons.isRebuilt = scene.options->photonmap_rebuild != miFALSE;
    if (scene.options->photonmap_file)
        files.photons.name = rules.located(scene.database->string(scene.options->photonmap_file));
    return files;
}

bool checkPointFiles(const RenderScene& scene, const OutputRules& rules) {
    const PointFiles files = pointFiles(scene, rules);
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
    return good;
}

bool prepareIndirectLight(RenderScene& scene, const DataWindow& window, const PointFiles& files,
                          const SavedPoints& saved, int threads) {
    // Photons first: what is gathered comes from them.
    bool good = true;
    if (wantsPhotons(scene)) {
        const auto photons = std::make_shared<PhotonMaps>();
        good = makePhotons(scene, files.photons, threads, *photons);
        scene.photons = photons;
        if (scene.options->photonmap_only || abortRequested()) return good;
    }
    // Then occlusion: shaders ask for it along gathering rays too, while no light has to be gathered for it.
    if (scene.occlusion.on && scene.occlusion.cache && scene.options->trace) {
        const auto cache = std::make_shared<OcclusionCache>(scene);
        scene.occlusionCache = cache;
        prepareOcclusion(scene, *cache, window, saved, threads);
    }
    if (!scene.options->finalgather) return good;
    const auto gather =
        std::make_shared<FinalGather>(scene, scene.database->detail<StringOptions>(scene.options->string_options));
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
