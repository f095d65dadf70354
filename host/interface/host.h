// The database and the modules of this process: what exported functions without a state argument work on.
#pragma once

#include "database/database.h"
#include "database/modules.h"

namespace lumorender {

/// The scene database that shaders see. One for the program's life; thread-safe as Database says.
inline Database& hostDatabase() {
    static Database database;
    return database;
}

/// The shader modules that were loaded.
inline Modules& hostModules() {
    static Modules modules;
    return modules;
}

}  // namespace lumorender
