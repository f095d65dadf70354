// A set of photons that is asked what arrives around a place.
#pragma once

#include "photons/photon.h"
#include "tracing/arena.h"

#include <span>
#include <vector>

namespace lumorender {

/// How photons around a place are weighted by their distance d from it, where R is that of the farthest one: equally,
/// by 1 - d / (k R), or by exp(-2 (d / (k R))^2). The sum of an even distribution stays what it is.
struct PhotonFilter {
    enum class Shape { Box, Cone, Gauss } shape = Shape::Box;
    float constant = 1.1F;  ///< k; at least 1 for the cone

    float weight(float share2) const;  ///< share2: (d / R)^2
    float mean() const;                ///< of the weight over a disc
};

/// What is asked of a map.
struct PhotonQuery {
    miVector position = {0, 0, 0};
    miVector normal = {0, 0, 0};  ///< of the side of the surface that is asked for; zero in volumes
    miVector bent = {0, 0, 0};    ///< what the surface is to be lit by, unless zero: turned towards light it gets more
    std::size_t count = 0;        ///< so many nearest photons at most; 0: all within the radius
    float radius = 0;
    PhotonFilter filter;
};

/// Photons in a balanced tree that needs no memory of its own: the middle one of a range, along the axis of its node,
/// parts the ranges before and behind it. Read-only, and free of locks.
class PhotonMap {
public:
    PhotonMap() = default;
    /// Orders the photons by their tree. Equal photons in equal order give equal bits.
    explicit PhotonMap(std::vector<Photon> photons);

    /// A map that a file keeps is in the order of its tree already.
    static PhotonMap ofOrdered(std::vector<Photon> photons);

    std::span<const Photon> all() const { return photons_; }
    bool empty() const { return photons_.empty(); }

    /// Flux per area that arrives on the side of the surface: of photons on surfaces with nearly the same normal. The
    /// farthest photon marks the area and does not count: its flux would lie half outside.
    std::array<double, 3> irradiance(const PhotonQuery& query, Arena& arena) const;
    /// The same per volume, from all around.
    std::array<double, 3> density(const PhotonQuery& query, Arena& arena) const;

private:
    class Search;

    void build(std::size_t first, std::size_t end);
    void visit(std::size_t first, std::size_t end, Search& search) const;

    std::vector<Photon> photons_;
};

}  // namespace lumorender
