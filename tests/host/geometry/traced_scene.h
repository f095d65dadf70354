// Scenes as text, and what rays find in them.
#pragma once

#include "geometry/scene_geometry.h"
#include "tests/host/scene/scene_fixture.h"

#include <sstream>

namespace lumorender {

/// The unit square in the plane z = 0, seen from above, with texture coordinates (x, y).
constexpr const char* kSquare = "group 0 0 0 1 0 0 1 1 0 0 1 0 v 0 t 0 v 1 t 1 v 2 t 2 v 3 t 3 c 0 1 2 3 end group";

/// Puts an element at a place: instances say how to get into the element's space.
inline std::string at(double x, double y, double z) {
    return fmt::format(" transform 1 0 0 0 0 1 0 0 0 0 1 0 {} {} {} 1 ", -x, -y, -z);
}

inline Ray rayFrom(const miVector& org, const miVector& dir) { return {org, dir}; }

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
    static std::string object(const std::string& name, const std::string& geometry) {
        return fmt::format("object \"{}\" visible shadow trace {} end object\n", name, geometry);
    }
    /// A group and its instances, one a line: name, element and statements.
    static std::string group(const std::string& name, const std::string& instances) {
        std::string text, members;
        std::istringstream lines(instances);
        for (std::string line; std::getline(lines, line);) {
            text += fmt::format("instance {} end instance\n", line);
            members += fmt::format(" {}", line.substr(0, line.find(' ')));
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
