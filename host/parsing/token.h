// The smallest pieces of the scene language.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lumorender {

enum class TokenKind : std::uint8_t {
    End,     ///< of the text
    Symbol,  ///< bare word: a keyword or an unquoted name
    String,  ///< quoted
    Integer,
    Float,
    Bytes,        ///< hexadecimal digits between single quotes
    Backquote,    ///< begins raw bytes; how many, only the reader of the statement knows
    Punctuation,  ///< one character
    Directive,    ///< `$word` at the beginning of a line
};

struct Token {
    TokenKind kind = TokenKind::End;
    std::string_view text;            ///< without quotes; of numbers as written
    long long integer = 0;            ///< of Integer, clamped to 64 bits
    float number = 0;                 ///< of Integer and Float
    const char* at = nullptr;         ///< where it begins
    const char* complaint = nullptr;  ///< what is wrong with it

    bool isSymbol(std::string_view word) const { return kind == TokenKind::Symbol && text == word; }
    bool is(char character) const { return kind == TokenKind::Punctuation && text.front() == character; }
    bool isNumber() const { return kind == TokenKind::Integer || kind == TokenKind::Float; }
    bool isName() const { return kind == TokenKind::Symbol || kind == TokenKind::String; }
};

/// The token as a message should show it: short and printable.
std::string describe(const Token& token);

}  // namespace lumorender
