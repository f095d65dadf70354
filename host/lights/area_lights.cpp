#include "lights/area_lights.h"

#include "geometry/mesh.h"
#include "support/geometry.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace lumorender {

namespace {

constexpr double kTurn = 2 * M_PI;
constexpr std::size_t kFew = 64;
constexpr std::uint32_t kTries = 8;  // half of a closed surface faces away: one sample in 256 has to search

/// The unit square as a unit disc, without tearing neighbours apart. P. Shirley, K. Chiu, "A low distortion map between
/// disk and square", JGT 2(3), 1997.
void mapToDisc(double u, double v, double& x, double& y) {
    const double a = 2 * u - 1, b = 2 * v - 1;
    if (a == 0 && b == 0) {
        x = y = 0;
        return;
    }
    const bool sideways = std::abs(a) > std::abs(b);
    const double radius = sideways ? a : b;
    const double angle = sideways ? M_PI / 4 * (b / a) : M_PI / 2 - M_PI / 4 * (a / b);
    x = radius * std::cos(angle);
    y = radius * std::sin(angle);
}

/// In the light's space; the normal has any length.
using Point = LightSurface::Point;

Point onRectangle(const miLight& light, double u, double v) {
    const V3d edgeU = wide(light.primitive.rectangle.edge_u), edgeV = wide(light.primitive.rectangle.edge_v);
    return {wide(light.origin) + edgeU * (u - 0.5) + edgeV * (v - 0.5), cross(edgeU, edgeV)};
}

Point onDisc(const miLight& light, double u, double v) {
    const V3d normal = unit(wide(light.primitive.disc.normal));
    const V3d right = perpendicular(normal), up = cross(normal, right);
    double x, y;
    mapToDisc(u, v, x, y);
    return {wide(light.origin) + (right * x + up * y) * static_cast<double>(light.primitive.disc.radius), normal};
}

/// From outside a sphere shows the cap whose normals are less than acos(radius / distance) away from the lit point.
/// Equal heights of a cap are equal areas (Archimedes).
Point onSphere(const miLight& light, const V3d& lit, double u, double v) {
    const double radius = std::abs(static_cast<double>(light.primitive.sphere.radius));
    const V3d way = lit - wide(light.origin);
    const double distance = length(way);
    const V3d axis = distance > 0 ? unit(way) : V3d{0, 0, 1};
    const V3d right = perpendicular(axis), up = cross(axis, right);
    const double lowest = distance > radius ? radius / distance : -1;
    const double height = 1 - v * (1 - lowest);
    const double aside = std::sqrt(std::max(0.0, 1 - height * height));
    const V3d normal = axis * height + (right * std::cos(kTurn * u) + up * std::sin(kTurn * u)) * aside;
    return {wide(light.origin) + normal * radius, normal};
}

/// The lateral surface; the same holds around the axis.
Point onCylinder(const miLight& light, const V3d& lit, double u, double v) {
    const double radius = std::abs(static_cast<double>(light.primitive.cylinder.radius));
    const V3d axis = wide(light.primitive.cylinder.axis), along = unit(axis);
    const V3d way = lit - wide(light.origin);
    const V3d outwards = way - along * dot(way, along);
    const double distance = length(outwards);
    const V3d right = distance > 0 ? unit(outwards) : perpendicular(along);
    const V3d up = cross(along, right);
    const double angle = (2 * u - 1) * (distance > radius ? std::acos(radius / distance) : M_PI);
    const V3d normal = right * std::cos(angle) + up * std::sin(angle);
    return {wide(light.origin) + axis * (v - 0.5) + normal * radius, normal};
}

LightPoint inWorld(const Point& point, const Placement& placement) {
    const V3d normal = transformNormal(point.normal, placement.worldToLocal);
    return {narrow(transformPoint(point.place, placement.localToWorld)), narrow(unit(normal))};
}

int atLeastOne(short count) { return std::max<int>(count, 1); }

std::uint32_t bitsOf(double place) { return std::bit_cast<std::uint32_t>(static_cast<float>(place)); }

}  // namespace

LightGrid lightGrid(const miLight& light, int level) {
    if (light.area == miLIGHT_NONE || light.type == miLIGHT_DIRECTION) return {};
    if (level > light.low_level) return {atLeastOne(light.low_samples_u), atLeastOne(light.low_samples_v)};
    return {atLeastOne(light.samples_u), atLeastOne(light.samples_v)};
}

LightSurface::LightSurface(const SceneGeometry& geometry, miTag instanceOrObject) {
    for (const FlatInstance& instance : geometry.instances())
        if (instance.mesh && (instance.instance == instanceOrObject || instance.object == instanceOrObject))
            add(instance);
    facing_.build(triangles_);
}

void LightSurface::add(const FlatInstance& instance) {
    const Mesh& mesh = *instance.mesh;
    // A mirrored triangle runs the other way round, but its outside stays outside.
    const bool mirrored = mirrors(instance.placement->localToWorld);
    for (std::size_t i = 0; i < mesh.triangles(); ++i) {
        const auto corner = [&](std::size_t k) {
            return transformPoint(wide(mesh.positions[mesh.indices[3 * i + k]]), instance.placement->localToWorld);
        };
        const LightTriangle triangle{corner(0), corner(mirrored ? 2 : 1), corner(mirrored ? 1 : 2)};
        const double area = length(triangle.normal()) / 2;
        if (!(area > 0)) continue;
        triangles_.push_back(triangle);
        areas_.push_back(area + (areas_.empty() ? 0 : areas_.back()));
    }
}

LightSurface::Point LightSurface::pointOf(std::size_t number, double rest, double v) const {
    const double root = std::sqrt(std::clamp(rest, 0.0, 1.0));
    const LightTriangle& t = triangles_[number];
    return {t.a * (1 - root) + t.b * (root * (1 - v)) + t.c * (root * v), t.normal()};
}

LightSurface::Point LightSurface::anyPoint(double u, double v) const {
    const double along = u * areas_.back();
    const auto chosen = std::min<std::size_t>(
        static_cast<std::size_t>(std::upper_bound(areas_.begin(), areas_.end(), along) - areas_.begin()),
        areas_.size() - 1);
    return pointOf(chosen, 1 - (areas_[chosen] - along) / areaOf(chosen), v);
}

std::optional<LightSurface::Point> LightSurface::point(const V3d& lit, double u, double v) const {
    // Looking at all of a few triangles keeps places well spread; among many, further tries know nothing of the former.
    if (triangles_.size() <= kFew) return search(lit, u, v);
    const std::uint32_t seed = mixSeeds(bitsOf(u), bitsOf(v));
    double tryU = u, tryV = v;
    for (std::uint32_t attempt = 1; attempt <= kTries; ++attempt) {
        const Point result = anyPoint(tryU, tryV);
        if (dot(result.normal, lit - result.place) > 0) return result;
        tryU = hashedUnit(seed, 2 * attempt);
        tryV = hashedUnit(seed, 2 * attempt + 1);
    }
    return search(lit, tryU, tryV);
}

std::optional<LightSurface::Point> LightSurface::search(const V3d& lit, double u, double v) const {
    double facing = 0;
    facing_.visit(lit, [&](std::size_t i) {
        facing += areaOf(i);
        return true;
    });
    if (!(facing > 0)) return std::nullopt;
    double rest = u * facing;
    std::size_t last = 0;
    facing_.visit(lit, [&](std::size_t i) {
        last = i;
        const bool goesOn = rest >= areaOf(i);
        if (goesOn) rest -= areaOf(i);
        return goesOn;
    });
    return pointOf(last, rest / areaOf(last), v);
}

LightPoint anyPointOnLight(const miLight& light, const Placement& placement, const LightSurface* surface, double u,
                           double v) {
    if (surface) {
        const Point point = surface->anyPoint(u, v);
        return {narrow(point.place), narrow(unit(point.normal))};
    }
    // From their middle, the near side of round shapes is all of them.
    switch (light.area) {
        case miLIGHT_RECTANGLE: return inWorld(onRectangle(light, u, v), placement);
        case miLIGHT_DISC: return inWorld(onDisc(light, u, v), placement);
        case miLIGHT_SPHERE: return inWorld(onSphere(light, wide(light.origin), u, v), placement);
        case miLIGHT_CYLINDER: return inWorld(onCylinder(light, wide(light.origin), u, v), placement);
        default: return {narrow(transformPoint(wide(light.origin), placement.localToWorld)), {}};
    }
}

std::optional<LightPoint> pointOnLight(const miLight& light, const Placement& placement, const LightSurface* surface,
                                       const miVector& lit, double u, double v) {
    if (surface) {
        const std::optional<Point> point = surface->point(wide(lit), u, v);
        if (!point) return std::nullopt;
        return LightPoint{narrow(point->place), narrow(unit(point->normal))};
    }
    const auto local = [&] { return transformPoint(wide(lit), placement.worldToLocal); };
    switch (light.area) {
        case miLIGHT_RECTANGLE: return inWorld(onRectangle(light, u, v), placement);
        case miLIGHT_DISC: return inWorld(onDisc(light, u, v), placement);
        case miLIGHT_SPHERE: return inWorld(onSphere(light, local(), u, v), placement);
        case miLIGHT_CYLINDER: return inWorld(onCylinder(light, local(), u, v), placement);
        default: return LightPoint{narrow(transformPoint(wide(light.origin), placement.localToWorld)), {}};
    }
}

}  // namespace lumorender
