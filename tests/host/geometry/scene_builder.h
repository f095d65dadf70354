// Scenes put together in memory, without a scene file.
#pragma once

#include "database/elements.h"
#include "geometry/scene_geometry.h"
#include "mi/instance.h"
#include "mi/light.h"
#include "mi/object.h"
#include "mi/options.h"
#include "mi/vector_math.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

namespace lumorender::testing_scenes {

using Matrix = std::array<float, 16>;

inline constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// What an instance says that puts its element at this place: the matrix into the element's space.
inline Matrix at(float x, float y, float z) { return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -x, -y, -z, 1}; }

/// An element made `factor` times as large.
inline Matrix scaled(float x, float y, float z) { return {1 / x, 0, 0, 0, 0, 1 / y, 0, 0, 0, 0, 1 / z, 0, 0, 0, 0, 1}; }

/// One group of polygons, filled vertex by vertex.
class GroupBuilder {
public:
    explicit GroupBuilder(PolygonGroupSource& group) : group_(group) {}

    int vector(const miVector& v) {
        group_.vectors.push_back(v);
        return static_cast<int>(group_.vectors.size()) - 1;
    }
    VertexSource& vertex(const miVector& position) {
        VertexSource vertex;
        vertex.position = vector(position);
        vertex.firstExtra = static_cast<std::uint32_t>(group_.extras.size());
        return group_.vertices.emplace_back(vertex);
    }
    /// Adds to the latest vertex; in the order derivatives, textures, motions.
    void normal(const miVector& v) { group_.vertices.back().normal = vector(v); }
    void derivative(const miVector& v) {
        group_.extras.push_back(vector(v));
        ++group_.vertices.back().derivatives;
    }
    void texture(const miVector& v) {
        group_.extras.insert(group_.extras.end(), {vector(v), -1, -1});
        ++group_.vertices.back().textures;
    }
    void texture(const miVector& v, const miVector& bumpX, const miVector& bumpY) {
        const int t = vector(v), x = vector(bumpX), y = vector(bumpY);
        group_.extras.insert(group_.extras.end(), {t, x, y});
        ++group_.vertices.back().textures;
    }
    void motion(const miVector& v) {
        group_.extras.push_back(vector(v));
        ++group_.vertices.back().motions;
    }
    PolygonSource& polygon(std::vector<int> corners, bool convex = true) {
        PolygonSource polygon;
        polygon.first = static_cast<std::uint32_t>(group_.corners.size());
        polygon.count = static_cast<std::uint32_t>(corners.size());
        polygon.convex = convex;
        group_.corners.insert(group_.corners.end(), corners.begin(), corners.end());
        return group_.polygons.emplace_back(polygon);
    }

private:
    PolygonGroupSource& group_;
};

/// A scene with a root group. Objects are visible to all rays unless a test says otherwise.
class SceneBuilder {
public:
    Database database;
    miOptions options = {};
    miTag root;

    SceneBuilder() : root(group("root")) { options.face = 'a'; }

    miTag group(const std::string& name) {
        const miTag tag = database.define(name, miSCENE_GROUP, 16);
        database.setDetail(tag, std::make_unique<GroupDetail>());
        return tag;
    }
    void put(miTag groupTag, miTag instance) { database.detail<GroupDetail>(groupTag)->instances.push_back(instance); }

    miTag object(const std::string& name) {
        const miTag tag = database.define(name, miSCENE_OBJECT, sizeof(miObject));
        auto& record = *static_cast<miObject*>(database.record(tag));
        record.visible = 1;
        record.shadow = record.reflection = record.refraction = record.transparency = record.finalgather = 3;
        auto source = std::make_unique<ObjectSource>();
        source->groups.emplace_back();
        database.setDetail(tag, std::move(source));
        return tag;
    }
    miObject& objectRecord(miTag tag) { return *static_cast<miObject*>(database.record(tag)); }
    ObjectSource& source(miTag tag) { return *database.detail<ObjectSource>(tag); }
    GroupBuilder polygons(miTag tag) { return GroupBuilder(source(tag).groups.back()); }

    /// The unit square in the plane z = 0, seen from above: counter-clockwise, texture coordinates (x, y).
    miTag square(const std::string& name) {
        const miTag tag = object(name);
        GroupBuilder group = polygons(tag);
        for (const miVector& p : {miVector{0, 0, 0}, miVector{1, 0, 0}, miVector{1, 1, 0}, miVector{0, 1, 0}}) {
            group.vertex(p);
            group.texture(p);
        }
        group.polygon({0, 1, 2, 3});
        return tag;
    }

    /// Placed in `parent`, or in the root group.
    miTag instance(const std::string& name, miTag item, const Matrix& matrix = kIdentity, miTag parent = 0) {
        const miTag tag = database.define(name, miSCENE_INSTANCE, sizeof(miInstance));
        database.setDetail(tag, std::make_unique<InstanceDetail>());
        record(tag).item = item;
        std::copy(matrix.begin(), matrix.end(), record(tag).tf.global_to_local);
        put(parent ? parent : root, tag);
        return tag;
    }
    miInstance& record(miTag instance) { return *static_cast<miInstance*>(database.record(instance)); }
    InstanceDetail& detail(miTag instance) { return *database.detail<InstanceDetail>(instance); }
    void moveTo(miTag instance, const Matrix& atClose) {
        detail(instance).hasMotionTransform = true;
        std::copy(atClose.begin(), atClose.end(), record(instance).motion_transform);
    }

    std::unique_ptr<SceneGeometry> build() { return SceneGeometry::build(database, root, options); }
};

/// The state that a ray's hit leaves, with memory for its lists.
struct Shaded {
    miState state = {};
    Hit hit;
    bool found = false;
    miVector textures[miMAX_TEXTURE_SPACES], bumpX[miMAX_TEXTURE_SPACES], bumpY[miMAX_TEXTURE_SPACES];
    miVector derivatives[miDERIVATIVES];
};

inline std::unique_ptr<Shaded> shoot(const SceneGeometry& geometry, const Ray& ray, bool flip = true) {
    auto result = std::make_unique<Shaded>();
    result->found = geometry.intersect(ray, result->hit);
    if (!result->found) return result;
    result->state.org = ray.org;
    result->state.dir = ray.dir;
    const HitLists lists = {result->textures, result->bumpX, result->bumpY, result->derivatives};
    geometry.fillState(result->hit, result->state, lists, flip);
    return result;
}

inline Ray rayFrom(const miVector& org, const miVector& dir) {
    Ray ray;
    ray.org = org;
    ray.dir = dir;
    return ray;
}

/// Down the z axis from z = 10.
inline Ray down(float x, float y) { return rayFrom({x, y, 10}, {0, 0, -1}); }

#define EXPECT_VECTOR(actual, ex, ey, ez, tolerance) \
    do {                                             \
        const miVector& vectorToTest = (actual);     \
        EXPECT_NEAR(vectorToTest.x, ex, tolerance);  \
        EXPECT_NEAR(vectorToTest.y, ey, tolerance);  \
        EXPECT_NEAR(vectorToTest.z, ez, tolerance);  \
    } while (false)

}  // namespace lumorender::testing_scenes
