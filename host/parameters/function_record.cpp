#include "parameters/function_record.h"

#include "mi/records.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace lumorender {

namespace {

constexpr std::size_t kParameters = offsetof(miFunction, parameters);

/// Shaders find a parameter's ghost at a fixed distance from the parameter, so the ghosts lie behind the whole block.
std::vector<std::byte> makeRecord(const miFunction& head, const ParameterBlock& block) {
    std::vector<std::byte> record(std::max(sizeof(miFunction), kParameters + 2 * block.size()));
    std::memcpy(record.data(), &head, kParameters);
    std::copy_n(block.values(), block.size(), record.data() + kParameters);
    std::copy_n(block.ghosts(), block.size(), record.data() + kParameters + block.size());
    return record;
}

ParameterBlock blockOf(const miFunction& function) {
    const char* values = function.parameters;
    return ParameterBlock(values, values + function.ghost_offs, static_cast<std::size_t>(function.parameter_size));
}

/// The first member of a result by a path like "outer.inner", with its offset in the whole result.
const Parameter* findMember(const Parameter& result, std::string_view path, std::size_t& offset) {
    const Parameter* member = &result;
    while (member && !path.empty()) {
        const auto dot = std::min(path.find('.'), path.size());
        member = member->member(path.substr(0, dot));
        if (member) offset += member->elementOffset;
        path.remove_prefix(std::min(dot + 1, path.size()));
    }
    return member;
}

miTag makeMemberConnection(SceneContext& scene, miTag source, const Parameter& member, std::size_t offset) {
    miFunction head{};
    head.type = miFUNCTION_C;
    head.result_size = static_cast<int>(member.elementSize);
    auto detail = std::make_unique<MemberConnection>();
    detail->source = source;
    detail->offset = offset;
    detail->size = member.elementSize;
    const auto record = makeRecord(head, ParameterBlock({}, 0));
    return scene.storeBytes({}, miSCENE_FUNCTION, record.data(), record.size(), std::move(detail));
}

}  // namespace

ParameterBlock editedBlock(SceneContext& scene, const std::string& name, miTag declarationTag,
                           const Declaration& declaration) {
    if (!name.empty() && scene.incremental) {
        const auto* former = scene.database.as<miFunction>(scene.database.find(name), miSCENE_FUNCTION);
        const bool fits = former && former->function_decl == declarationTag &&
                          static_cast<std::size_t>(former->parameter_size) >= declaration.parameterSize;
        if (fits) return blockOf(*former);
        if (!former) scene.edited(name, miSCENE_FUNCTION, "shader");
    }
    return ParameterBlock(declaration.parameters, declaration.parameterSize);
}

std::vector<std::byte> functionRecord(miTag declarationTag, const Declaration& declaration, const ParameterBlock& block,
                                      int given) {
    miFunction head{};
    head.type = declaration.kind == DeclarationKind::Phenomenon ? miFUNCTION_PHEN : miFUNCTION_C;
    head.function_decl = declarationTag;
    head.parameter_size = static_cast<int>(block.size());
    head.result_size = static_cast<int>(declaration.result.elementSize);
    head.ghost_offs = head.parameter_size;
    head.has_connections = block.hasConnections();
    head.no_expl_params = given == 0;
    return makeRecord(head, block);
}

miTag storeFunction(SceneContext& scene, const std::string& name, miTag declarationTag, const Declaration& declaration,
                    const ParameterBlock& block, int given) {
    const auto record = functionRecord(declarationTag, declaration, block, given);
    return scene.storeBytes(name, miSCENE_FUNCTION, record.data(), record.size(), nullptr);
}

miTag copyFunction(SceneContext& scene, const std::string& name, miTag source) {
    const auto* function = scene.database.as<miFunction>(source, miSCENE_FUNCTION);
    if (!function) return miNULLTAG;
    const auto* bytes = reinterpret_cast<const std::byte*>(function);
    const std::vector<std::byte> record(bytes, bytes + scene.database.size(source));
    std::unique_ptr<Detail> detail;
    if (const auto* phenomenon = scene.database.detail<PhenomenonInstance>(source))
        detail = std::make_unique<PhenomenonInstance>(*phenomenon);
    return scene.storeBytes(name, miSCENE_FUNCTION, record.data(), record.size(), std::move(detail));
}

namespace {

bool haveSameParameters(const SceneContext& scene, miTag a, miTag b) {
    if (a == b) return true;
    const auto* one = scene.database.detail<Declaration>(a);
    const auto* other = scene.database.detail<Declaration>(b);
    return one && other && signatureText({}, {}, one->parameters) == signatureText({}, {}, other->parameters);
}

}  // namespace

bool takesParametersOfMain(const SceneContext& scene, miTag function) {
    const auto* record = scene.database.as<miFunction>(function, miSCENE_FUNCTION);
    return record && record->no_expl_params && scene.database.name(function).empty();
}

void inheritParameters(SceneContext& scene, miTag main, miTag function) {
    if (main == function || !takesParametersOfMain(scene, function)) return;
    const auto* source = scene.database.as<miFunction>(main, miSCENE_FUNCTION);
    const auto* target = scene.database.as<miFunction>(function, miSCENE_FUNCTION);
    const auto* declaration = scene.database.detail<Declaration>(target->function_decl);
    if (!declaration) return;
    // A shader with other parameters of its own could not read those of the main shader.
    const bool fits = source && (declaration->parameters.empty() ||
                                 haveSameParameters(scene, target->function_decl, source->function_decl));
    const ParameterBlock block =
        fits ? blockOf(*source) : ParameterBlock(declaration->parameters, declaration->parameterSize);
    miFunction head = *target;
    head.parameter_size = static_cast<int>(block.size());
    head.ghost_offs = head.parameter_size;
    head.has_connections = block.hasConnections();
    const auto record = makeRecord(head, block);
    const bool isSame =
        record.size() == scene.database.size(function) && std::memcmp(target, record.data(), record.size()) == 0;
    if (!isSame) std::memcpy(scene.database.resize(function, record.size()), record.data(), record.size());
}

Parameter resultOf(const SceneContext& scene, miTag function) {
    const auto* record = scene.database.as<miFunction>(function, miSCENE_FUNCTION);
    const auto* declaration = record ? scene.database.detail<Declaration>(record->function_decl) : nullptr;
    return declaration ? declaration->result : Parameter();
}

bool isConnectable(const Parameter& parameter, const Parameter& result) {
    const auto isWord = [](miParam_type type) { return type == miTYPE_BOOLEAN || type == miTYPE_INTEGER; };
    // Of an array it is one element that is connected; arrays inside of records cannot be.
    const auto fits = [](const Parameter& member, const Parameter& source) {
        return !member.isArray && !source.isArray && isConnectable(member, source);
    };
    if (parameter.type == miTYPE_STRUCT) {
        return result.type == miTYPE_STRUCT && parameter.members.size() <= result.members.size() &&
               std::equal(parameter.members.begin(), parameter.members.end(), result.members.begin(), fits);
    }
    if (parameter.type == result.type || (isWord(parameter.type) && isWord(result.type))) return true;
    return result.type == miTYPE_STRUCT && !result.members.empty() && !result.members.front().isArray &&
           isConnectable(parameter, result.members.front());
}

ConnectedShader findConnected(SceneContext& scene, const std::string& name) {
    if (const miTag tag = scene.find(name); scene.database.type(tag) == miSCENE_FUNCTION)
        return {tag, resultOf(scene, tag), name};
    for (auto dot = name.find('.'); dot != std::string::npos; dot = name.find('.', dot + 1)) {
        const miTag source = scene.find(std::string_view(name).substr(0, dot));
        if (scene.database.type(source) != miSCENE_FUNCTION) continue;
        const Parameter result = resultOf(scene, source);
        std::size_t offset = 0;
        const Parameter* member = findMember(result, std::string_view(name).substr(dot + 1), offset);
        if (member) return {makeMemberConnection(scene, source, *member, offset), *member, name};
    }
    return {};
}

}  // namespace lumorender
