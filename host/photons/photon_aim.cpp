#include "photons/photon_aim.h"

#include "geometry/hair.h"
#include "geometry/mesh.h"
#include "geometry/on_demand.h"
#include "geometry/shader_shape.h"
#include "tracing/context.h"
#include "tracing/shader_table.h"

#include <ImathBox.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <unordered_map>

namespace lumorender {

namespace {

using Imath::Box3d;

constexpr int kMostLevels = 40;  // of halving
constexpr std::size_t kManyCells = 1 << 13;
constexpr double kMostOfAll = 0.9;   // more than this is not worth choosing
constexpr int kPieces = 4;           // of a box along its longest edge
constexpr std::size_t kMany = 1000;  // boxes that are left in one piece

Box3d boxOf(const FlatInstance& instance) {
    Box3d box;
    if (instance.onDemand) return instance.onDemand->box;
    if (instance.shape) return instance.shape->box;
    if (instance.mesh)
        for (const miVector& position : instance.mesh->positions) box.extendBy(wide(position));
    if (instance.hair && !instance.hair->points.empty())
        for (const CurvePoint& point : instance.hair->points.front()) {
            const V3d place(point.x, point.y, point.z), radius(std::abs(static_cast<double>(point.radius)));
            box.extendBy(place - radius);
            box.extendBy(place + radius);
        }
    return box;
}

/// Objects that are still to come may have any material.
bool hasPhotonShader(const RenderScene& scene, const FlatInstance& instance) {
    if (instance.onDemand || instance.surfaceMaterials.empty()) return true;
    return std::ranges::any_of(instance.surfaceMaterials, [&](miTag tag) {
        const miMaterial* material = scene.slots->material(tag);
        return material && material->photon != 0;
    });
}

/// Around a box of the instance's space, in world space.
SceneSphere ballAround(const Box3d& box, const M44d& toWorld) {
    SceneSphere ball{transformPoint(box.center(), toWorld), 0};
    for (unsigned corner = 0; corner < 8; ++corner) {
        const V3d place(corner & 1 ? box.max.x : box.min.x, corner & 2 ? box.max.y : box.min.y,
                        corner & 4 ? box.max.z : box.min.z);
        ball.radius = std::max(ball.radius, length(transformPoint(place, toWorld) - ball.centre));
    }
    ball.radius = 1.0001 * ball.radius + 1e-6;
    return ball;
}

/// Balls around pieces of about the same size fill a long box better than one.
void addBalls(const Box3d& box, int pieces, const M44d& toWorld, std::vector<SceneSphere>& balls) {
    const V3d size = box.size();
    const double piece = std::max({size.x, size.y, size.z}) / pieces;
    const auto piecesOf = [&](double edge) {
        return piece > 0 ? std::max(1, static_cast<int>(std::ceil(edge / piece - 1e-6))) : 1;
    };
    const int nx = piecesOf(size.x), ny = piecesOf(size.y), nz = piecesOf(size.z);
    const V3d step(size.x / nx, size.y / ny, size.z / nz);
    for (int x = 0; x < nx; ++x)
        for (int y = 0; y < ny; ++y)
            for (int z = 0; z < nz; ++z) {
                const V3d low = box.min + step * V3d(x, y, z);
                balls.push_back(ballAround({low, low + step}, toWorld));
            }
}

/// Does the direction in which a photon leaves, or its place on the disc of a far light, follow from two numbers alone?
bool followsFromTwo(const LightSource& source) {
    const miLight& light = *source.light;
    if (light.emitter != 0) return false;
    if (source.directional || light.type == miLIGHT_SPOT) return light.area != miLIGHT_OBJECT;
    return light.area != miLIGHT_SPHERE && light.area != miLIGHT_CYLINDER && light.area != miLIGHT_OBJECT;
}

/// How far the light's shape reaches from its origin.
double reachOf(const LightSource& source) {
    if (source.directional) return 0;
    constexpr int kSteps = 16;
    double reach = 0;
    for (int u = 0; u <= kSteps; ++u)
        for (int v = 0; v <= kSteps; ++v) {
            const LightPoint point = anyPointOnLight(*source.light, *source.placement, source.surface,
                                                     static_cast<double>(u) / kSteps, static_cast<double>(v) / kSteps);
            reach = std::max(reach, length(wide(point.place) - wide(source.origin)));
        }
    return 1.05 * reach;
}

}  // namespace

std::vector<SceneSphere> causticCasters(const RenderScene& scene) {
    std::vector<const FlatInstance*> casters;
    for (const FlatInstance& instance : scene.geometry->instances())
        if ((instance.photons & kCausticCast) != 0 && hasPhotonShader(scene, instance)) casters.push_back(&instance);
    const int pieces = casters.size() > kMany ? 1 : kPieces;
    std::unordered_map<const void*, Box3d> boxes;
    std::vector<SceneSphere> balls;
    for (const FlatInstance* instance : casters) {
        const void* shape = instance->onDemand ? static_cast<const void*>(instance->onDemand)
                            : instance->shape  ? static_cast<const void*>(instance->shape)
                            : instance->mesh   ? static_cast<const void*>(instance->mesh)
                                               : static_cast<const void*>(instance->hair);
        const auto [found, isNew] = boxes.try_emplace(shape);
        if (isNew) found->second = boxOf(*instance);
        if (!found->second.isEmpty()) addBalls(found->second, pieces, instance->placement->localToWorld, balls);
    }
    return balls;
}

/// The balls as the light sees them.
class PhotonAim::Projection {
public:
    Projection(const LightSource& source, const SceneSphere& scene, std::span<const SceneSphere> balls)
        : source_(source), scene_(scene), reach_(reachOf(source)) {
        for (const SceneSphere& ball : balls) whole_.balls.push_back(&ball);
    }

    /// Halves all rectangles and leaves out those that lead to no ball, until there are many.
    std::vector<Cell> cells(double& share) const {
        share = 1;
        std::vector<Part> parts = {whole_};
        for (int level = 0; level < kMostLevels && !parts.empty() && parts.size() < kManyCells; ++level) {
            share /= 2;
            std::vector<Part> halves;
            for (const Part& part : parts) halve(part, halves);
            parts = std::move(halves);
        }
        share *= static_cast<double>(parts.size());
        std::vector<Cell> cells;
        for (const Part& part : parts) cells.push_back(part.cell);
        return cells;
    }

private:
    using Balls = std::vector<const SceneSphere*>;

    struct Part {
        Cell cell;
        Balls balls;  ///< that it leads to
    };

    /// Across its longer direction, as the light sees it.
    void halve(const Part& part, std::vector<Part>& halves) const {
        const Cell& cell = part.cell;
        const double u = cell.u + cell.width / 2, v = cell.v + cell.height / 2;
        const bool isHigh = cell.height > 0.5 || distance(start(u, cell.v), start(u, cell.v + cell.height)) >
                                                     distance(start(cell.u, v), start(cell.u + cell.width, v));
        Cell half = cell;
        (isHigh ? half.height : half.width) /= 2;
        for (int side = 0; side < 2; ++side) {
            Balls near = ballsNear(half, part.balls);
            if (!near.empty()) halves.push_back({half, std::move(near)});
            (isHigh ? half.v : half.u) += isHigh ? half.height : half.width;
        }
    }

    /// The balls that light of the rectangle may meet. It lies between two circles around the axis and two rays from it,
    /// so none of it is farther from its middle than its corners are, if it goes no more than half around.
    Balls ballsNear(const Cell& cell, const Balls& balls) const {
        if (cell.height > 0.5) return balls;
        const PhotonStart middle = start(cell.u + cell.width / 2, cell.v + cell.height / 2);
        double radius = 0;
        for (const double u : {cell.u, cell.u + cell.width})
            for (const double v : {cell.v, cell.v + cell.height})
                radius = std::max(radius, distance(middle, start(u, v)));
        constexpr double kRounding = 2e-6;
        radius += kRounding * (source_.directional ? scene_.radius : 1);
        Balls near;
        std::ranges::copy_if(balls, std::back_inserter(near),
                             [&](const SceneSphere* ball) { return meets(middle, radius, *ball); });
        return near;
    }

    PhotonStart start(double u, double v) const { return photonStart(source_, scene_, {u, v, 0.5, 0.5}); }

    /// Between places on the disc of a far light, else the angle between directions.
    double distance(const PhotonStart& a, const PhotonStart& b) const {
        if (source_.directional) return length(wide(a.origin) - wide(b.origin));
        return angle(wide(a.direction), wide(b.direction));
    }

    static double angle(const V3d& a, const V3d& b) { return std::atan2(length(cross(a, b)), dot(a, b)); }

    /// A ray that begins elsewhere on the light passes the ball by as much more or less as its beginning is away.
    bool meets(const PhotonStart& middle, double radius, const SceneSphere& ball) const {
        if (source_.directional) {
            const V3d way = ball.centre - wide(middle.origin), along = wide(source_.direction);
            return length(way - along * dot(way, along)) <= ball.radius + radius;
        }
        const V3d way = ball.centre - wide(source_.origin);
        const double away = length(way), wideness = ball.radius + reach_;
        return away <= wideness || angle(wide(middle.direction), way) <= std::asin(wideness / away) + radius;
    }

    const LightSource& source_;
    const SceneSphere& scene_;
    const double reach_;
    Part whole_;
};

PhotonAim::PhotonAim(const LightSource& source, const SceneSphere& scene, std::span<const SceneSphere> balls) {
    if (!followsFromTwo(source)) return;
    cells_ = Projection(source, scene, balls).cells(share_);
    if (share_ <= kMostOfAll) return;
    cells_.clear();
    share_ = 1;
}

void PhotonAim::aim(double& u, double& v) const {
    if (cells_.empty()) return;
    const double place = u * static_cast<double>(cells_.size());
    const std::size_t chosen = std::min(static_cast<std::size_t>(place), cells_.size() - 1);
    const Cell& cell = cells_[chosen];
    u = cell.u + cell.width * (place - static_cast<double>(chosen));
    v = cell.v + cell.height * v;
}

}  // namespace lumorender
