// Free-form curves and surfaces and subdivision surfaces, as scene files give them.
#pragma once

#include "mi/types.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumorender {

/// A polynomial basis of curves and of one direction of surfaces.
struct BasisSource {
    enum class Kind : std::uint8_t { Bezier, BSpline, Cardinal, Taylor, Matrix };

    std::string name;
    Kind kind = Kind::Bezier;
    bool rational = false;
    int degree = 1;
    int step = 1;               ///< control points from one piece to the next, of matrices
    std::vector<float> matrix;  ///< (degree + 1)^2: a row for each control point, with factors of 1, t, t^2 ...
};

/// A control point: a vertex of the group, and its weight in rational curves and surfaces.
struct ControlPoint {
    int vertex = 0;
    float weight = 1;
};

/// Piecewise polynomials in one parameter. `parameters` are the knots of B-splines; of other bases the ends of pieces.
struct DirectionSource {
    BasisSource basis;
    bool rational = false;
    float low = 0, high = 0;  ///< the range that is used
    std::vector<float> parameters;
};

struct CurveSource {
    std::string name;
    DirectionSource direction;
    std::vector<ControlPoint> points;
    std::vector<int> specials;  ///< vertices whose x is a parameter at which there must be a corner
    bool inSpace = false;
};

/// A part of a curve of the group.
struct CurvePiece {
    int curve = 0;
    float low = 0, high = 0;
};

/// A closed line in the parameter space of a surface, or one that must be part of the tessellation.
struct LoopSource {
    enum class Kind : std::uint8_t { Trim, Hole, Special };
    Kind kind = Kind::Trim;
    std::vector<CurvePiece> pieces;
    std::string where;
};

/// What is defined over a surface by control points of its own: texture coordinates or motion.
struct OverlaySource {
    enum class Kind : std::uint8_t { Texture, Motion };
    Kind kind = Kind::Texture;
    bool volume = false;  ///< texture coordinates in space, which do not wrap around
    DirectionSource u, v;
    std::vector<ControlPoint> points;
};

struct SurfaceSource {
    std::string name;
    std::string where;  ///< file and line
    miTag material = 0;
    std::uint32_t label = 0;
    DirectionSource u, v;
    std::vector<ControlPoint> points;  ///< u runs faster
    bool firstDerivatives = false, secondDerivatives = false;
    std::vector<OverlaySource> overlays;
    std::vector<LoopSource> loops;
    std::vector<int> specials;  ///< vertices whose x and y are a place that must be a corner
};

/// Two pieces of trimming curves that are the same line in space.
struct ConnectionSource {
    int surfaces[2] = {0, 0};
    CurvePiece pieces[2];
    std::string where;
};

/// One face of a subdivision surface's control mesh: `count` entries of SubdivisionSource::corners.
struct ControlFace {
    std::uint32_t first = 0, count = 0;
    miTag material = 0;
    std::uint32_t label = 0;
};

/// An edge of the control mesh that stays sharper than the rest.
struct CreaseSource {
    int from = 0, to = 0;  ///< vertices of the group
    float sharpness = 10;  ///< times of subdivision that it lasts; 10 = for ever
};

/// A control mesh.
struct SubdivisionSource {
    std::string name;
    std::string where;
    bool catmullClark = false;  ///< also where all faces are triangles
    bool derivatives = false;
    std::vector<int> corners;  ///< vertices of the group
    std::vector<ControlFace> faces;
    std::vector<CreaseSource> creases;
};

/// How sharp a vertex is where subdivision surfaces have it as a corner.
constexpr float kSharpForever = 10;

/// What a group has besides polygons.
struct SurfaceGroup {
    std::vector<CurveSource> curves;
    std::vector<SurfaceSource> surfaces;
    std::vector<ConnectionSource> connections;
    std::vector<SubdivisionSource> subdivisions;
    std::vector<float> sharpness;  ///< of each vertex, 0 = smooth; empty = all are
    float merge = 0;               ///< borders closer than this are one

    bool empty() const { return surfaces.empty() && subdivisions.empty(); }
};

}  // namespace lumorender
