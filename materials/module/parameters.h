/* Reading parameters. */
#pragma once

#include "math/color.h"

#include "shader.h"

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
