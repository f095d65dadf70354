// A floor that shows its ambient occlusion, and what covers it.
#pragma once

#include "harness.h"
#include "scene_text.h"

#include <fmt/format.h>

#include <cmath>

namespace rendertest {

constexpr double kPi = 3.14159265358979323846;
constexpr double kHeight = 1.5;  // of what covers the floor

/// Eight by eight pixels that all but coincide look straight down at a floor at z = -5, which shows its occlusion.
inline SceneText floorScene(const std::string& settings, const std::string& options = {}) {
    SceneText scene;
    scene.before = "link \"plain_occlusion.so\"\n$include <plain_occlusion.mi>\n";
    scene.options = "samples 0 0 " + options;
    scene.camera = "aperture .001 resolution 8 8";
    scene.elements = "material \"m\" \"plain_occlusion\" ( \"rays\" 1024 " + settings + " ) end material\n" +
                     constantMaterial("black", "0 0 0 1") + wall("floor", -5, "m", 100000);
    scene.members = "\"floor\"";
    return scene;
}

/// A wall along the plane x = -distance, which shows the same.
inline void addWall(SceneText& scene, double distance) {
    scene.elements += wall("side", -distance, "m", 100000, "transform " + turned({0, 1, 0}, 90).inverse().text());
    scene.members += " \"side\"";
}

/// Above the floor's middle, out of the camera's sight.
inline void addCeiling(SceneText& scene, const std::string& flags = "visible off") {
    scene.elements += wall("ceiling", -5 + kHeight, "black", 100000, flags);
    scene.members += " \"ceiling\"";
}

inline void addDisc(SceneText& scene, double radius) {
    constexpr int kCorners = 512;  // area of the circle to 3e-5
    std::string corners, vertices, face = " c";
    for (int i = 0; i < kCorners; ++i) {
        const double angle = 2 * kPi * i / kCorners;
        corners +=
            fmt::format("{:.9g} {:.9g} {:.9g}\n", radius * std::cos(angle), radius * std::sin(angle), -5 + kHeight);
        vertices += fmt::format("v {} ", i);
        face += fmt::format(" {}", i);
    }
    scene.elements += "object \"disc_o\" shadow trace group " + corners + vertices + face +
                      " end group end object\ninstance \"disc\" \"disc_o\" material \"black\" end instance\n";
    scene.members += " \"disc\"";
}

/// Of all pixels, as the module's material shows it.
inline V3 meanBent(const Picture& image) {
    V3 sum;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            sum = sum + V3{image.at("G", x, y), image.at("B", x, y), image.at("A", x, y)};
    return (1.0 / (image.width * image.height)) * sum;
}

}  // namespace rendertest
