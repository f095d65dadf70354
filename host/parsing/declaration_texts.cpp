#include "parsing/declaration_texts.h"

#include "parsing/scanner.h"
#include "support/files.h"

#include <algorithm>

namespace lumorender {

namespace {

/// The beginning of the line, or of the comment lines that stand right above it.
const char* withCommentAbove(const char* begin, const char* at) {
    const auto lineStart = [begin](const char* from) {
        while (from != begin && from[-1] != '\n') --from;
        return from;
    };
    const char* start = lineStart(at);
    while (start != begin) {
        const char* above = lineStart(start - 1);
        if (*above != '#') break;
        start = above;
    }
    return start;
}

class DeclarationFinder {
public:
    explicit DeclarationFinder(std::string_view text)
        : source_("", {}, std::string(text)), scanner_(source_, strings_) {
        scanner_.next(token_);
    }

    std::vector<DeclarationText> all() {
        std::vector<DeclarationText> found;
        while (token_.kind != TokenKind::End) {
            if (!token_.isSymbol("declare"))
                step();
            else if (DeclarationText declaration = one(); !declaration.name.empty())
                found.push_back(std::move(declaration));
        }
        return found;
    }

private:
    void step() {
        last_ = scanner_.cursor();
        if (token_.kind == TokenKind::Directive) scanner_.takeLine();
        scanner_.next(token_);
    }

    /// From `declare` to `end declare`, or, of the old style, to the closing parenthesis.
    DeclarationText one() {
        const char* begin = withCommentAbove(source_.begin(), token_.at);
        step();
        DeclarationText result;
        const bool closed = token_.isSymbol("shader") || token_.isSymbol("data") || token_.isSymbol("phenomenon");
        result.kind = closed ? std::string(token_.text) : "shader";
        for (int depth = 0; token_.kind != TokenKind::End; step()) {
            if (token_.kind == TokenKind::String && depth == 0 && result.name.empty()) result.name = token_.text;
            depth += token_.is('(') || token_.is('{') ? 1 : token_.is(')') || token_.is('}') ? -1 : 0;
            if (depth == 0 && token_.isSymbol("version")) readVersion(result);
            if (!closed && depth == 0 && token_.is(')')) break;
            if (closed && token_.isSymbol("end") && scanner_.followingWord() == "declare") {
                step();
                break;
            }
        }
        step();
        const char* end = std::find(last_, source_.end(), '\n');
        result.text.assign(begin, end);
        return result;
    }

    void readVersion(DeclarationText& result) {
        step();
        if (token_.kind == TokenKind::Integer) result.version = static_cast<int>(token_.integer);
    }

    SourceText source_;
    std::deque<std::string> strings_;
    Scanner scanner_;
    Token token_;
    const char* last_ = nullptr;  ///< the end of the token before
};

}  // namespace

std::vector<DeclarationText> findDeclarationTexts(std::string_view text) { return DeclarationFinder(text).all(); }

std::vector<DeclarationText> readDeclarationTexts(const std::filesystem::path& file) {
    std::string text;
    return readFile(file, text).empty() ? findDeclarationTexts(text) : std::vector<DeclarationText>();
}

}  // namespace lumorender
