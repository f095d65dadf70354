// Scenes as text, and what rays find in them.
#pragma once

#include "geometry/scene_geometry.h"
#include "tests/host/scene/scene_fixture.h"

#include <algorithm>

namespace lumorender {

/// The unit square in the plane z = 0, seen from above, with texture coordinates (x, y).
constexpr const char* kSquare = "group 0 0 0 1 0 0 1 1 0 0 1 0 v 0 t 0 v 1 t 1 v 2 t 2 v 3 t 3 c 0 1 2 3 end group";

/// Puts an element at a place and makes it so large: instances say how to get into the element's space.
inline std::string at(double x, double y, double z, double sx = 1, double sy = 1, double sz = 1) {
    return fmt::format(" transform {} 0 0 0 0 {} 0 0 0 0 {} 0 {} {} {} 1 ", 1 / sx, 1 / sy, 1 / sz, -x / sx, -y / sy,
                       -z / sz);
}

inline Ray rayFrom(const miVector& org, const miVector& dir, float time = 0) { return {org, dir, 0, 1e30, time}; }

/// Down the z axis from z = 10.
inline Ray down(float x, float y, float time = 0) { return rayFrom({x, y, 10}, {0, 0, -1}, time); }

/// The state that a ray's hit leaves, with memory for its lists.
struct Shaded {
    miState state = {};
    Hit hit;
    bool found = false;
    miVector textures[miMAX_TEXTURE_SPACES], bumpX[miMAX_TEXTURE_SPACES], bumpY[miMAX_TEXTURE_SPACES];
    miVector derivatives[miDERIVATIVES];
};

class TracedScene : public SceneTest {
protected:
    static std::string object(const std::string& name, const std::string& geometry, const char* flags = "") {
        return fmt::format("object \"{}\" visible shadow trace {} {} end object\n", name, flags, geometry);
    }
    /// A group and its instances, one a line: name, element and statements.
    static std::string group(const std::string& name, std::string instances) {
        std::string text, members;
        for (std::size_t end; (end = std::min(instances.find('\n'), instances.size())) > 0;
             instances.erase(0, end + 1)) {
            text += fmt::format("instance {} end instance\n", instances.substr(0, end));
            members += fmt::format(" {}", instances.substr(0, instances.find(' ')));
            end = std::min(end, instances.size() - 1);
        }
        return fmt::format("{}instgroup \"{}\" {} end instgroup\n", text, name, members);
    }
    static std::string root(const std::string& instances) { return group("root", instances); }

    void build(const std::string& text, const char* options = "") {
        EXPECT_TRUE(read(text + fmt::format("options \"o\" {} end options", options))) << errors;
        geometry = SceneGeometry::build(database, find("root"), record<miOptions>("o", miSCENE_OPTIONS));
    }

    std::unique_ptr<Shaded> shoot(const Ray& ray, bool flip = true) {
        auto result = std::make_unique<Shaded>();
        result->state.dir = ray.dir;
        result->found = geometry->intersect(ray, result->hit);
        const HitLists lists = {result->textures, result->bumpX, result->bumpY, result->derivatives};
        if (result->found) geometry->fillState(result->hit, result->state, lists, flip);
        return result;
    }

    std::unique_ptr<SceneGeometry> geometry;
};

}  // namespace lumorender
