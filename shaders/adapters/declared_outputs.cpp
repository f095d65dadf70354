#include "shaders/adapters/declared_outputs.h"

#include "binding/renderer.h"

#include <cctype>

namespace lumo {
namespace {

/* Words, quoted names and single signs, one after the other; empty at the end. */
class Words {
public:
    explicit Words(std::string_view text) : text_(text) {}

    std::string_view next() {
        while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
        const std::size_t begin = at_;
        if (at_ == text_.size()) return {};
        if (text_[at_] == '"') {
            at_ = text_.find('"', at_ + 1);
            at_ = at_ == std::string_view::npos ? text_.size() : at_ + 1;
        } else if (isLetter(text_[at_])) {
            while (at_ < text_.size() && isLetter(text_[at_])) ++at_;
        } else {
            ++at_;
        }
        return text_.substr(begin, at_ - begin);
    }

private:
    static bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
    static bool isLetter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

    const std::string_view text_;
    std::size_t at_ = 0;
};

/* In words; 0 of what has another size in each record, as structs and arrays. What is told by a tag has one word. */
int wordsOf(std::string_view type) {
    if (type == "struct" || type == "array") return 0;
    if (type == "color") return 4;
    if (type == "vector") return 3;
    return type == "transform" ? 16 : 1;
}

}  // namespace

std::optional<DeclaredOutput> declaredOutput(std::string_view declaration, std::string_view name) {
    Words words(declaration);
    std::string_view word = words.next();
    if (word == "color" && name == "result") return DeclaredOutput{};
    if (word != "struct" || words.next() != "{") return {};

    int offset = 0;
    for (word = words.next(); !word.empty() && word != "}"; word = words.next()) {
        const std::string_view type = word;
        std::string_view last = type;
        word = words.next();
        // Two words make the type of textures, which are tags.
        for (; !word.empty() && word.front() != '"'; word = words.next()) last = word;
        const bool isTag = last != type;
        const int size = isTag ? 1 : wordsOf(type);
        if (size == 0 || word.size() < 2) return {};
        const bool isValue = !isTag && (type == "color" || type == "scalar");
        if (isValue && word.substr(1, word.size() - 2) == name) return DeclaredOutput{offset, type == "scalar"};
        offset += size * static_cast<int>(sizeof(miScalar));
        while (!word.empty() && word != "," && word != "}") word = words.next();
        if (word == "}") break;
    }
    return {};
}

std::string_view declarationOf(miState* state, miTag shader) {
    const char* text = nullptr;
    return mi_query(miQ_DECL_PARAM, state, shader, &text) && text ? std::string_view(text) : std::string_view();
}

}  // namespace lumo
