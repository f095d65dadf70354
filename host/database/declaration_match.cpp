#include "database/declaration_match.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

/// Truth values are integers in memory, and textures of all kinds are tags that look-ups check themselves.
miParam_type kindOf(miParam_type type) {
    switch (type) {
        case miTYPE_BOOLEAN: return miTYPE_INTEGER;
        case miTYPE_COLOR_TEX:
        case miTYPE_SCALAR_TEX:
        case miTYPE_VECTOR_TEX: return miTYPE_TEX;
        default: return type;
    }
}

bool fits(const Parameter& found, const Parameter& expected) {
    return found.isArray == expected.isArray && kindOf(found.type) == kindOf(expected.type) &&
           std::equal(found.members.begin(), found.members.end(), expected.members.begin(), expected.members.end(),
                      fits);
}

std::string describe(const Parameter& parameter) {
    return fmt::format("{}{} \"{}\"", parameter.isArray ? "array " : "", nameOfType(parameter.type), parameter.name);
}

}  // namespace

std::string layoutDifference(const Declaration& found, const Declaration& expected) {
    if (!fits(found.result, expected.result))
        return fmt::format("the result is {}, expected {}", nameOfType(found.result.type),
                           nameOfType(expected.result.type));
    const std::size_t common = std::min(found.parameters.size(), expected.parameters.size());
    for (std::size_t i = 0; i < common; ++i)
        if (!fits(found.parameters[i], expected.parameters[i]))
            return fmt::format("parameter {} is {}, expected {}", i + 1, describe(found.parameters[i]),
                               describe(expected.parameters[i]));
    return {};
}

std::size_t completeParameters(Declaration& found, const Declaration& expected) {
    const std::size_t before = found.parameters.size();
    for (std::size_t i = before; i < expected.parameters.size(); ++i)
        found.parameters.push_back(expected.parameters[i]);
    return found.parameters.size() - before;
}

}  // namespace lumorender
