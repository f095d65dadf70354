// Hairs as the host keeps them: curves for the ray tracing kernels in object space, one set per object however often it
// is placed. What else hairs and vertices have stays where the scene's reader put it.
#pragma once

#include "database/elements.h"
#include "geometry/scene_geometry.h"
#include "support/geometry.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumorender {

/// As the kernels take it.
struct CurvePoint {
    float x, y, z, radius;
};

inline CurvePoint operator*(const CurvePoint& p, float f) { return {p.x * f, p.y * f, p.z * f, p.radius * f}; }
inline CurvePoint operator+(const CurvePoint& a, const CurvePoint& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z, a.radius + b.radius};
}

/// Straight pieces have two points each, curved ones four (Bezier); a hair's last point of a piece is the first of the
/// next. Hairs with normals are ribbons that turn with them; the others turn to every ray, and look round.
struct Hair {
    const HairSource* source = nullptr;           ///< of the object, which outlives this
    std::vector<std::vector<CurvePoint>> points;  ///< at shutter open, and at the end of each of the equal parts of it
    std::vector<miVector> normals;                ///< of ribbons: one per point
    std::vector<std::uint32_t> starts;            ///< of each piece: its first point
    std::vector<std::uint32_t> firstPieces;       ///< of each hair, and behind the last
    std::vector<std::uint32_t> numbers;           ///< of each hair in the source, where some were left out
    bool curved = false;

    std::size_t pieces() const { return starts.size(); }
    std::size_t hairs() const { return firstPieces.size() - 1; }
    bool moves() const { return points.size() > 1; }
    bool isRibbon() const { return !normals.empty(); }
    /// Points that a piece adds.
    std::uint32_t stride() const { return curved ? 3 : 1; }

    /// Every hair has one point more than its pieces add.
    std::uint32_t hairOf(std::uint32_t piece) const { return starts[piece] - stride() * piece; }
    std::size_t numberOf(std::uint32_t hair) const { return numbers.empty() ? hair : numbers[hair]; }
    bool isFirst(std::uint32_t piece) const { return piece == 0 || hairOf(piece - 1) != hairOf(piece); }
    bool isLast(std::uint32_t piece) const { return piece + 1 == pieces() || hairOf(piece + 1) != hairOf(piece); }

    std::size_t bytes() const;
};

/// Hairs with numbers that are not finite, or a length or width of 0 all along, are left out, with a message that names
/// the object by `name`. Null where nothing is left.
std::unique_ptr<Hair> buildHair(const ObjectSource& source, const std::string& name);

/// A place on a piece, in object space.
struct HairPlace {
    V3d center, tangent;  ///< on the axis, and how it moves with `u`
    V3d normal;           ///< of ribbons; any length
    double radius;
};

/// At u, 0..1 along the piece, and a time 0..1 of the shutter interval.
HairPlace hairPlace(const Hair& hair, std::uint32_t piece, double u, double time);

/// Which way a place looks to a ray.
struct HairFrame {
    V3d across;  ///< unit length, at right angles to the tangent: to the right of who looks at it with the tip above
    V3d facing;  ///< unit length, of the ribbon's plane; towards the ray where the ribbon turns to it

    /// `dir` is the ray's direction in object space.
    HairFrame(const Hair& hair, const HairPlace& place, const V3d& dir);
};

/// Given instance, primitive, time, dist and u of a hit: replaces dist by a better one, and finds the point and v, 0..1
/// across the hair. False where the ray does not count as having met the hair: it went by where the next piece has
/// begun, or it ends within a diameter of a hair that turns to it, so that such a hair hides nothing of itself.
bool meetHair(const Ray& ray, Hit& hit);

/// See SceneGeometry::listSizes and fillState, and docs/host.md for what hair puts into the state.
HitListSizes listSizesOf(const Hair& hair);
void fillHair(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals);

/// The width of a hit's hair there, halved, in world space; that of a scaled instance by the mean of its scales.
double hairRadius(const Hit& hit);

/// Writes the hit's user numbers, those of its hair and then those of its vertices: `hairUsers` of them.
std::size_t hairUsers(const Hair& hair);
void fillHairUsers(const Hit& hit, float* values);

}  // namespace lumorender
