// Smooth surfaces as patches that can be evaluated anywhere.
#pragma once

#include "mi/codes.h"
#include "support/geometry.h"

#include <array>
#include <cstdint>
#include <vector>

namespace lumorender {

/// A place of a patch: u and v run from 0 to 1.
struct PatchPlace {
    std::uint32_t patch = 0;
    double u = 0, v = 0;
};

struct PatchPoint {
    V3d position = V3d(0);
    V3d normal = V3d(0);  ///< unit length, du x dv; zero where there is none
};

/// What vertices have besides place and normal.
struct PatchDetail {
    std::array<V3d, miDERIVATIVES> derivatives;  ///< du dv duu dvv duv
    std::vector<V3d> textures;
    std::vector<V3d> motions;  ///< each from where the one before it ended
};

/// A surface. Read-only: its functions may be called from any thread.
class PatchSet {
public:
    virtual ~PatchSet() = default;

    virtual std::uint32_t patches() const = 0;
    virtual PatchPoint at(const PatchPlace& place) const = 0;
    /// The lists have as many entries as the functions below say.
    virtual void detail(const PatchPlace& place, PatchDetail& detail) const = 0;

    virtual std::size_t textures() const = 0;
    virtual std::size_t motions() const = 0;
    /// Which derivatives vertices get: 0, 2, 3 (the second ones alone) or 5, as in VertexSource.
    virtual int derivatives() const = 0;
};

/// The unit normal of two tangents; zero where they have no direction worth the name.
inline V3d normalOf(const V3d& du, const V3d& dv) {
    constexpr double kNoDirection = 1e-9;
    const V3d normal = cross(du, dv);
    const double size = length(normal), sides = length(du) + length(dv);
    return size > kNoDirection * sides * sides ? normal * (1 / size) : V3d(0);
}

}  // namespace lumorender
