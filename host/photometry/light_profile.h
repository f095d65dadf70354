// The light profiles of a scene.
#pragma once

#include "database/database.h"
#include "photometry/photometric_files.h"

#include <memory>
#include <optional>
#include <string>

namespace lumorender {

/// Of a miSCENE_LIGHTPROFILE: what the scene says, and what its file says.
struct LightProfile : Detail {
    std::optional<PhotometricFormat> format;  ///< none: the file's name tells
    std::string file;
    Curve curve = Curve::Straight;
    int horizontalSteps = 0, verticalSteps = 0;             ///< 0 = the angles of the file
    std::shared_ptr<const LightDistribution> distribution;  ///< null where the file is broken
};

/// The record that shaders get a pointer to. They hand it back to the host and look at nothing in it.
struct LightProfileRecord {
    const LightDistribution* distribution;
    void* unused;
};

}  // namespace lumorender
