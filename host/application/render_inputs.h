// What decides a picture outside of the render itself.
#pragma once

#include "application/command_line.h"
#include "database/modules.h"
#include "parsing/scene_actions.h"
#include "saving/identity.h"

namespace lumorender {

/// The program, the scene's texts, the modules and what the command line says, for the `number`th render command. Files
/// are known by their names without folders: machines of a farm may have them in different places.
Identity renderInputs(const CommandLine& commandLine, const RenderCommand& command, const Modules& modules, int number);

}  // namespace lumorender
