/* Array parameters. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "binding/renderer.h"

namespace lumo {

/* As it stands in a parameter record. Element k lies `start + k` elements behind the inline one. */
template <class T>
struct ParameterArray {
    miInteger start, count;
    T elements[1];
};

/* Whether `count` elements from `start` on end within so many bytes behind the beginning of the inline one. */
constexpr bool fitsBytes(std::int64_t bytes, std::size_t elementSize, miInteger start, miInteger count) {
    return start >= 0 && count >= 0 && (std::int64_t{start} + count) * static_cast<std::int64_t>(elementSize) <= bytes;
}

/* Whether the elements of an array lie in the block of the running shader. Where the renderer does not tell its size, or
 * the array is that of another shader, its numbers must be such that a scene could have them. */
inline bool fitsBlock(const miFunction* function, const void* inlineElement, std::size_t elementSize, miInteger start,
                      miInteger count) {
    constexpr miInteger kMostElements = 1 << 24;
    const char* const begin = function ? function->parameters : nullptr;
    const auto* const first = static_cast<const char*>(inlineElement);
    if (!begin || std::less<>()(first, begin) || !std::less<>()(first, begin + function->parameter_size))
        return start >= 0 && start <= kMostElements && count >= 0 && count <= kMostElements;
    return fitsBytes(begin + function->parameter_size - first, elementSize, start, count);
}

}  // namespace lumo
