#include "parameters/declarations.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace lumorender {

namespace {

const std::unordered_map<std::string_view, miParam_type>& typesByWord() {
    static const std::unordered_map<std::string_view, miParam_type> types = {
        {"boolean", miTYPE_BOOLEAN},     {"integer", miTYPE_INTEGER},   {"scalar", miTYPE_SCALAR},
        {"string", miTYPE_STRING},       {"color", miTYPE_COLOR},       {"vector", miTYPE_VECTOR},
        {"transform", miTYPE_TRANSFORM}, {"shader", miTYPE_SHADER},     {"light", miTYPE_LIGHT},
        {"material", miTYPE_MATERIAL},   {"geometry", miTYPE_GEOMETRY}, {"lightprofile", miTYPE_LIGHTPROFILE},
        {"spectrum", miTYPE_SPECTRUM},   {"data", miTYPE_DATA},         {"struct", miTYPE_STRUCT},
        {"texture", miTYPE_TEX},
    };
    return types;
}

miParam_type textureOf(miParam_type type) {
    if (type == miTYPE_COLOR) return miTYPE_COLOR_TEX;
    return type == miTYPE_SCALAR ? miTYPE_SCALAR_TEX : miTYPE_VECTOR_TEX;
}

miParam_type readType(Cursor& in) {
    const auto known =
        in.current().kind == TokenKind::Symbol ? typesByWord().find(in.current().text) : typesByWord().end();
    if (known == typesByWord().end()) in.fail("a parameter type");
    in.advance();
    const miParam_type type = known->second;
    const bool mayBeTexture = type == miTYPE_COLOR || type == miTYPE_SCALAR || type == miTYPE_VECTOR;
    return mayBeTexture && in.accept("texture") ? textureOf(type) : type;
}

/// Fewest and most numbers that a default of the type has; 0 0 = it has no default.
std::pair<std::size_t, std::size_t> defaultCount(miParam_type type) {
    switch (type) {
        case miTYPE_BOOLEAN:
        case miTYPE_INTEGER:
        case miTYPE_SCALAR: return {1, 1};
        case miTYPE_VECTOR: return {3, 3};
        case miTYPE_COLOR: return {3, 4};
        case miTYPE_TRANSFORM: return {16, 16};
        default: return {0, 0};
    }
}

void readDefault(SceneContext& scene, Parameter& parameter) {
    Cursor& in = scene.in;
    const auto [fewest, most] = defaultCount(parameter.type);
    if (most == 0 || parameter.isArray) {
        const char* const type = parameter.isArray ? "array" : nameOfType(parameter.type);
        scene.problems.warning(in.place(),
                               fmt::format("parameter \"{}\" of type {} has no default", parameter.name, type));
        return in.skipGroup();
    }
    if (in.atBoolean()) {
        return parameter.defaults.assign(1, in.readBoolean() ? 1 : 0);
    }
    if (in.atInteger() && (parameter.type == miTYPE_INTEGER || parameter.type == miTYPE_BOOLEAN))
        return parameter.defaults.assign(1, in.readInteger());
    const std::vector<float> numbers = in.readFloats(most);
    parameter.defaults.assign(numbers.begin(), numbers.end());
    if (parameter.defaults.size() < fewest) in.fail(fmt::format("{} numbers as default", fewest));
    if (parameter.type == miTYPE_COLOR && parameter.defaults.size() == 3) parameter.defaults.resize(4);
}

Parameter readParameter(SceneContext& scene) {
    Cursor& in = scene.in;
    Parameter parameter;
    parameter.isArray = in.accept("array");
    parameter.type = readType(in);
    parameter.name = in.readName("the name of a parameter");
    if (parameter.type == miTYPE_STRUCT) {
        const DepthGuard guard(scene);
        parameter.members = readParameterDeclarations(scene, '{');
    }
    if (in.accept("default")) readDefault(scene, parameter);
    return parameter;
}

}  // namespace

std::vector<Parameter> readParameterDeclarations(SceneContext& scene, char opening) {
    Cursor& in = scene.in;
    const char closing = opening == '(' ? ')' : '}';
    std::vector<Parameter> parameters;
    in.expect(opening);
    while (!in.accept(closing)) {
        if (in.accept("gui")) {
            if (in.atName()) in.advance();
            in.skipGroup();
        } else {
            parameters.push_back(readParameter(scene));
        }
        if (!in.accept(',') && !in.at(closing) && !in.at("gui")) in.fail(fmt::format("\",\" or \"{}\"", closing));
    }
    return parameters;
}

bool atType(const Cursor& in) {
    return in.current().kind == TokenKind::Symbol && typesByWord().contains(in.current().text);
}

Parameter readResultType(SceneContext& scene) {
    Parameter result;
    result.type = readType(scene.in);
    if (result.type != miTYPE_STRUCT) return result;
    if (scene.in.atName()) result.name = scene.in.readName("the name of the result");
    result.members = readParameterDeclarations(scene, '{');
    return result;
}

bool isSameLayout(const std::vector<Parameter>& a, const std::vector<Parameter>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Parameter& x, const Parameter& y) {
        return x.name == y.name && x.type == y.type && x.isArray == y.isArray && x.defaults == y.defaults &&
               isSameLayout(x.members, y.members);
    });
}

}  // namespace lumorender
