// Numbers of the scene language.
#pragma once

#include "parsing/token.h"

#include <string_view>

namespace lumorender {

/// Reads the number that begins at `begin` (a digit, a sign or a dot before one) into kind, integer and number.
/// @return behind the number.
const char* scanNumber(const char* begin, const char* end, Token& token);

/// "nan" or "inf".
float notFinite(std::string_view word);

}  // namespace lumorender
