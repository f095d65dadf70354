// Reads `declare`: names, types and defaults of shader and data parameters.
#pragma once

#include "parsing/context.h"
#include "database/declaration.h"

#include <vector>

namespace lumorender {

/// The body is read once for each use.
struct PhenomenonDeclaration : Declaration {
    std::shared_ptr<const SourceText> body;  ///< up to and including "end declare", directives are carried out
};

/// Behind `declare`.
void readDeclaration(SceneContext& scene);

/// The shader's declaration with its functions looked up; null, and an error, where there is none to call.
Declaration* requireShaderDeclaration(SceneContext& scene, std::string_view name, miTag& tag);

/// The declaration of user data; null, and an error, where there is none that modules could read.
Declaration* requireDataDeclaration(SceneContext& scene, std::string_view name, miTag& tag);

/// `( type "name" default .., .. )`, from the opening bracket on.
std::vector<Parameter> readParameterDeclarations(SceneContext& scene, char opening);

/// True at a word that begins a type.
bool atType(const Cursor& in);

/// The type of a result: simple, or a struct without a name.
Parameter readResultType(SceneContext& scene);

/// True when both have the same names, types, members and defaults.
bool isSameLayout(const std::vector<Parameter>& a, const std::vector<Parameter>& b);

}  // namespace lumorender
