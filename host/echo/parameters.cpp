// Parameter lists: values as they lie in memory, told by their declared types.
#include "database/elements.h"
#include "echo/element_writers.h"
#include "mi/records.h"
#include "parameters/parameter_block.h"
#include "parameters/shader_calls.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace lumorender {

namespace {

struct Connection {
    Parameter result;
    std::string name;
};

class ParameterWriter {
public:
    ParameterWriter(ElementText& out, const char* values, const char* ghosts)
        : out_(out), values_(values), ghosts_(ghosts) {}

    /// Where something was given, although nothing has a value, it was an empty record; or, where nothing marks what was
    /// given, anything at its default.
    void all(const std::vector<Parameter>& parameters, bool isGiven) {
        const auto isSetHere = [&](const Parameter& p) { return isSet(p, 0); };
        const auto canBeEmpty = [&](const Parameter& p) { return !ghosts_ || (!p.isArray && p.type == miTYPE_STRUCT); };
        const auto given = std::find_if(parameters.begin(), parameters.end(), canBeEmpty);
        if (!isGiven || given == parameters.end() || std::any_of(parameters.begin(), parameters.end(), isSetHere))
            return list(parameters, 0, "(", ")");
        out_.add("(");
        out_.add(Quoted{given->name});
        value(*given, 0);
        out_.add(")");
    }

    void list(const std::vector<Parameter>& parameters, std::size_t base, const char* opening, const char* closing) {
        out_.add(opening);
        bool isFirst = true;
        for (const Parameter& parameter : parameters) {
            if (!isSet(parameter, base)) continue;
            if (!isFirst) out_.text += ',';
            isFirst = false;
            out_.add(Quoted{parameter.name});
            value(parameter, base);
        }
        out_.add(closing);
    }

private:
    ElementText& out_;
    const char* values_;
    const char* ghosts_;

    template <class T>
    T get(std::size_t at) const {
        T value;
        std::memcpy(&value, values_ + at, sizeof value);
        return value;
    }

    miTag ghost(std::size_t at) const {
        miTag tag = miNULLTAG;
        if (ghosts_) std::memcpy(&tag, ghosts_ + at, sizeof tag);
        return tag;
    }

    /// The shader that the value comes from, or 0.
    miTag source(std::size_t at) const {
        const miTag tag = ghost(at);
        return tag == miPARAMTAG || out_.database.type(tag) != miSCENE_FUNCTION ? miNULLTAG : tag;
    }

    bool isSet(const Parameter& parameter, std::size_t base) const {
        if (parameter.isArray)
            return get<miInteger>(base + parameter.offset + sizeof(miInteger)) > 0 ||
                   ghost(base + parameter.offset) != miNULLTAG;
        const std::size_t at = base + parameter.elementOffset;
        if (ghost(at) != miNULLTAG) return true;
        if (parameter.type == miTYPE_STRUCT) return hasSetMember(parameter, at, parameter.members.size());
        const bool wasDeleted = !isNumber(parameter.type) && out_.database.type(get<miTag>(at)) == miSCENE_NONE;
        if (wasDeleted) return false;
        ParameterBlock standard({}, parameter.elementSize);
        standard.setDefault(parameter, 0);
        return std::memcmp(standard.values(), values_ + at, parameter.elementSize) != 0;
    }

    static bool isNumber(miParam_type type) {
        return type == miTYPE_BOOLEAN || type == miTYPE_INTEGER || type == miTYPE_SCALAR || type == miTYPE_VECTOR ||
               type == miTYPE_COLOR || type == miTYPE_TRANSFORM;
    }

    /// Of all members but `first`.
    bool hasSetMember(const Parameter& record, std::size_t at, std::size_t first) const {
        for (std::size_t i = 0; i < record.members.size(); ++i)
            if (i != first && isSet(record.members[i], at)) return true;
        return false;
    }

    void value(const Parameter& parameter, std::size_t base) {
        if (!parameter.isArray) return element(parameter, base + parameter.elementOffset);
        const auto start = static_cast<std::size_t>(get<miInteger>(base + parameter.offset));
        const auto count = get<miInteger>(base + parameter.offset + sizeof(miInteger));
        const std::size_t first = base + parameter.elementOffset + start * parameter.elementSize;
        out_.add("[");
        for (int i = 0; i < count; ++i) {
            if (i > 0) out_.text += ',';
            element(parameter, first + static_cast<std::size_t>(i) * parameter.elementSize);
        }
        out_.add("]");
    }

    void element(const Parameter& parameter, std::size_t at) {
        if (const miTag tag = source(at)) {
            const Connection connection = describe(tag);
            // The ghost of a record lies where that of its first member does.
            const bool isWhole = parameter.type != miTYPE_STRUCT ||
                                 (isConnectable(parameter, connection.result) && !hasSetMember(parameter, at, 0));
            if (isWhole) {
                out_.add("=");
                return out_.add(Quoted{connection.name});
            }
        }
        if (parameter.type == miTYPE_STRUCT) return list(parameter.members, at, "{", "}");
        simple(parameter.type, at);
    }

    void simple(miParam_type type, std::size_t at) {
        switch (type) {
            case miTYPE_BOOLEAN: return out_.add(get<miBoolean>(at) != 0);
            case miTYPE_INTEGER: return out_.add(get<miInteger>(at));
            case miTYPE_SCALAR: return out_.add(get<miScalar>(at));
            case miTYPE_VECTOR: return out_.add(get<miVector>(at));
            case miTYPE_COLOR: return out_.add(get<miColor>(at));
            case miTYPE_TRANSFORM:
                for (std::size_t i = 0; i < 16; ++i) out_.add(get<miScalar>(at + i * sizeof(miScalar)));
                return;
            default: break;
        }
        const auto tag = get<miTag>(at);
        if (out_.database.type(tag) == miSCENE_STRING) return out_.add(Quoted{out_.database.string(tag)});
        out_.add(Name{tag});
    }

    /// "shader", or "shader.member" where the value is a part of its result.
    Connection describe(miTag tag) {
        const Database& database = out_.database;
        const auto* member = database.detail<MemberConnection>(tag);
        const miTag shader = member ? member->source : tag;
        out_.needed.push_back(shader);
        Connection connection{{}, std::string(database.name(shader))};
        const auto* function = database.as<miFunction>(shader, miSCENE_FUNCTION);
        const auto* declaration = function ? database.detail<Declaration>(function->function_decl) : nullptr;
        if (!declaration) return connection;
        connection.result = declaration->result;
        if (member) follow(*member, connection);
        return connection;
    }

    static void follow(const MemberConnection& member, Connection& connection) {
        std::size_t offset = member.offset;
        for (bool found = true; found && (connection.name.find('.') == std::string::npos || offset > 0 ||
                                          connection.result.elementSize != member.size);) {
            found = false;
            for (const Parameter& part : std::vector<Parameter>(connection.result.members)) {
                if (offset < part.elementOffset || offset + member.size > part.elementOffset + part.elementSize)
                    continue;
                offset -= part.elementOffset;
                connection.name += "." + part.name;
                connection.result = part;
                found = true;
                break;
            }
        }
    }
};

}  // namespace

void writeParameters(ElementText& out, const std::vector<Parameter>& parameters, const char* values, const char* ghosts,
                     bool isGiven) {
    ParameterWriter(out, values, ghosts).all(parameters, isGiven);
}

}  // namespace lumorender
