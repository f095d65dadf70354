// How building by calls goes wrong.
#pragma once

#include <fmt/format.h>

#include <string>
#include <utility>

namespace lumorender {

/// Thrown where a call is out of order or out of range. Told with the names of the function and of the shader.
struct Misuse {
    std::string text;
};

template <class... Args>
[[noreturn]] void refuse(fmt::format_string<Args...> text, Args&&... args) {
    throw Misuse{fmt::format(text, std::forward<Args>(args)...)};
}

}  // namespace lumorender
