/* Reading parameters. */
#pragma once

#include "math/color.h"

#include "shader.h"

#include <cstdint>
#include <functional>

namespace materials {

/*
 * Values of parameters, connected ones evaluated, brought into the range that shading can rely on: what is no number
 * becomes the lower bound. The references must be members of the block that the shader was called with.
 */
class Parameters {
public:
    explicit Parameters(miState* state) : state_(state) {}

    /* As it is. */
    template <class T>
    const T& operator()(const T& parameter) const {
        return *static_cast<const T*>(mi_eval(state_, &parameter));
    }

    /* Whether the elements of an array lie in the parameter block of the shader, where the renderer tells its size. Where
     * it does not, or the array is that of another shader, its numbers must be such that a scene could have them. */
    bool holds(const void* inlineElement, int elementSize, int start, int count) const {
        constexpr int kMostElements = 1 << 24;
        const miFunction* function = state_->shader;
        const auto* block = function ? function->parameters : nullptr;
        const auto* first = static_cast<const char*>(inlineElement);
        if (start < 0 || count < 0) return false;
        if (!block || std::less<>()(first, block) || !std::less<>()(first, block + function->parameter_size))
            return start <= kMostElements && count <= kMostElements;
        return (std::int64_t{start} + count) * elementSize <= block + function->parameter_size - first;
    }

    bool isOn(const miBoolean& parameter) const { return (*this)(parameter) != miFALSE; }

    miScalar within(const miScalar& parameter, miScalar low, miScalar high) const {
        return clamped((*this)(parameter), low, high);
    }

    miScalar share(const miScalar& parameter) const { return within(parameter, 0, 1); }

    int count(const miInteger& parameter, int low, int high) const {
        const int value = (*this)(parameter);
        return value > low ? (value < high ? value : high) : low;
    }

    /* Red, green and blue, which may be above 1 and below 0; not a number is 0. */
    miColor color(const miColor& parameter) const { return finite((*this)(parameter)); }

    /* Not below 0. */
    miColor reflectance(const miColor& parameter) const { return positive(color(parameter)); }

private:
    miState* state_;
};

}  // namespace materials
