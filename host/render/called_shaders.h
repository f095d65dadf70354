// Shaders that a scene calls while it is read.
#pragma once

#include "database/database.h"

#include <string>

namespace lumorender {

/// Calls the shaders of a slot once, between their init and exit, in a state that knows the group, the camera and the
/// options, and no place: rays meet nothing. What modules throw ends here. The thread that reads the scene.
/// @return false, after a message, where they could not be called or say that they failed.
bool callShaders(Database& database, miTag shaders, miTag group, miTag cameraInstance, miTag options,
                 const std::string& where);

}  // namespace lumorender
