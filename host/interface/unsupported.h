// The answer to requests for what this host does not have.
#pragma once

#include "support/messages.h"

namespace lumorender {

/// Says once that a module asked for something this host does not have, and answers null, 0 or false.
template <class Answer>
Answer unsupported(const char* what) noexcept {
    warning("API", "the shader interface's {} is not supported", what);
    return Answer{};
}

}  // namespace lumorender
