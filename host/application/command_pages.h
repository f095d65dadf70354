// What is made of the table of the command line's words.
#pragma once

#include "application/command_line.h"

#include <string>

namespace lumorender {

/// The text of a page, lines ended; empty for none.
std::string pageText(Page page);

}  // namespace lumorender
