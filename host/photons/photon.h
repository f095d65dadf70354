// Photons as they are kept, and as a thread finds them.
#pragma once

#include "mi/types.h"
#include "support/found_runs.h"
#include "support/geometry.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumorender {

/// A direction as two numbers: the octahedron that faces it, unfolded. Q. Meyer et al., "On Floating-Point Normal
/// Vectors", Computer Graphics Forum 29(4), 2010.
template <class Word>
struct PackedDirection {
    Word u = 0, v = 0;

    static PackedDirection of(const miVector& direction);
    miVector unpacked() const;  ///< of unit length
};

/// Light that has arrived at a place, on its way from a light. World space.
struct Photon {
    miVector position;
    std::array<float, 3> energy;               ///< flux
    PackedDirection<std::uint16_t> direction;  ///< that it flies in
    PackedDirection<std::uint8_t> normal;      ///< of the surface, towards where it comes from; nothing in volumes
    std::uint8_t axis = 0;                     ///< of its node in the tree of its map
    std::uint8_t spare = 0;
};
static_assert(sizeof(Photon) == 32, "it is written to files as it is");

/// False for what no render makes: photons that come from files may be anything.
bool isSound(const Photon& photon);

enum class PhotonKind : std::uint8_t { Caustic, Globillum, Volume };
constexpr std::size_t kPhotonKinds = 3;

struct FoundPhoton {
    Photon photon;
    PhotonKind kind;
};

/// What a thread finds: a run is what the light's photon of that number left.
struct FoundPhotons : FoundRuns<FoundPhoton> {};

}  // namespace lumorender
