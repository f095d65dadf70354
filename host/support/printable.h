// Text from scenes and shaders as it may be shown.
#pragma once

#include <string>
#include <string_view>

namespace lumorender {

/// The text without anything that moves a terminal's cursor, changes its colors, reverses the direction of writing or
/// begins another line: such characters, and bytes that are no UTF-8, are shown as \n, \t or \x1b. Letters of all
/// languages stay. What is longer than some thousand bytes is cut.
std::string printable(std::string_view text);

}  // namespace lumorender
