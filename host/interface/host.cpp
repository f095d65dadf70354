#include "interface/host.h"

namespace lumorender {

Database& hostDatabase() {
    static Database database;
    return database;
}

Modules& hostModules() {
    static Modules modules;
    return modules;
}

}  // namespace lumorender
