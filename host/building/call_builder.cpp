#include "building/call_builder.h"

#include "building/misuse.h"
#include "parameters/function_record.h"

#include <algorithm>

namespace lumorender {

namespace {

const Declaration& declarationOf(const Database& database, miTag tag) {
    const auto* declaration = database.detail<Declaration>(tag);
    if (!declaration) refuse("no shader is declared under this name");
    return *declaration;
}

bool isNumeric(miParam_type type) {
    return type == miTYPE_BOOLEAN || type == miTYPE_INTEGER || type == miTYPE_SCALAR || type == miTYPE_VECTOR ||
           type == miTYPE_COLOR || type == miTYPE_TRANSFORM;
}

/// Numbers have to be given as what they are; tags are alike, whatever they name.
bool fits(miParam_type declared, miParam_type given) {
    const auto isWord = [](miParam_type type) { return type == miTYPE_BOOLEAN || type == miTYPE_INTEGER; };
    if (isWord(declared)) return isWord(given);
    return isNumeric(declared) || isNumeric(given) ? declared == given : given != miTYPE_STRUCT;
}

}  // namespace

CallBuilder::CallBuilder(Database& database, miTag declarationTag, FindName find)
    : database_(database),
      declarationTag_(declarationTag),
      declaration_(declarationOf(database, declarationTag)),
      find_(std::move(find)),
      block_(declaration_.parameters, declaration_.parameterSize) {
    Level level;
    level.members = &declaration_.parameters;
    level.block = &block_;
    levels_.push_back(level);
}

void CallBuilder::name(std::string_view parameter) {
    Level& level = levels_.back();
    if (!level.members) refuse("elements of an array have no names");
    const auto found = std::find_if(level.members->begin(), level.members->end(),
                                    [&](const Parameter& each) { return each.name == parameter; });
    if (found == level.members->end()) refuse("\"{}\" has no parameter \"{}\"", declaration_.name, parameter);
    level.named = &*found;
}

/// The parameter that the next value is for, and its place.
const Parameter& CallBuilder::next(std::size_t& at) {
    Level& level = levels_.back();
    if (level.array) {
        at = level.block->appendElement(*level.array);
        return *level.array;
    }
    if (!level.named) refuse("no parameter was named before");
    const Parameter& parameter = *level.named;
    if (parameter.isArray)
        refuse("parameter \"{}\" is an array, whose values come between push and pop", parameter.name);
    level.named = nullptr;
    at = level.base + parameter.elementOffset;
    return parameter;
}

void CallBuilder::value(miParam_type type, const void* value, const miTag* tag) {
    const Level& level = levels_.back();
    const Parameter* expected = level.array ? level.array : level.named;
    if (expected && (expected->type == miTYPE_STRUCT || !fits(expected->type, type)))
        refuse("parameter \"{}\" is of type {}, not {}", expected->name, nameOfType(expected->type), nameOfType(type));
    std::size_t at = 0;
    const Parameter& parameter = next(at);
    ParameterBlock& block = *levels_.back().block;
    if (!isNumeric(parameter.type))
        block.put(at, tagOf(parameter, static_cast<const char*>(value), tag));
    else if (value)
        for (std::size_t word = 0; word < parameter.elementSize; word += sizeof(miTag)) {
            miTag bits = 0;
            std::memcpy(&bits, static_cast<const char*>(value) + word, sizeof bits);
            block.put(at + word, bits);
        }
    else
        block.clear(at, parameter.elementSize);
    block.markGiven(at);
    ++given_;
}

miTag CallBuilder::tagOf(const Parameter& parameter, const char* text, const miTag* tag) const {
    if (!text) return tag ? *tag : miNULLTAG;
    if (parameter.type == miTYPE_STRING) return database_.addString(text);
    const miTag found = find_(text);
    if (!found) refuse("there is no \"{}\" for parameter \"{}\"", text, parameter.name);
    return found;
}

void CallBuilder::connect(miTag shader) {
    const auto* function = database_.as<miFunction>(shader, miSCENE_FUNCTION);
    if (!function) refuse("parameters can be connected to single shaders only");
    std::size_t at = 0;
    const Parameter& parameter = next(at);
    const auto* source = database_.detail<Declaration>(function->function_decl);
    if (!source || !isConnectable(parameter, source->result))
        refuse("parameter \"{}\" is of type {}, which the shader does not return", parameter.name,
               nameOfType(parameter.type));
    levels_.back().block->connect(at, shader);
    ++given_;
}

void CallBuilder::push(bool array) {
    Level& outer = levels_.back();
    Level level;
    if (array) {
        if (!outer.named || !outer.named->isArray) refuse("the parameter named last is no array");
        if (containsArrays(*outer.named)) refuse("arrays of records with arrays cannot be given by calls");
        level.array = std::exchange(outer.named, nullptr);
        level.base = outer.base;
        level.block = &elements_.emplace_back(std::vector<Parameter>(), 0);
    } else {
        const Parameter* expected = outer.array ? outer.array : outer.named;
        if (!expected || expected->type != miTYPE_STRUCT) refuse("the parameter named last is no struct");
        const Parameter& record = next(level.base);
        level.members = &record.members;
        level.block = outer.block;
    }
    levels_.push_back(level);
}

void CallBuilder::pop() {
    if (levels_.size() < 2) refuse("nothing was pushed");
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.array) return;
    const ParameterBlock elements = std::move(elements_.back());
    elements_.pop_back();
    ParameterBlock& block = *levels_.back().block;
    const std::size_t count = elements.size() / level.array->elementSize;
    const std::size_t first = block.appendArray(*level.array, level.base, count);
    if (count > 0) block.copyFrom(elements, first);
    ++given_;
}

std::vector<std::byte> CallBuilder::finish() {
    if (levels_.size() > 1) refuse("an array or struct is open");
    return functionRecord(declarationTag_, declaration_, block_, given_);
}

}  // namespace lumorender
