// The photon maps of a render.
#pragma once

#include "photons/photon_map.h"

#include <array>
#include <cstdint>

namespace lumorender {

struct RenderScene;

struct PhotonMaps {
    std::array<PhotonMap, kPhotonKinds> maps;
    std::array<std::uint64_t, 2> emitted =
        {};            ///< so many for caustics, and for global illumination; 0 where a file had them
    float radius = 0;  ///< what look-ups go to that say nothing: a tenth of the scene's diagonal

    const PhotonMap& of(PhotonKind kind) const { return maps[static_cast<std::size_t>(kind)]; }
    PhotonMap& of(PhotonKind kind) { return maps[static_cast<std::size_t>(kind)]; }
};

}  // namespace lumorender
