// Reads the values of the scene language from the token stream. What does not fit ends in a SyntaxError that says what
// was found and what was expected.
#pragma once

#include "mi/types.h"
#include "parsing/token_stream.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

class Cursor : public TokenStream {
public:
    using TokenStream::TokenStream;

    [[noreturn]] void fail(std::string_view expected) const;

    bool atEnd() const { return current().kind == TokenKind::End; }
    bool at(std::string_view word) const { return current().isSymbol(word); }
    bool at(char character) const { return current().is(character); }
    bool atNumber() const { return current().isNumber(); }
    bool atInteger() const { return current().kind == TokenKind::Integer; }
    bool atString() const { return current().kind == TokenKind::String; }
    bool atName() const { return current().isName(); }
    bool atBoolean() const;
    /// At the first component of a vector, written out or binary.
    bool atVector() const { return atNumber() || current().kind == TokenKind::Backquote; }

    bool accept(std::string_view word);
    bool accept(char character);
    void expect(std::string_view word);
    void expect(char character);
    /// What follows a statement's word, as the list of the language spells it: a word, an integer, "shader" for a call
    /// or a quoted name, else nothing.
    std::string_view continuation() const;
    /// True, and past it, at `end <element>`.
    bool acceptEnd(std::string_view element);

    int readInteger();
    /// As readInteger, but an error outside the range.
    int readInteger(int low, int high);
    float readFloat();
    bool readBoolean();
    /// `on` where nothing else stands: a bare flag.
    bool readFlag() { return atBoolean() ? readBoolean() : true; }
    std::string readString(std::string_view what = "a quoted text");
    /// A name, quoted or bare. The view is valid as long as the scene is read.
    std::string_view readName(std::string_view what);
    miVector readVector();
    /// Three or four numbers.
    miColor readColor(float missingAlpha);
    void readMatrix(miMatrix& matrix);
    void readFloats(float* values, int count);
    /// All numbers that stand here, `most` at most.
    std::vector<float> readFloats(std::size_t most);
    /// One or more byte strings.
    std::vector<unsigned char> readBytes();
    std::vector<unsigned char> readBytesInBrackets();

    /// Steps over one token or a bracketed group as a whole.
    void skipGroup();

private:
    void skipToken();
};

}  // namespace lumorender
