// Positions on area lights.
#pragma once

#include "geometry/scene_geometry.h"
#include "lights/facing_triangles.h"
#include "mi/light.h"
#include "mi/state.h"

#include <optional>
#include <vector>

namespace lumorender {

/// How many samples a light takes, as a grid over its shape.
struct LightGrid {
    int u = 1, v = 1;
    int count() const { return u * v; }
};

/// The grid for a ray level (reflections and refractions): coarser beyond the light's own limit.
LightGrid lightGrid(const miLight& light, int level);

/// The geometry of an instance as a place for light samples: triangles in world space, chosen by their area.
class LightSurface {
public:
    /// Collects the uses of an instance (or of an object) in the scene.
    LightSurface(const SceneGeometry& geometry, miTag instanceOrObject);

    LightSurface(const LightSurface&) = delete;
    LightSurface& operator=(const LightSurface&) = delete;

    bool empty() const { return triangles_.empty(); }
    struct Point {
        V3d place, normal;  ///< the normal has any length
    };
    /// A point on the triangles that face `lit`, equally spread over their areas; nothing where none of them does.
    std::optional<Point> point(const V3d& lit, double u, double v) const;
    /// A point anywhere, whichever side its triangle looks to.
    Point anyPoint(double u, double v) const;

private:
    void add(const FlatInstance& instance);
    /// The point of triangle `number` where `rest` of the triangle's area lies before it.
    Point pointOf(std::size_t number, double rest, double v) const;
    /// The same as `point`, by looking at every triangle that may face.
    std::optional<Point> search(const V3d& lit, double u, double v) const;
    double areaOf(std::size_t number) const { return areas_[number] - (number > 0 ? areas_[number - 1] : 0); }

    std::vector<LightTriangle> triangles_;
    std::vector<double> areas_;  ///< up to and with each triangle
    FacingTriangles facing_;
};

/// A point of a light in world space. The normal is of unit length and looks to the outside (rectangle: u x v, disc:
/// its normal), or is zero where there is none.
struct LightPoint {
    miVector place = {};
    miVector normal = {};
};

/// A point of the light's shape for a position 0..1 in its grid. Equal areas of the grid are equal areas of the part of
/// the shape that the lit point can see by itself: all of rectangles and discs, the near side of spheres and cylinders
/// (their whole surface from inside), of objects the triangles that face it; nothing where none does. Lit point and
/// result are in world space.
/// @param surface for lights in the shape of an object, else null
std::optional<LightPoint> pointOnLight(const miLight& light, const Placement& placement, const LightSurface* surface,
                                       const miVector& lit, double u, double v);

/// A point of the whole shape, equal areas of the grid being equal areas of the shape in its own space. The normal is
/// zero where the light has no shape.
LightPoint anyPointOnLight(const miLight& light, const Placement& placement, const LightSurface* surface, double u,
                           double v);

}  // namespace lumorender
