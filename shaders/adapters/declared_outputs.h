/* Where the result of another library's shader keeps its outputs, by name, as the scene declares them. */
#pragma once

#include <optional>
#include <string_view>

#include <shader.h>

namespace lumo {

struct DeclaredOutput {
    int offset = 0; /* bytes from the beginning of the result */
    bool isScalar = false;
};

/* The output of this name in the text of a declaration, as `struct { color "a", scalar "b" } ...` begins; of a result
 * that is no struct the name is "result". Nothing where there is none that is a color or a scalar. Records are laid out
 * as in C. */
std::optional<DeclaredOutput> declaredOutput(std::string_view declaration, std::string_view name);

/* The text of a shader's declaration; empty where the renderer does not tell. */
std::string_view declarationOf(miState* state, miTag shader);

}  // namespace lumo
