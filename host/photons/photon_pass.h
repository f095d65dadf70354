// The stage of a render that makes photon maps.
#pragma once

#include "photons/photon_maps.h"

#include <filesystem>

namespace lumorender {

/// Where photons come from and go to.
struct PhotonFile {
    std::filesystem::path name;  ///< empty: none
    bool isRebuilt = true;       ///< else what the file holds is used as it is
    bool isWritten = true;       ///< false: what is new is kept in no file
};

bool wantsPhotons(const RenderScene& scene);

/// The maps that the options ask for, from the file or from the lights.
/// @return false where the file could not be written
bool makePhotons(const RenderScene& scene, const PhotonFile& file, int threads, PhotonMaps& maps);

}  // namespace lumorender
