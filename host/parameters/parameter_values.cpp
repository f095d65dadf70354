#include "parameters/parameter_values.h"

#include "parameters/interface_parameters.h"
#include "parameters/shader_calls.h"
#include "parsing/named_values.h"
#include "parsing/nearest_name.h"
#include "photometry/color_space.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

/// Sizes are kept as int, and the ghosts take the same again.
constexpr std::size_t kLargestBlock = std::size_t{1} << 28;

}  // namespace

int ParameterReader::readList(const std::vector<Parameter>& parameters, std::size_t base, char closing) {
    int given = 0;
    while (!in_.accept(closing)) {
        const Place place = in_.place();
        try {
            readNamed(parameters, base);
            ++given;
        } catch (const SyntaxError& problem) {
            // One bad value does not hide what is wrong with the next.
            const std::string which = reading_.empty() ? "a parameter" : fmt::format("parameter \"{}\"", reading_);
            scene_.problems.error(problem.place, fmt::format("{}, in {} of {}", problem.text, which, owner_));
            skipValue(closing);
        }
        if (in_.accept(',') || in_.at(closing)) continue;
        if (in_.place().at == place.at) in_.advance();
        in_.fail(fmt::format("\",\" or \"{}\" behind a parameter of {}", closing, owner_));
    }
    return given;
}

void ParameterReader::readNamed(const std::vector<Parameter>& parameters, std::size_t base) {
    reading_.clear();
    if (!in_.atName()) in_.fail("the name of a parameter");
    for (const Parameter& parameter : parameters) {
        if (parameter.name != in_.current().text) continue;
        in_.advance();
        reading_ = parameter.name;
        return readValue(parameter, base);
    }
    std::vector<std::string> names;
    for (const Parameter& parameter : parameters) names.emplace_back(parameter.name);
    in_.fail(fmt::format("the name of a parameter that {} has{}", owner_, guessOf(in_.current().text, names)));
}

/// To the comma or bracket behind a value that could not be read.
void ParameterReader::skipValue(char closing) {
    while (!in_.at(',') && !in_.at(closing) && !in_.atEnd() && !in_.at("end")) in_.skipGroup();
}

void ParameterReader::readValue(const Parameter& parameter, std::size_t base) {
    if (parameter.isArray) return readArray(parameter, base);
    readElement(parameter, base + parameter.elementOffset);
}

void ParameterReader::readArray(const Parameter& parameter, std::size_t base) {
    if (in_.accept('=')) return readInterface(parameter, base);
    if (in_.accept("null")) {
        block_.appendArray(parameter, base, 0);
        return;
    }
    in_.expect('[');
    containsArrays(parameter) ? readNestedElements(parameter, base) : readFlatElements(parameter, base);
}

/// Past a comma or the closing bracket of an array; false at the latter.
bool ParameterReader::nextElement() {
    if (in_.accept(']')) return false;
    return true;
}

void ParameterReader::checkSize(const ParameterBlock& block, const Parameter& parameter) const {
    if (block_.size() + block.size() + parameter.elementSize > kLargestBlock)
        throw SyntaxError{in_.place(), fmt::format("array \"{}\" is too large", parameter.name)};
}

void ParameterReader::readFlatElements(const Parameter& parameter, std::size_t base) {
    ParameterBlock elements({}, 0);
    ParameterReader reader(scene_, elements, owner_, connectable_);
    while (nextElement()) {
        checkSize(elements, parameter);
        if (parameter.type == miTYPE_LIGHT && in_.atName() && !in_.at("null"))
            readLights(parameter, elements);
        else
            reader.readElement(parameter, elements.appendElement(parameter));
        if (!in_.accept(',') && !in_.at(']')) in_.fail("\",\" or \"]\"");
    }
    const std::size_t count = parameter.elementSize > 0 ? elements.size() / parameter.elementSize : 0;
    const std::size_t first = block_.appendArray(parameter, base, count);
    if (count > 0) block_.copyFrom(elements, first);
}

/// Elements with arrays inside have no fixed size: each is read on its own, then they are put together.
void ParameterReader::readNestedElements(const Parameter& parameter, std::size_t base) {
    std::vector<Parameter> record{parameter};
    record.front().isArray = false;
    const std::size_t size = layOut(record);
    std::vector<ParameterBlock> elements;
    std::size_t total = 0;
    while (nextElement()) {
        ParameterBlock& element = elements.emplace_back(record, size);
        ParameterReader(scene_, element, owner_, connectable_).readElement(record.front(), 0);
        total += element.size();
        if (block_.size() + 2 * total > kLargestBlock)
            throw SyntaxError{in_.place(), fmt::format("array \"{}\" is too large", parameter.name)};
        if (!in_.accept(',') && !in_.at(']')) in_.fail("\",\" or \"]\"");
    }
    const std::size_t first = block_.appendArray(parameter, base, elements.size());
    for (std::size_t k = 0; k < elements.size(); ++k)
        block_.takeRecord(parameter.members, first + k * parameter.elementSize, elements[k], 0);
}

void ParameterReader::readElement(const Parameter& parameter, std::size_t at) {
    if (in_.accept('=')) return readConnection(parameter, at);
    if (in_.accept("null")) {
        block_.clear(at, parameter.elementSize);
        return block_.markGiven(at);
    }
    switch (parameter.type) {
        case miTYPE_BOOLEAN:
        case miTYPE_INTEGER:
        case miTYPE_SCALAR:
        case miTYPE_VECTOR:
        case miTYPE_COLOR:
        case miTYPE_TRANSFORM: readNumbers(parameter, at); break;
        case miTYPE_STRUCT: {
            in_.expect('{');
            const DepthGuard guard(scene_);
            readList(parameter.members, at, '}');
            return;
        }
        default: block_.put(at, readName(parameter.type));
    }
    block_.markGiven(at);
}

void ParameterReader::readNumbers(const Parameter& parameter, std::size_t at) {
    switch (parameter.type) {
        case miTYPE_BOOLEAN:
            block_.put(at, in_.atInteger() ? miBoolean{in_.readInteger() != 0} : miBoolean{in_.readBoolean()});
            break;
        case miTYPE_INTEGER: block_.put(at, miInteger{in_.readInteger()}); break;
        case miTYPE_SCALAR: block_.put(at, miScalar{in_.readFloat()}); break;
        case miTYPE_VECTOR: block_.put(at, in_.readVector()); break;
        case miTYPE_COLOR: block_.put(at, readColor()); break;
        default: {
            miMatrix matrix;
            in_.readMatrix(matrix);
            block_.put(at, matrix);
        }
    }
}

/// A color may be given in another space than that of the render.
miColor ParameterReader::readColor() {
    if (!in_.accept("colorprofile")) return in_.readColor(0);
    const miTag profile = scene_.readReference({miSCENE_COLORPROFILE}, "a color profile");
    const Database& database = scene_.database;
    const ColorConversion convert(spaceOfProfile(database, profile), spaceOfProfile(database, scene_.renderProfile));
    return convert(in_.readColor(0));
}

miTag ParameterReader::readName(miParam_type type) {
    if (type == miTYPE_STRING) return scene_.database.addString(in_.readName("a text"));
    const miTag tag = readNamedValue(scene_, type);
    if (auto* texture = connectable_ ? nullptr : scene_.database.detail<TextureDetail>(tag)) texture->isInData = true;
    return tag;
}

/// A light instance, or all those in a group that is placed by an instance.
void ParameterReader::readLights(const Parameter& parameter, ParameterBlock& elements) {
    for (const miTag light : lightsOf(scene_, readNamedValue(scene_, miTYPE_LIGHT))) {
        const std::size_t at = elements.appendElement(parameter);
        elements.put(at, light);
        elements.markGiven(at);
    }
}

void ParameterReader::readConnection(const Parameter& parameter, std::size_t at) {
    const Place place = in_.place();
    if (in_.at("interface")) {
        Parameter here = parameter;
        here.isArray = false;
        here.offset = here.elementOffset = 0;
        return readInterface(here, at);
    }
    const ConnectedShader source = readConnectedShader(scene_);
    if (source.tag == miNULLTAG) return;  // has been reported
    if (!connectable_)
        return scene_.problems.error(
            place, fmt::format("parameter \"{}\" of {} cannot be connected to a shader", parameter.name, owner_));
    if (!isConnectable(parameter, source.result))
        return scene_.problems.error(place, fmt::format("parameter \"{}\" of {} has the type {}, the shader \"{}\" "
                                                        "returns {}",
                                                        parameter.name, owner_, nameOfType(parameter.type), source.name,
                                                        nameOfType(source.result.type)));
    block_.reset(parameter, at);  // what was given before counts no more, not even where the shader fails
    block_.connect(at, source.tag);
}

/// Behind `=`: a parameter takes the value of one of the phenomenon's own, connections included.
void ParameterReader::readInterface(const Parameter& parameter, std::size_t base) {
    const Place place = in_.place();
    in_.expect("interface");
    const InterfaceParameter source = readInterfaceParameter(scene_);
    if (!source.parameter) return;  // has been reported
    if (!isSameType(parameter, *source.parameter))
        return scene_.problems.error(
            place, fmt::format("parameter \"{}\" of {} has another type than the phenomenon's parameter \"{}\"",
                               parameter.name, owner_, source.parameter->name));
    if (containsArrays(parameter))
        return scene_.problems.error(place,
                                     fmt::format("parameter \"{}\" of {} holds arrays in records, which cannot be "
                                                 "taken from an interface",
                                                 parameter.name, owner_));
    block_.take(parameter, base, *source.block, *source.parameter, source.base);
}

ParameterBlock readUndeclaredParameters(SceneContext& scene, std::vector<int>& textWords) {
    Cursor& in = scene.in;
    textWords.clear();
    ParameterBlock block({}, 0);
    Parameter word;
    word.type = miTYPE_INTEGER;
    word.elementSize = sizeof(miTag);
    while (!in.accept(')')) {
        if (in.accept(',')) continue;
        if (!in.atNumber() && !in.atBoolean() && !in.atName()) in.fail("a number, a name or \")\"");
        if (block.size() >= kLargestBlock) in.fail("\")\"");
        const std::size_t at = block.appendElement(word);
        if (in.atInteger())
            block.put(at, miInteger{in.readInteger()});
        else if (in.atNumber())
            block.put(at, miScalar{in.readFloat()});
        else if (in.atBoolean())
            block.put(at, miBoolean{in.readBoolean()});
        else if (!in.accept("null")) {
            block.put(at, scene.database.addString(in.readName("a name")));
            textWords.push_back(static_cast<int>(at));
        }
    }
    return block;
}

}  // namespace lumorender
