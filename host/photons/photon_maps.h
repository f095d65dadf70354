// The photon maps of a render.
#pragma once

#include "photons/photon_map.h"

#include <array>

namespace lumorender {

struct RenderScene;

struct PhotonMaps {
    std::array<PhotonMap, kPhotonKinds> maps;
    float radius = 0;  ///< what look-ups go to that say nothing: a tenth of the scene's diagonal

    const PhotonMap& of(PhotonKind kind) const { return maps[static_cast<std::size_t>(kind)]; }
    PhotonMap& of(PhotonKind kind) { return maps[static_cast<std::size_t>(kind)]; }
};

}  // namespace lumorender
