// Texts that cannot change while a module stays loaded: their address stands for them.
#pragma once

#include <cstdint>
#include <vector>

namespace lumorender {

/// What the program and the modules that are loaded when it is made may only read, as literals of their sources are.
class Literals {
public:
    Literals();

    /// From any thread. False for what was loaded later.
    bool hold(const char* text) const noexcept;

private:
    struct Range {
        std::uintptr_t begin, end;
    };
    std::vector<Range> ranges_;  ///< in order
};

}  // namespace lumorender
