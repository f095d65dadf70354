#include "geometry/light_shapes.h"

#include "support/geometry.h"

#include <cmath>

namespace lumorender {

namespace {

constexpr int kAround = 72;  // 1 - cos(pi / 72) = 0.00095
constexpr int kDown = 36;

/// Rows of `columns` + 1 vertices each, joined to quadrilaterals; the surface's outside is where rows run downwards and
/// columns counter-clockwise.
class Grid {
public:
    Grid(int rows, int columns) : columns_(static_cast<std::uint32_t>(columns)) {
        for (std::uint32_t row = 0; row < static_cast<std::uint32_t>(rows); ++row)
            for (std::uint32_t column = 0; column < columns_; ++column) addQuad(row * (columns_ + 1) + column);
        mesh_->surfaces.emplace_back();
    }

    void add(const miVector& position, const miVector& normal) {
        mesh_->positions.push_back(position);
        mesh_->normals.push_back(normal);
    }
    std::unique_ptr<Mesh> take() { return std::move(mesh_); }

private:
    void addQuad(std::uint32_t first) {
        const std::uint32_t below = first + columns_ + 1;
        for (const std::uint32_t vertex : {first, below, below + 1, first, below + 1, first + 1})
            mesh_->indices.push_back(vertex);
    }

    std::uint32_t columns_;
    std::unique_ptr<Mesh> mesh_ = std::make_unique<Mesh>();
};

miVector aroundAxis(const miVector& x, const miVector& y, int step) {
    const double angle = 2 * M_PI * (step % kAround) / kAround;
    return x * static_cast<float>(std::cos(angle)) + y * static_cast<float>(std::sin(angle));
}

std::unique_ptr<Mesh> rectangle(const miVector& centre, const miVector& u, const miVector& v) {
    Grid grid(1, 1);
    const miVector normal = unit(cross(u, v));
    for (const float y : {0.5F, -0.5F})
        for (const float x : {-0.5F, 0.5F}) grid.add(centre + u * x + v * y, normal);
    return grid.take();
}

std::unique_ptr<Mesh> disc(const miVector& centre, const miVector& normal, float radius) {
    Grid grid(1, kAround);
    const miVector x = perpendicular(normal), y = cross(normal, x);
    for (int i = 0; i <= kAround; ++i) grid.add(centre, normal);
    for (int i = 0; i <= kAround; ++i) grid.add(centre + aroundAxis(x, y, i) * radius, normal);
    return grid.take();
}

std::unique_ptr<Mesh> sphere(const miVector& centre, float radius) {
    Grid grid(kDown, kAround);
    for (int row = 0; row <= kDown; ++row) {
        const double polar = M_PI * row / kDown;
        const float outwards = row == kDown ? 0 : static_cast<float>(std::sin(polar));
        for (int i = 0; i <= kAround; ++i) {
            miVector normal = aroundAxis({1, 0, 0}, {0, 1, 0}, i) * outwards;
            normal.z = static_cast<float>(std::cos(polar));
            grid.add(centre + normal * radius, normal);
        }
    }
    return grid.take();
}

std::unique_ptr<Mesh> cylinder(const miVector& centre, const miVector& axis, float radius) {
    Grid grid(1, kAround);
    const miVector x = perpendicular(unit(axis)), y = cross(unit(axis), x);
    for (const float end : {0.5F, -0.5F})
        for (int i = 0; i <= kAround; ++i) {
            const miVector normal = aroundAxis(x, y, i);
            grid.add(centre + axis * end + normal * radius, normal);
        }
    return grid.take();
}

bool hasExtent(const miVector& v) { return isFinite(v) && !isZero(v); }

bool hasExtent(float radius) { return std::isfinite(radius) && radius > 0; }

}  // namespace

std::unique_ptr<Mesh> lightShape(const miLight& light) {
    const miLight_primitive& p = light.primitive;
    const miVector& centre = light.origin;
    if (!light.visible || light.type == miLIGHT_DIRECTION || !isFinite(centre)) return nullptr;
    switch (light.area) {
        case miLIGHT_RECTANGLE:
            if (!hasExtent(cross(p.rectangle.edge_u, p.rectangle.edge_v))) return nullptr;
            return rectangle(centre, p.rectangle.edge_u, p.rectangle.edge_v);
        case miLIGHT_DISC:
            if (!hasExtent(p.disc.normal) || !hasExtent(p.disc.radius)) return nullptr;
            return disc(centre, unit(p.disc.normal), p.disc.radius);
        case miLIGHT_SPHERE: return hasExtent(p.sphere.radius) ? sphere(centre, p.sphere.radius) : nullptr;
        case miLIGHT_CYLINDER:
            if (!hasExtent(p.cylinder.axis) || !hasExtent(p.cylinder.radius)) return nullptr;
            return cylinder(centre, p.cylinder.axis, p.cylinder.radius);
        default: return nullptr;
    }
}

}  // namespace lumorender
