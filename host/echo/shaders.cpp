// Named shaders and lists of them, calls in place, and user data.
#include "database/elements.h"
#include "echo/element_writers.h"
#include "mi/records.h"
#include "parameters/user_data.h"

namespace lumorender {

namespace {

/// `"decl" ( .. )`. Functions that have no parameters but those of their material's main shader get them again.
void writeCall(ElementText& out, miTag tag, bool empty = false) {
    const auto* function = out.database.as<miFunction>(tag, miSCENE_FUNCTION);
    const auto* declaration = function ? out.database.detail<Declaration>(function->function_decl) : nullptr;
    if (!declaration) return;
    out.add(Name{function->function_decl});
    const bool isInherited = function->no_expl_params && out.database.name(tag).empty();
    if (empty || isInherited || static_cast<std::size_t>(function->parameter_size) < declaration->parameterSize)
        return out.add("( )");
    writeParameters(out, declaration->parameters, function->parameters, function->parameters + function->ghost_offs,
                    function->no_expl_params == 0);
}

}  // namespace

void writeSlot(ElementText& out, miTag slot) {
    const Database& database = out.database;
    const int type = database.type(slot);
    if (type != miSCENE_FUNCTION && type != miSCENE_FLIST) return;
    if (!database.name(slot).empty()) {
        out.add("=");
        return out.add(Name{slot});
    }
    if (type == miSCENE_FUNCTION) return writeCall(out, slot);
    if (const auto* list = database.detail<FunctionList>(slot))
        for (const miTag function : list->functions) {
            out.line();
            writeSlot(out, function);
        }
}

void writeSlotStatement(ElementText& out, std::string_view words, miTag slot) {
    const int type = out.database.type(slot);
    if (type != miSCENE_FUNCTION && type != miSCENE_FLIST) return;
    words.empty() ? out.line() : out.statement(words);
    writeSlot(out, slot);
}

void writeShader(ElementText& out, miTag tag, bool empty) {
    out.text += "shader";
    out.add(Quoted{out.database.name(tag)});
    if (const auto* list = out.database.detail<FunctionList>(tag)) {
        for (const miTag function : list->functions) {
            out.line();
            empty ? writeCall(out, function, true) : writeSlot(out, function);
        }
    } else {
        writeCall(out, tag, empty);
    }
    out.text += '\n';
}

bool writePhenomenonElement(ElementText& out, miTag tag) {
    const auto* use = out.database.detail<PhenomenonElement>(tag);
    if (!use) return false;
    out.text += "shader";
    out.add(Quoted{out.database.name(tag)});
    writeCall(out, use->function);
    out.text += '\n';
    return true;
}

void writeUserData(ElementText& out, miTag tag, bool empty) {
    const auto* data = out.database.as<miUserdata>(tag, miSCENE_USERDATA);
    const auto* declaration = out.database.detail<Declaration>(data->data_decl);
    out.text += "data";
    out.add(Quoted{out.database.name(tag)});
    if (data->label != 0) {
        out.add("tag");
        out.add(data->label);
    }
    if (declaration) {
        out.add(Name{data->data_decl});
        empty ? out.add("( )") : writeParameters(out, declaration->parameters, data->parameters, nullptr);
    } else {
        out.add(data->parameter_size);
        out.add("[");
        out.bytes(reinterpret_cast<const unsigned char*>(data->parameters),
                  static_cast<std::size_t>(data->parameter_size));
        out.add("]");
    }
    out.text += '\n';
}

void writeDataStatements(ElementText& out, miTag chain) {
    while (const auto* data = out.database.as<miUserdata>(chain, miSCENE_USERDATA)) {
        const auto* copy = out.database.detail<DataCopy>(chain);
        out.statement("data", Name{copy ? copy->original : chain});
        chain = data->next_data;
    }
}

void writeAttributes(ElementText& out, miTag tag) {
    const auto* detail = out.database.detail<Detail>(tag);
    if (!detail || !detail->attributes) return;
    for (const auto& [name, text] : *detail->attributes) out.statement("attribute", std::string_view(text));
}

}  // namespace lumorender
