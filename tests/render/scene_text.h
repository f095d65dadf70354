// Scenes put together from their parts. What a test does not care about has a default.
#pragma once

#include "space.h"

#include <string>

namespace rendertest {

/// A camera at the origin that looks along -z at 4 x 4 pixels; the field of view is 90 degrees in both directions.
struct SceneText {
    std::string before;  ///< links and includes besides the test modules'
    std::string options = "samples 0 0";
    std::string buffers =
        "framebuffer \"beauty\" datatype \"rgba_fp\" primary on filename \"out.exr\" filetype \"exr\"";
    std::string camera;       ///< lens, environment, changes of what stands below
    std::string cameraPlace;  ///< transform of the camera's instance
    std::string elements;     ///< materials, lights, objects and their instances
    std::string members;      ///< the instances of the root group
    std::string after;        ///< behind the render command

    std::string text() const;
};

/// An object and its instance: a square of half width `size` around the axis, at this z, facing the camera (+z). Its
/// texture coordinates run from 0 to 1.
std::string wall(const std::string& name, double z, const std::string& material, double size = 1000,
                 const std::string& instance = {});

/// The same: a box around its origin; `inside` turns its faces to the inside.
std::string box(const std::string& name, V3 half, const Placing& place, bool inside, const std::string& instance);

std::string constantMaterial(const std::string& name, const std::string& color);

/// Links and includes of the shader library.
std::string libraryPrelude();

}  // namespace rendertest
