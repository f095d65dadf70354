// Libraries of one function, made as they are needed.
#pragma once

#include <string>

namespace lumorender {

/// Loads a library that has a function of this name for all modules that are loaded from now on: it goes to `target`
/// with all its arguments, whatever they are. False where the system does not take such a library.
bool provideFunction(const std::string& name, void (*target)());

}  // namespace lumorender
