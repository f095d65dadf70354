// Reads the types of parameters and results in declarations.
#pragma once

#include "database/declaration.h"
#include "scene/context.h"

#include <vector>

namespace lumorender {

/// `( type "name" default .., .. )`, from the opening bracket on.
std::vector<Parameter> readParameterDeclarations(SceneContext& scene, char opening);

/// True at a word that begins a type.
bool atType(const Cursor& in);

/// The type of a result: simple, or a struct without a name.
Parameter readResultType(SceneContext& scene);

/// True when both have the same names, types, members and defaults.
bool isSameLayout(const std::vector<Parameter>& a, const std::vector<Parameter>& b);

}  // namespace lumorender
