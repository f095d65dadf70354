#include "elements/free_form_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

using Kind = BasisSource::Kind;

long pointsOf(const BasisSource& basis, std::size_t parameters) {
    const long ends = static_cast<long>(parameters), pieces = ends - 1;
    switch (basis.kind) {
        case Kind::Bezier: return pieces < 1 ? -1 : pieces * basis.degree + 1;
        case Kind::BSpline: return ends < 2 * (basis.degree + 1) ? -1 : ends - basis.degree - 1;
        case Kind::Cardinal: return pieces < 1 ? -1 : pieces + 3;
        case Kind::Taylor: return pieces < 1 ? -1 : pieces * (basis.degree + 1);
        case Kind::Matrix: return pieces < 1 ? -1 : (pieces - 1) * basis.step + basis.degree + 1;
    }
    return -1;
}

std::string problemOfParameters(const DirectionSource& direction) {
    const auto& numbers = direction.parameters;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (!std::isfinite(numbers[i])) return fmt::format("found the parameter {}, expected a number", numbers[i]);
        if (i > 0 && numbers[i] < numbers[i - 1])
            return fmt::format("found the parameter {} behind {}, expected none that is less", numbers[i],
                               numbers[i - 1]);
    }
    if (pointsOf(direction.basis, numbers.size()) >= 0) return {};
    const int least = direction.basis.kind == Kind::BSpline ? 2 * (direction.basis.degree + 1) : 2;
    return fmt::format("found {} parameters, expected at least {} for the basis \"{}\"", numbers.size(), least,
                       direction.basis.name);
}

std::string useWholeRange(DirectionSource& direction) {
    const std::size_t skip =
        direction.basis.kind == Kind::BSpline ? static_cast<std::size_t>(direction.basis.degree) : 0;
    direction.low = direction.parameters[skip];
    direction.high = direction.parameters[direction.parameters.size() - 1 - skip];
    if (direction.low < direction.high) return {};
    return fmt::format("found parameters from {} to {}, expected a range", direction.low, direction.high);
}

std::string useRange(DirectionSource& direction, float low, float high) {
    std::string problem = useWholeRange(direction);
    if (!problem.empty()) return problem;
    if (!(low < high) || !(low < direction.high) || !(high > direction.low))
        return fmt::format("found the range {} to {}, expected a part of {} to {}", low, high, direction.low,
                           direction.high);
    direction.low = std::max(direction.low, low);
    direction.high = std::min(direction.high, high);
    return {};
}

}  // namespace lumorender
