// All of a scene database as text, with every bit of its numbers: two scenes are the same where their texts are.
#pragma once

#include "database/database.h"

#include <string>

namespace lumorender {

/// Named elements in the order of their names, each with what it has without a name. Declarations are told where they
/// are used. Of tags only what they stand for counts, and of places in files nothing.
std::string databaseText(const Database& database);

}  // namespace lumorender
