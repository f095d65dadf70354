// Groups that come from files of their own.
#pragma once

#include "database/elements.h"

#include <string>

namespace lumorender {

/// Of a miSCENE_GROUP that is an assembly.
struct AssemblyGroup : GroupDetail {
    std::string file;  ///< that its elements come from
};

}  // namespace lumorender
