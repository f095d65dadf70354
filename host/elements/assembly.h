// Scenes within a scene, in files of their own.
#pragma once

#include "parsing/context.h"

namespace lumorender {

/// Behind `assembly`: reads the file's elements now, into a namespace of the assembly's name. Its root group stands
/// under that name from then on.
void readAssembly(SceneContext& scene);

/// Behind `root` of an assembly's file.
void readAssemblyRoot(SceneContext& scene);

}  // namespace lumorender
