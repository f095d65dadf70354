#include "render/indirect_light.h"

#include "database/elements.h"
#include "gathering/ambient_occlusion.h"
#include "mi/options.h"
#include "saving/digest.h"
#include "support/messages.h"
#include "support/whole_file.h"

namespace lumorender {

namespace {

const OptionsDetail* detailOf(const RenderScene& scene) {
    return scene.database->detail<OptionsDetail>(scene.optionsTag);
}

}  // namespace

bool isPointsOnly(const RenderScene& scene) {
    const OptionsDetail* detail = detailOf(scene);
    return scene.options->finalgather && detail && detail->gatherOnly;
}

GatherFiles gatherFiles(const RenderScene& scene, const OutputRules& rules) {
    GatherFiles files;
    files.rebuild = static_cast<GatherFiles::Rebuild>(scene.options->finalgather_rebuild);
    if (const OptionsDetail* detail = detailOf(scene))
        for (const std::string& name : detail->gatherFiles) files.names.push_back(rules.located(name));
    return files;
}

bool checkPointFile(const RenderScene& scene, const OutputRules& rules) {
    const GatherFiles files = gatherFiles(scene, rules);
    if (!scene.options->finalgather || files.names.empty() || files.rebuild == GatherFiles::Rebuild::Freeze)
        return true;
    const std::filesystem::path& name = files.names.front();
    std::string problem = objectionToPoints(name, rules);
    if (problem.empty()) problem = problemOfTarget(name);
    if (!problem.empty())
        error("IMG", "options \"{}\": cannot write final gather file \"{}\": {}",
              scene.database->name(scene.optionsTag), name.string(), problem);
    return problem.empty();
}

bool prepareIndirectLight(RenderScene& scene, const DataWindow& window, const GatherFiles& files,
                          const SavedPoints& saved, int threads) {
    // Occlusion first: shaders ask for it along gathering rays too, while no light has to be gathered for it.
    if (scene.occlusion.on && scene.occlusion.cache && scene.options->trace) {
        const auto cache = std::make_shared<OcclusionCache>(scene);
        scene.occlusionCache = cache;
        prepareOcclusion(scene, *cache, window, saved, threads);
    }
    if (!scene.options->finalgather) return true;
    const auto gather =
        std::make_shared<FinalGather>(scene, scene.database->detail<StringOptions>(scene.options->string_options));
    scene.gather = gather;
    return prepareFinalGather(scene, *gather, window, files, saved, threads);
}

std::uint64_t digestOfPoints(const RenderScene& scene) {
    std::uint64_t digest = 0;
    if (scene.occlusionCache) digest = digestOf(std::as_bytes(scene.occlusionCache->points.all()), digest);
    if (scene.gather) digest = digestOf(std::as_bytes(scene.gather->points.all()), digest);
    return digest;
}

}  // namespace lumorender
