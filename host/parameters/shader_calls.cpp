#include "parameters/shader_calls.h"

#include "mi/records.h"
#include "parameters/declarations.h"
#include "parameters/function_record.h"
#include "parameters/interface_parameters.h"
#include "parameters/parameter_values.h"

#include <fmt/format.h>

#include <cstring>

namespace lumorender {

namespace {

/// At `"decl" ( .. )`. With a name, the shader is defined or edited under it. 0 after an error.
miTag readCall(SceneContext& scene, const std::string& name) {
    Cursor& in = scene.in;
    const DepthGuard guard(scene);
    const Place place = in.place();
    if (!in.atString()) in.fail("the quoted name of a shader declaration");
    const std::string declarationName(in.current().text);
    miTag declarationTag = miNULLTAG;
    const Declaration* declaration = requireShaderDeclaration(scene, declarationName, declarationTag);
    in.advance();
    if (!declaration) {
        if (in.at('(')) in.skipGroup();
        return miNULLTAG;
    }
    in.expect('(');
    ParameterBlock block = editedBlock(scene, name, declarationTag, *declaration);
    ParameterReader reader(scene, block, fmt::format("shader \"{}\"", declarationName), true);
    const int given = reader.readList(declaration->parameters, 0, ')');
    if (declaration->kind == DeclarationKind::Phenomenon)
        return scene.onPhenomenon(place, name, declarationTag, block, given);
    return storeFunction(scene, name, declarationTag, *declaration, block, given);
}

/// Behind `shader` inside a slot or value: `"new" "decl" (..)`.
miTag readDefinition(SceneContext& scene) {
    const std::string name = scene.readNewName("the name of a shader");
    return readCall(scene, name);
}

/// Behind `=` in a slot.
miTag readReused(SceneContext& scene) {
    Cursor& in = scene.in;
    const bool outer = scene.incremental;
    scene.incremental = in.accept("incremental");
    if (in.accept("shader")) {
        const miTag defined = readDefinition(scene);
        scene.incremental = outer;
        return defined;
    }
    scene.incremental = outer;
    if (in.accept("interface")) {
        const Place place = in.place();
        const InterfaceParameter source = readInterfaceParameter(scene);
        const bool isShader = source.parameter && source.parameter->type == miTYPE_SHADER && !source.parameter->isArray;
        if (source.parameter && !isShader)
            throw SyntaxError{place, fmt::format("parameter \"{}\" is no shader", source.parameter->name)};
        return isShader ? source.block->get<miTag>(source.base + source.parameter->offset) : miNULLTAG;
    }
    return scene.readReference({miSCENE_FUNCTION, miSCENE_FLIST}, "a shader");
}

miTag makeList(SceneContext& scene, const std::string& name, std::vector<miTag> functions) {
    auto list = std::make_unique<FunctionList>();
    list->functions = std::move(functions);
    return scene.storeBytes(name, miSCENE_FLIST, nullptr, 16, std::move(list));
}

/// Lists that are made of a list twice, over and over, would fill any memory. Calls without parameters may get those of
/// a material, so each list has its own ones.
void append(SceneContext& scene, std::vector<miTag>& functions, miTag slot) {
    constexpr std::size_t kMost = 10'000;
    auto added = shadersOf(scene, slot);
    const bool isShared = scene.database.type(slot) == miSCENE_FLIST && !scene.database.name(slot).empty();
    if (functions.size() + added.size() > kMost)
        throw SyntaxError{scene.elementPlace, fmt::format("the list has more than {} shaders", kMost)};
    for (miTag& shader : added)
        if (isShared && takesParametersOfMain(scene, shader)) shader = copyFunction(scene, {}, shader);
    functions.insert(functions.end(), added.begin(), added.end());
}

}  // namespace

bool atShader(const Cursor& in) { return in.atString() || in.at('='); }

std::vector<miTag> shadersOf(const SceneContext& scene, miTag slot) {
    if (const auto* list = scene.database.detail<FunctionList>(slot)) return list->functions;
    return slot ? std::vector<miTag>{slot} : std::vector<miTag>{};
}

miTag readShaderList(SceneContext& scene) {
    std::vector<miTag> slots;
    while (atShader(scene.in)) {
        const miTag slot = scene.in.accept('=') ? readReused(scene) : readCall(scene, {});
        if (slot) slots.push_back(slot);
    }
    // A single one is referred to itself, so that later changes of a named list show.
    if (slots.size() < 2) return slots.empty() ? miNULLTAG : slots.front();
    std::vector<miTag> functions;
    for (const miTag slot : slots) append(scene, functions, slot);
    return makeList(scene, {}, std::move(functions));
}

miTag joinShaders(SceneContext& scene, miTag former, miTag further) {
    if (!former || !further) return former ? former : further;
    std::vector<miTag> functions;
    append(scene, functions, former);
    append(scene, functions, further);
    return makeList(scene, {}, std::move(functions));
}

miTag readShadersAs(SceneContext& scene, const std::string& name) {
    const miTag first = scene.in.atString() ? readCall(scene, name) : miNULLTAG;
    if (first && !atShader(scene.in)) return first;

    // A list takes the name, so its first shader must have it no longer.
    std::vector<miTag> functions;
    if (first) functions.push_back(copyFunction(scene, {}, first));
    append(scene, functions, readShaderList(scene));
    if (functions.empty() && !first) return miNULLTAG;
    if (functions.size() == 1) return copyFunction(scene, name, functions.front());
    return makeList(scene, name, std::move(functions));
}

void readNamedShader(SceneContext& scene) {
    const std::string name = scene.readNewName("the name of a shader");
    if (!atShader(scene.in)) scene.in.fail("a shader call");
    readShadersAs(scene, name);
}

void passParameters(SceneContext& scene) {
    for (miTag tag = 1; tag < scene.database.end(); ++tag) {
        const auto* material = scene.database.as<miMaterial>(tag, miSCENE_MATERIAL);
        if (!material) continue;
        const auto mains = shadersOf(scene, material->shader);
        for (const miTag slot : {material->shadow, material->photon}) {
            if (!scene.database.name(slot).empty()) continue;  // a shader, or a list, that others may use as well
            for (const miTag shader : shadersOf(scene, slot))
                inheritParameters(scene, mains.empty() ? miNULLTAG : mains.front(), shader);
        }
    }
}

ConnectedShader readConnectedShader(SceneContext& scene) {
    Cursor& in = scene.in;
    if (in.at("incremental") || in.at("shader")) {
        const miTag tag = readReused(scene);
        return {tag, resultOf(scene, tag), std::string(scene.database.name(tag))};
    }
    if (!in.atName()) in.fail("the name of a shader");
    const std::string name(in.current().text);
    ConnectedShader source = findConnected(scene, name);
    if (!source.tag) scene.require(name, {miSCENE_FUNCTION}, "a shader");
    in.advance();
    return source;
}

}  // namespace lumorender
