#include "parameters/parameter_block.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

ParameterBlock::ParameterBlock(const std::vector<Parameter>& parameters, std::size_t size)
    : values_(size), ghosts_(size) {
    setDefaults(parameters, 0);
}

ParameterBlock::ParameterBlock(const char* values, const char* ghosts, std::size_t size)
    : values_(size), ghosts_(size) {
    std::copy_n(reinterpret_cast<const std::byte*>(values), size, values_.data());
    std::copy_n(reinterpret_cast<const std::byte*>(ghosts), size, ghosts_.data());
    for (std::size_t at = 0; at + sizeof(miTag) <= size; at += sizeof(miTag)) {
        miTag ghost = 0;
        std::memcpy(&ghost, ghosts + at, sizeof ghost);
        hasConnections_ = hasConnections_ || (ghost != miNULLTAG && ghost != miPARAMTAG);
    }
}

void ParameterBlock::setDefaults(const std::vector<Parameter>& parameters, std::size_t base) {
    for (const Parameter& parameter : parameters)
        if (!parameter.isArray) setDefault(parameter, base + parameter.elementOffset);
}

void ParameterBlock::setDefault(const Parameter& parameter, std::size_t at) {
    if (parameter.type == miTYPE_STRUCT) return setDefaults(parameter.members, at);
    const bool isInteger = parameter.type == miTYPE_INTEGER || parameter.type == miTYPE_BOOLEAN;
    for (const double component : parameter.defaults) {
        if (isInteger && std::isfinite(component))
            put(at, static_cast<miInteger>(std::clamp(component, -2147483648.0, 2147483647.0)));
        else if (isInteger)
            put(at, miInteger{0});
        else
            put(at, static_cast<miScalar>(component));
        at += sizeof(miScalar);
    }
}

void ParameterBlock::reset(const Parameter& parameter, std::size_t at) {
    clear(at, parameter.elementSize);
    std::memset(ghosts_.data() + at, 0, parameter.elementSize);
    setDefault(parameter, at);
}

void ParameterBlock::connect(std::size_t at, miTag source) {
    putGhost(at, source);
    hasConnections_ = true;
}

std::size_t ParameterBlock::appendArray(const Parameter& array, std::size_t base, std::size_t count) {
    const std::size_t origin = base + array.elementOffset;
    const std::size_t step = std::max<std::size_t>(array.elementSize, 1);
    const std::size_t start = count > 0 ? (values_.size() - origin + step - 1) / step : 0;
    const std::size_t first = origin + start * step;
    if (count > 0) {
        values_.resize(first + count * step);
        ghosts_.resize(values_.size());
        for (std::size_t k = 0; k < count; ++k) setDefault(array, first + k * step);
    }
    put(base + array.offset, static_cast<miInteger>(start));
    put(base + array.offset + sizeof(miInteger), static_cast<miInteger>(count));
    markGiven(base + array.offset);
    return first;
}

std::size_t ParameterBlock::appendElement(const Parameter& parameter) {
    const std::size_t at = values_.size();
    values_.resize(at + parameter.elementSize);
    ghosts_.resize(values_.size());
    setDefault(parameter, at);
    return at;
}

void ParameterBlock::copyFrom(const ParameterBlock& other, std::size_t at) {
    std::copy(other.values_.begin(), other.values_.end(), values_.begin() + static_cast<std::ptrdiff_t>(at));
    std::copy(other.ghosts_.begin(), other.ghosts_.end(), ghosts_.begin() + static_cast<std::ptrdiff_t>(at));
    hasConnections_ = hasConnections_ || other.hasConnections_;
}

void ParameterBlock::takeRecord(const std::vector<Parameter>& parameters, std::size_t base, const ParameterBlock& other,
                                std::size_t otherBase) {
    for (const Parameter& parameter : parameters) take(parameter, base, other, parameter, otherBase);
}

void ParameterBlock::take(const Parameter& to, std::size_t base, const ParameterBlock& other, const Parameter& from,
                          std::size_t otherBase) {
    if (!to.isArray) return takeElement(to, base + to.elementOffset, other, otherBase + from.elementOffset);
    const auto start = other.get<miInteger>(otherBase + from.offset);
    const auto length = other.get<miInteger>(otherBase + from.offset + sizeof(miInteger));
    if (length == 0) return;
    const auto count = static_cast<std::size_t>(length);
    const std::size_t first = appendArray(to, base, count);
    const std::size_t otherFirst = otherBase + from.elementOffset + static_cast<std::size_t>(start) * from.elementSize;
    for (std::size_t k = 0; k < count; ++k)
        takeElement(to, first + k * to.elementSize, other, otherFirst + k * from.elementSize);
}

void ParameterBlock::takeElement(const Parameter& parameter, std::size_t at, const ParameterBlock& other,
                                 std::size_t otherAt) {
    if (parameter.type == miTYPE_STRUCT) {
        takeRecord(parameter.members, at, other, otherAt);
        // A connection of the record as a whole has its ghost where the first member has its own.
        if (parameter.members.empty()) return;
    } else {
        std::copy_n(other.values_.data() + otherAt, parameter.elementSize, values_.data() + at);
    }
    miTag ghost = 0;
    std::memcpy(&ghost, other.ghosts_.data() + otherAt, sizeof ghost);
    if (ghost != miNULLTAG) putGhost(at, ghost);
    hasConnections_ = hasConnections_ || (ghost != miNULLTAG && ghost != miPARAMTAG);
}

bool containsArrays(const Parameter& parameter) {
    return std::any_of(parameter.members.begin(), parameter.members.end(),
                       [](const Parameter& member) { return member.isArray || containsArrays(member); });
}

}  // namespace lumorender
