// Declarations of shaders, user data and phenomena.
#include "echo/element_writers.h"
#include "parameters/declarations.h"
#include "parsing/scanner.h"

#include <cmath>
#include <deque>

namespace lumorender {

namespace {

void writeDefault(ElementText& out, const Parameter& parameter) {
    if (parameter.defaults.empty()) return;
    const bool isWord = parameter.type == miTYPE_INTEGER || parameter.type == miTYPE_BOOLEAN;
    out.add("default");
    for (const double number : parameter.defaults) {
        const bool isInteger = isWord && std::abs(number) < 4294967296.0 && number == std::floor(number);
        if (isInteger && number < 0)
            out.add(static_cast<int>(number));
        else if (isInteger)
            out.add(static_cast<miUint>(number));
        else
            out.add(static_cast<float>(number));
    }
}

void writeList(ElementText& out, const std::vector<Parameter>& parameters, const char* opening, const char* closing) {
    out.add(opening);
    bool isFirst = true;
    for (const Parameter& parameter : parameters) {
        if (!isFirst) out.text += ',';
        isFirst = false;
        out.line();
        if (parameter.isArray) out.add("array");
        out.add(nameOfType(parameter.type));
        out.add(Quoted{parameter.name});
        if (parameter.type == miTYPE_STRUCT) writeList(out, parameter.members, "{", "}");
        if (!parameter.isArray) writeDefault(out, parameter);
    }
    out.add(closing);
}

void writeResult(ElementText& out, const Parameter& result) {
    out.add(nameOfType(result.type));
    if (result.type != miTYPE_STRUCT) return;
    if (!result.name.empty()) out.add(Quoted{result.name});
    writeList(out, result.members, "{", "}");
}

/// What a name stands for in the namespaces of `user`: the innermost has it first, and :: leads out of all.
miTag findFrom(const Database& database, std::string_view user, std::string_view name) {
    if (name.starts_with("::")) return database.find(name.substr(2));
    for (std::size_t end = user.rfind("::"); end != std::string_view::npos; end = user.rfind("::")) {
        user = user.substr(0, end);
        if (const miTag tag = database.find(std::string(user) + "::" + std::string(name))) return tag;
    }
    return database.find(name);
}

/// The body of a phenomenon. It names what it uses, elements around it included, which must be there when it is used;
/// images are named by where they are, so that the text may lie in another folder.
class BodyWriter {
public:
    BodyWriter(ElementText& out, miTag phenomenon, const SourceText& body)
        : out_(out), user_(out.database.name(phenomenon)), body_(body), scanner_(body, strings_) {}

    void write() {
        const char* written = body_.begin();
        for (scanner_.next(token_); token_.kind != TokenKind::End; scanner_.next(token_)) {
            if (token_.isName())
                if (const miTag tag = findFrom(out_.database, user_, token_.text)) out_.needed.push_back(tag);
            if (!isFileOfTexture()) continue;
            std::error_code ignored;
            const auto file = body_.directory() / token_.text;
            if (body_.directory().empty() || !std::filesystem::exists(file, ignored)) continue;
            out_.text.append(written, token_.at);
            out_.text += quotedText(file.string());
            written = scanner_.cursor();
        }
        out_.text.append(written, body_.end());
    }

private:
    ElementText& out_;
    std::string_view user_;
    const SourceText& body_;
    std::deque<std::string> strings_;
    Scanner scanner_;
    Token token_;
    int namesToCome_ = 0;  ///< before the file, behind `texture`

    /// At the name of a file behind `texture "name" [colorprofile "name"]`: shader calls have a bracket.
    bool isFileOfTexture() {
        if (token_.isSymbol("texture")) namesToCome_ = 2;
        if (token_.isSymbol("colorprofile")) ++namesToCome_;
        if (token_.kind != TokenKind::String || namesToCome_ == 0) return false;
        return --namesToCome_ == 0 && !scanner_.followedBy('(');
    }
};

/// The full name has those of the namespaces before the one that functions are looked up by.
std::vector<std::string_view> namespacesOf(std::string_view fullName, std::string_view name) {
    std::vector<std::string_view> spaces;
    fullName.remove_suffix(fullName.ends_with(name) ? name.size() : 0);
    for (std::size_t end = fullName.find("::"); end != std::string_view::npos; end = fullName.find("::")) {
        spaces.push_back(fullName.substr(0, end));
        fullName.remove_prefix(end + 2);
    }
    return spaces;
}

}  // namespace

void writeDeclaration(ElementText& out, miTag tag) {
    const auto& declaration = *out.database.detail<Declaration>(tag);
    const auto spaces = namespacesOf(out.database.name(tag), declaration.name);
    for (const std::string_view space : spaces) {
        out.text += "namespace";
        out.add(Quoted{space});
        out.text += '\n';
    }
    out.text += "declare";
    out.add(declaration.kind == DeclarationKind::Data     ? "data"
            : declaration.kind == DeclarationKind::Shader ? "shader"
                                                          : "phenomenon");
    if (declaration.kind != DeclarationKind::Data) writeResult(out, declaration.result);
    out.add(Quoted{declaration.name});
    writeList(out, declaration.parameters, "(", ")");
    if (const auto* phenomenon = dynamic_cast<const PhenomenonDeclaration*>(&declaration)) {
        out.text += '\n';
        BodyWriter(out, tag, *phenomenon->body).write();
    } else {
        if (declaration.version != 0) out.statement("version", declaration.version);
        out.text += "\nend declare";
    }
    out.text += '\n';
    for (std::size_t i = 0; i < spaces.size(); ++i) out.text += "end namespace\n";
}

}  // namespace lumorender
