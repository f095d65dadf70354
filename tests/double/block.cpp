#include "block.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "host/database/declaration.h"
#include "host/elements/reader.h"

namespace twin {

namespace {

using lumorender::Declaration;
using lumorender::Parameter;

/* The reader with the declarations of both modules; one for all tests of the program. */
class Reader : lumorender::SceneActions {
public:
    Reader() {
        settings_.functionsRequired = false;
        std::ostringstream text;
        for (const char* file : {"/lumovexa.mi", "/vexabase.mi"})
            text << std::ifstream(std::string(LUMO_DECLARATIONS) + file).rdbuf();
        read(text.str());
    }

    const miFunction& function(const std::string& shader, const std::string& parameters) {
        read("shader \"block\" \"" + shader + "\" (" + parameters + ")");
        return *database.as<miFunction>(database.find("block"), miSCENE_FUNCTION);
    }

    lumorender::Database database;

private:
    bool render(const lumorender::RenderCommand&) override { return false; }

    void read(const std::string& text) {
        if (!lumorender::readSceneText(text, "block", database, modules_, *this, settings_))
            throw std::invalid_argument(text);
    }

    lumorender::Modules modules_;
    lumorender::ReaderSettings settings_;
};

Reader& reader() {
    static Reader instance;
    return instance;
}

miInteger integerAt(const char* address) {
    miInteger value;
    std::memcpy(&value, address, sizeof value);
    return value;
}

/* Strings become those of the double. */
void adoptStrings(const std::vector<Parameter>& parameters, char* record) {
    for (const Parameter& each : parameters) {
        char* element = record + each.elementOffset;
        miInteger count = 1;
        if (each.isArray) {
            element += static_cast<std::size_t>(integerAt(record + each.offset)) * each.elementSize;
            count = integerAt(record + each.offset + sizeof(miInteger));
        }
        for (; count > 0; --count, element += each.elementSize) {
            adoptStrings(each.members, element);
            miTag tag = miNULLTAG;
            if (each.type == miTYPE_STRING) std::memcpy(&tag, element, sizeof tag);
            if (tag == miNULLTAG) continue;
            tag = renderer().database.addString(std::string(reader().database.string(tag)));
            std::memcpy(element, &tag, sizeof tag);
        }
    }
}

}  // namespace

Block::Block(const std::string& shader, const std::string& parameters) : shader_(shader) {
    const miFunction& source = reader().function(shader, parameters);
    declaration_ = reader().database.detail<Declaration>(source.function_decl);
    const auto block = static_cast<std::size_t>(source.parameter_size);
    const std::size_t size = offsetof(miFunction, parameters) + 2 * block;
    memory_ = std::make_unique<std::byte[]>(std::max(size, sizeof(miFunction)));
    std::memcpy(memory_.get(), &source, size);
    adoptStrings(declaration_->parameters, function().parameters);
}

void* Block::member(const std::string& path, std::size_t expectedSize) {
    char* record = function().parameters;
    const std::vector<Parameter>* parameters = &declaration_->parameters;
    std::size_t size = 0;
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '.');) {
        const std::size_t bracket = std::min(name.find('['), name.size());
        const auto found = std::find_if(parameters->begin(), parameters->end(),
                                        [&](const Parameter& each) { return each.name == name.substr(0, bracket); });
        if (found == parameters->end()) throw std::invalid_argument(shader_ + " has no parameter " + path);
        const char* const start = record + found->offset;
        const bool isArray = found->isArray && bracket == name.size();
        record += isArray ? found->offset : found->elementOffset;
        size = isArray ? sizeof(miInteger) : found->elementSize;
        if (bracket < name.size())
            record += static_cast<std::size_t>(integerAt(start) + std::stoi(name.substr(bracket + 1))) * size;
        parameters = &found->members;
    }
    if (expectedSize != 0 && expectedSize != size) throw std::invalid_argument(path + " has another type");
    return record;
}

miBoolean Block::call(miState* state, void* result, void* argument) {
    state->shader = &function();
    return ShaderEntry<void>(shader_).call(result, state, parameters(), argument);
}

void Block::init(miState* state) {
    state->shader = &function();
    miBoolean wantsInstances = miFALSE;
    if (auto* init = ShaderEntry<void>(shader_).init) init(state, parameters(), &wantsInstances);
}

void Block::exit(miState* state) {
    state->shader = &function();
    if (auto* exit = ShaderEntry<void>(shader_).exit) exit(state, parameters());
}

}  // namespace twin
