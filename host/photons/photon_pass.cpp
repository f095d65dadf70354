#include "photons/photon_pass.h"

#include "database/elements.h"
#include "mi/options.h"
#include "photons/photon_emission.h"
#include "photons/photon_file.h"
#include "photons/photon_merge.h"
#include "support/abort.h"
#include "support/messages.h"
#include "tracing/option_values.h"

#include <chrono>
#include <utility>

namespace lumorender {

namespace {

constexpr std::array<const char*, kPhotonKinds> kNames = {"caustic", "globillum", "photonvol"};

void buildMaps(const RenderScene& scene, EmittedPhotons& emitted, PhotonMaps& maps) {
    const auto* named = scene.database->detail<StringOptions>(scene.options->string_options);
    for (std::size_t k = 0; k < kPhotonKinds; ++k) {
        std::vector<Photon> photons = std::move(emitted.kinds[k]);
        const float distance = numberOption(named, (std::string(kNames[k]) + " merge").c_str(), 0);
        const std::size_t count = photons.size();
        if (distance > 0) photons = mergedPhotons(photons, distance);
        if (photons.size() < count) info("RC", "{} photons: {} merged to {}", kNames[k], count, photons.size());
        maps.maps[k] = PhotonMap(std::move(photons));
    }
}

/// True where the file had what was wanted.
bool takeFromFile(const PhotonFile& file, PhotonMaps& maps) {
    if (file.name.empty() || file.isRebuilt) return false;
    std::string problem;
    if (!readPhotonFile(file.name, maps, problem)) {
        if (!problem.empty())
            warning("RC", "photon map file \"{}\" {}; its photons are made anew", file.name.string(), problem);
        return false;
    }
    std::size_t count = 0;
    for (const PhotonMap& map : maps.maps) count += map.all().size();
    info("RC", "photon maps: {} photons from \"{}\"", count, file.name.string());
    return true;
}

}  // namespace

bool wantsPhotons(const RenderScene& scene) { return scene.options->caustic || scene.options->globillum; }

bool makePhotons(const RenderScene& scene, const PhotonFile& file, int threads, PhotonMaps& maps) {
    miVector low, high;
    scene.geometry->bounds(low, high);
    maps.radius = length(high - low) / 10;
    if (takeFromFile(file, maps)) return true;
    EmittedPhotons emitted;
    if (scene.options->caustic) emitPhotons(scene, miSTAGE_CAUSTIC, threads, emitted);
    EmittedPhotons global;
    if (scene.options->globillum) emitPhotons(scene, miSTAGE_GLOBILLUM, threads, global);
    maps.emitted = {emitted.emitted, global.emitted};
    if (abortRequested()) return true;
    for (std::size_t k = 0; k < kPhotonKinds; ++k)
        emitted.kinds[k].insert(emitted.kinds[k].end(), global.kinds[k].begin(), global.kinds[k].end());
    buildMaps(scene, emitted, maps);
    return file.name.empty() || !file.isWritten || writePhotonFile(file.name, maps);
}

}  // namespace lumorender
