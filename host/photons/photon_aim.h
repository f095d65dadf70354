// Lights that send photons only where something may make caustics of them.
#pragma once

#include "photons/photon_sources.h"

#include <span>
#include <vector>

namespace lumorender {

struct RenderScene;

/// Balls around all that casts caustics, in pieces: world space, at shutter open.
std::vector<SceneSphere> causticCasters(const RenderScene& scene);

/// Which of the first two numbers of `photonStart` lead towards some balls: rectangles of both, all of one area. Equal areas
/// are equal parts of the light's energy, so photons that fall into the chosen ones only have their share of it.
class PhotonAim {
public:
    /// Everywhere.
    PhotonAim() = default;
    /// Everywhere too for lights whose photons do not begin as `photonStart` says or whose direction depends on where on
    /// the light they begin, and where most of the light goes to the balls anyway.
    PhotonAim(const LightSource& source, const SceneSphere& scene, std::span<const SceneSphere> balls);

    /// Of the light's energy: 0 where none of it comes near a ball.
    double share() const { return share_; }
    /// Moves the numbers, which are in [0, 1), into the chosen rectangles; well spread ones stay well spread.
    void aim(double& u, double& v) const;

private:
    struct Cell {
        double u = 0, v = 0, width = 1, height = 1;
    };
    class Projection;

    std::vector<Cell> cells_;  ///< none: everywhere, or nowhere
    double share_ = 1;
};

}  // namespace lumorender
