// Formulas over the pixels of rendered pictures, as the comments of scenes in cases/ state what they expect.
#pragma once

#include "harness.h"

#include <array>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace rendertest {

/// Colors and vectors; a scalar is four times the same.
using Value = std::array<double, 4>;

/// Where a formula is evaluated, and what it can see. The pictures of other cases go by their names.
struct PixelContext {
    const Picture* picture = nullptr;
    const std::map<std::string, Picture>* others = nullptr;
    int x = 0, y = 0;
    mutable double u = 0, v = 0;  ///< the variables of integrals
};

using Formula = std::function<Value(const PixelContext&)>;

/// "left = right", "left < right" or "left > right"; "~ tolerance" replaces the usual one of equations.
struct Assertion {
    Formula left, right, tolerance;
    char comparison = '=';
};

/// The names that `let` has given to formulas.
using Formulas = std::map<std::string, Formula>;

/// Both throw std::runtime_error with what they did not understand.
Formula readFormula(std::string_view text, const Formulas& known);
Assertion readAssertion(std::string_view text, const Formulas& known);

}  // namespace rendertest
