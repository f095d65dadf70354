// The database and the modules of this process: what exported functions without a state argument work on.
#pragma once

#include "database/database.h"
#include "database/modules.h"

namespace lumorender {

/// The scene database that shaders see. One for the program's life; thread-safe as Database says.
Database& hostDatabase();

/// The shader modules that were loaded.
Modules& hostModules();

}  // namespace lumorender
