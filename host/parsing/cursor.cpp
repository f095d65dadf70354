#include "parsing/cursor.h"

#include <fmt/format.h>

#include <bit>
#include <cstring>
#include <limits>

namespace lumorender {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

char closingOf(char opening) { return opening == '(' ? ')' : opening == '[' ? ']' : '}'; }

float bigEndianFloat(const char* bytes) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return std::bit_cast<float>(__builtin_bswap32(word));
}

}  // namespace

void Cursor::fail(std::string_view expected) const {
    throw SyntaxError{place(), fmt::format("found {}, expected {}", describe(current()), expected)};
}

bool Cursor::atBoolean() const { return at("on") || at("off") || at("true") || at("false"); }

bool Cursor::accept(std::string_view word) {
    if (!at(word)) return false;
    advance();
    return true;
}

bool Cursor::accept(char character) {
    if (!at(character)) return false;
    advance();
    return true;
}

std::string_view Cursor::continuation() const {
    if (atString() || at('=')) return "shader";
    return current().kind == TokenKind::Symbol || atInteger() ? current().text : std::string_view();
}

void Cursor::expect(std::string_view word) {
    if (!accept(word)) fail(word);
}

void Cursor::expect(char character) {
    if (!accept(character)) fail(fmt::format("\"{}\"", character));
}

bool Cursor::acceptEnd(std::string_view element) {
    if (!at("end")) return false;
    const std::string_view word = followingWord();
    if (!word.empty() && word != element)
        throw SyntaxError{place(), fmt::format("found \"end {}\", expected \"end {}\"", word, element)};
    advance();
    expect(element);
    return true;
}

int Cursor::readInteger() {
    constexpr long long kLeast = std::numeric_limits<int>::min();
    constexpr long long kMost = std::numeric_limits<std::uint32_t>::max();
    if (!atInteger() || current().integer < kLeast || current().integer > kMost) fail("an integer of 32 bits");
    const auto value = static_cast<int>(static_cast<std::uint32_t>(current().integer));  // labels use the upper half
    advance();
    return value;
}

int Cursor::readInteger(int low, int high) {
    if (!atInteger() || current().integer < low || current().integer > high)
        fail(fmt::format("an integer from {} to {}", low, high));
    return readInteger();
}

float Cursor::readFloat() {
    if (!atNumber()) fail("a number");
    const float value = current().number;
    advance();
    return value;
}

bool Cursor::readBoolean() {
    if (!atBoolean()) fail("on or off");
    const bool value = at("on") || at("true");
    advance();
    return value;
}

std::string Cursor::readString(std::string_view what) {
    if (!atString()) fail(what);
    std::string text(current().text);
    advance();
    return text;
}

std::string_view Cursor::readName(std::string_view what) {
    if (!atName()) fail(what);
    const std::string_view name = current().text;
    advance();
    return name;
}

miVector Cursor::readVector() {
    miVector vector{};
    if (current().kind == TokenKind::Backquote) {
        const std::string_view bytes = takeRaw(sizeof(miVector));
        return {bigEndianFloat(bytes.data()), bigEndianFloat(bytes.data() + 4), bigEndianFloat(bytes.data() + 8)};
    }
    vector.x = readFloat();
    vector.y = readFloat();
    vector.z = readFloat();
    return vector;
}

miColor Cursor::readColor(float missingAlpha) {
    miColor color{};
    color.r = readFloat();
    color.g = readFloat();
    color.b = readFloat();
    color.a = atNumber() ? readFloat() : missingAlpha;
    return color;
}

void Cursor::readMatrix(miMatrix& matrix) { readFloats(matrix, 16); }

void Cursor::readFloats(float* values, int count) {
    for (int i = 0; i < count; ++i) values[i] = readFloat();
}

std::vector<float> Cursor::readFloats(std::size_t most) {
    std::vector<float> values;
    while (atNumber() && values.size() < most) values.push_back(readFloat());
    return values;
}

std::vector<unsigned char> Cursor::readBytes() {
    std::vector<unsigned char> bytes;
    while (current().kind == TokenKind::Bytes) {
        int high = -1;
        for (const char c : current().text) {
            if (isBlank(c)) continue;
            const int digit = hexDigit(c);
            if (digit < 0) fail("hexadecimal digits");
            if (high >= 0) bytes.push_back(static_cast<unsigned char>(high * 16 + digit));
            high = high >= 0 ? -1 : digit;
        }
        if (high >= 0) fail("an even number of hexadecimal digits");
        advance();
    }
    return bytes;
}

std::vector<unsigned char> Cursor::readBytesInBrackets() {
    expect('[');
    std::vector<unsigned char> bytes = readBytes();
    expect(']');
    return bytes;
}

void Cursor::skipToken() { current().kind == TokenKind::Backquote ? skipRaw() : advance(); }

void Cursor::skipGroup() {
    std::string closings;
    do {
        if (atEnd()) {
            if (!closings.empty()) fail(fmt::format("\"{}\"", closings.back()));
            return;
        }
        if (at('(') || at('[') || at('{'))
            closings.push_back(closingOf(current().text.front()));
        else if (!closings.empty() && at(closings.back()))
            closings.pop_back();
        skipToken();
    } while (!closings.empty());
}

std::string describe(const Token& token) {
    constexpr std::size_t kLongest = 40;
    if (token.kind == TokenKind::End) return "the end of the file";
    if (token.kind == TokenKind::Bytes) return "a byte string";
    std::string text;
    for (const char c : token.text.substr(0, kLongest)) text.push_back(c >= 0 && c < ' ' ? '?' : c);
    if (token.text.size() > kLongest) text += "...";
    const bool quoted = token.kind == TokenKind::String || token.kind == TokenKind::Punctuation;
    return quoted ? fmt::format("\"{}\"", text) : text;
}

}  // namespace lumorender
