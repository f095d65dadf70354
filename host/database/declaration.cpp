#include "database/declaration.h"

#include <algorithm>

namespace lumorender {

namespace {

std::size_t alignedUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

const Parameter* findByName(const std::vector<Parameter>& parameters, std::string_view name) {
    const auto hasName = [&](const Parameter& parameter) { return parameter.name == name; };
    const auto found = std::find_if(parameters.begin(), parameters.end(), hasName);
    return found == parameters.end() ? nullptr : &*found;
}

/// Sets size and alignment of one element, of nested records first.
void measure(Parameter& parameter) {
    parameter.alignment = 4;
    parameter.elementSize = parameter.type == miTYPE_STRUCT ? layOut(parameter.members) : sizeOfType(parameter.type);
    for (const Parameter& member : parameter.members)
        parameter.alignment = std::max(parameter.alignment, member.alignment);
}

std::string listText(const std::vector<Parameter>& parameters) {
    std::string text;
    for (const Parameter& parameter : parameters) {
        text += text.empty() ? "" : ", ";
        // The members of a struct stand behind its name.
        const bool isStruct = parameter.type == miTYPE_STRUCT;
        text += parameter.isArray ? "array " : "";
        text += isStruct ? "struct" : nameOfType(parameter.type);
        text += " \"" + parameter.name + "\"";
        if (isStruct) text += " { " + listText(parameter.members) + " }";
    }
    return text;
}

}  // namespace

std::string signatureText(const Parameter& result, std::string_view name, const std::vector<Parameter>& parameters) {
    const std::string type =
        result.type == miTYPE_STRUCT ? "struct { " + listText(result.members) + " }" : nameOfType(result.type);
    return type + " \"" + std::string(name) + "\" ( " + listText(parameters) + " )";
}

const Parameter* Parameter::member(std::string_view memberName) const { return findByName(members, memberName); }

const Parameter* Declaration::parameter(std::string_view parameterName) const {
    return findByName(parameters, parameterName);
}

std::size_t layOut(std::vector<Parameter>& members) {
    constexpr std::size_t kArrayHead = 2 * sizeof(int);  // start and count, before the first element
    std::size_t end = 0;
    std::size_t recordAlignment = 4;
    for (Parameter& member : members) {
        measure(member);
        member.offset = alignedUp(end, member.alignment);
        member.elementOffset = member.offset + (member.isArray ? alignedUp(kArrayHead, member.alignment) : 0);
        end = member.elementOffset + member.elementSize;
        recordAlignment = std::max(recordAlignment, member.alignment);
    }
    return alignedUp(end, recordAlignment);
}

std::size_t sizeOfType(miParam_type type) {
    switch (type) {
        case miTYPE_INVALID:
        case miTYPE_STRUCT:
        case miTYPE_ARRAY: return 0;  // these have no size of their own
        case miTYPE_COLOR: return sizeof(miColor);
        case miTYPE_VECTOR: return sizeof(miVector);
        case miTYPE_TRANSFORM: return sizeof(miMatrix);
        default: return sizeof(miTag);  // numbers, truth values and all references
    }
}

const char* nameOfType(miParam_type type) {
    switch (type) {
        case miTYPE_INVALID: return "invalid";
        case miTYPE_BOOLEAN: return "boolean";
        case miTYPE_INTEGER: return "integer";
        case miTYPE_SCALAR: return "scalar";
        case miTYPE_STRING: return "string";
        case miTYPE_COLOR: return "color";
        case miTYPE_VECTOR: return "vector";
        case miTYPE_TRANSFORM: return "transform";
        case miTYPE_SHADER: return "shader";
        case miTYPE_SCALAR_TEX: return "scalar texture";
        case miTYPE_COLOR_TEX: return "color texture";
        case miTYPE_VECTOR_TEX: return "vector texture";
        case miTYPE_LIGHT: return "light";
        case miTYPE_STRUCT: return "struct";
        case miTYPE_ARRAY: return "array";
        case miTYPE_TEX: return "texture";
        case miTYPE_MATERIAL: return "material";
        case miTYPE_GEOMETRY: return "geometry";
        case miTYPE_LIGHTPROFILE: return "lightprofile";
        case miTYPE_DATA: return "data";
        case miTYPE_SPECTRUM: return "spectrum";
        case miTYPE_MAP: return "map";
    }
    return "unknown";
}

}  // namespace lumorender
