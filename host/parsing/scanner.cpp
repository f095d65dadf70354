#include "parsing/scanner.h"

#include "parsing/numbers.h"

#include <array>
#include <cstring>

namespace lumorender {

namespace {

enum : std::uint8_t { kOther, kBlank, kLetter, kDigit };

constexpr std::array<std::uint8_t, 256> classifyCharacters() {
    std::array<std::uint8_t, 256> classes{};
    for (const char c : {' ', '\t', '\n', '\r', '\v', '\f'}) classes[static_cast<unsigned char>(c)] = kBlank;
    for (int c = 'a'; c <= 'z'; ++c) classes[static_cast<std::size_t>(c)] = kLetter;
    for (int c = 'A'; c <= 'Z'; ++c) classes[static_cast<std::size_t>(c)] = kLetter;
    for (int c = '0'; c <= '9'; ++c) classes[static_cast<std::size_t>(c)] = kDigit;
    classes['_'] = kLetter;
    return classes;
}

constexpr auto kClasses = classifyCharacters();

std::uint8_t classOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }
bool isLineEnd(char c) { return c == '\n' || c == '\r'; }

const char* endOfLine(const char* at, const char* end) {
    while (at != end && !isLineEnd(*at)) ++at;
    return at;
}

std::string withoutEscapes(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        // Other backslashes stay: file names of another system are full of them.
        if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) ++i;
        plain.push_back(text[i]);
    }
    return plain;
}

}  // namespace

std::string quotedText(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    quoted += '"';
    return quoted;
}

Scanner::Scanner(const SourceText& source, std::deque<std::string>& unescaped)
    : source_(&source), unescaped_(&unescaped), cursor_(source.begin()), end_(source.end()) {
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    if (std::string_view(cursor_, end_).starts_with(kByteOrderMark)) cursor_ += kByteOrderMark.size();
}

const char* Scanner::skipBlanks(const char* at) const {
    for (;;) {
        while (classOf(*at) == kBlank) ++at;  // the zero after the text is no blank
        if (*at != '#') return at;
        at = endOfLine(at, end_);
    }
}

bool Scanner::atLineStart() const { return cursor_ == source_->begin() || isLineEnd(cursor_[-1]); }

void Scanner::next(Token& token) {
    cursor_ = skipBlanks(cursor_);
    token.at = cursor_;
    token.complaint = nullptr;
    if (cursor_ == end_) {
        token.kind = TokenKind::End;
        token.text = {};
        return;
    }
    switch (classOf(*cursor_)) {
        case kDigit: return scanNumber(token);
        case kLetter: return scanSymbol(token);
        default: break;
    }
    switch (*cursor_) {
        case '"': return scanString(token);
        case '\'': return scanBytes(token);
        case '-':
        case '+':
        case '.': return scanSign(token);
        default: break;
    }
    token.kind = TokenKind::Punctuation;
    token.text = std::string_view(cursor_++, 1);
    if (token.text.front() == '`') token.kind = TokenKind::Backquote;
    if (token.text.front() != '$' || (token.at != source_->begin() && !isLineEnd(token.at[-1]))) return;
    token.kind = TokenKind::Directive;
    while (classOf(*cursor_) == kLetter) ++cursor_;
    token.text = std::string_view(token.at, cursor_);
}

void Scanner::scanSymbol(Token& token) {
    const char* at = cursor_;
    while (classOf(*at) >= kLetter) ++at;
    token.kind = TokenKind::Symbol;
    token.text = std::string_view(cursor_, at);
    cursor_ = at;
    // What C libraries print for numbers that are none.
    if (token.text != "nan" && token.text != "inf") return;
    token.kind = TokenKind::Float;
    token.number = notFinite(token.text);
}

void Scanner::scanString(Token& token) {
    const char* const begin = cursor_ + 1;
    const char* at = begin;
    bool escapes = false;
    while (at != end_ && *at != '"' && !isLineEnd(*at)) {
        const bool escape = *at == '\\' && (at[1] == '"' || at[1] == '\\');
        escapes = escapes || escape;
        at += escape ? 2 : 1;
    }
    token.kind = TokenKind::String;
    token.text = std::string_view(begin, at);
    if (escapes) token.text = unescaped_->emplace_back(withoutEscapes(token.text));
    const bool closed = at != end_ && *at == '"';
    if (!closed) token.complaint = "found the end of the line, expected a closing quote";
    cursor_ = closed ? at + 1 : at;
}

void Scanner::scanBytes(Token& token) {
    const auto* closing =
        static_cast<const char*>(std::memchr(cursor_ + 1, '\'', static_cast<std::size_t>(end_ - cursor_ - 1)));
    token.kind = TokenKind::Bytes;
    if (!closing) token.complaint = "found the end of the file, expected the closing quote of a byte string";
    token.text = std::string_view(cursor_ + 1, closing ? closing : end_);
    cursor_ = closing ? closing + 1 : end_;
}

void Scanner::scanNumber(Token& token) {
    const char* const begin = cursor_;
    cursor_ = lumorender::scanNumber(begin, end_, token);
    token.text = std::string_view(begin, cursor_);
}

/// A sign or a dot begins a number only if a digit follows.
void Scanner::scanSign(Token& token) {
    const char* at = cursor_;
    if (*at != '.') ++at;
    if (*at == '.') ++at;
    if (classOf(*at) == kDigit) return scanNumber(token);
    const std::string_view rest(at, static_cast<std::size_t>(end_ - at));
    if (*cursor_ != '.' && (rest.starts_with("nan") || rest.starts_with("inf"))) {
        token.kind = TokenKind::Float;
        token.text = std::string_view(cursor_, at + 3);
        token.number = *cursor_ == '-' ? -notFinite(rest.substr(0, 3)) : notFinite(rest.substr(0, 3));
        cursor_ = at + 3;
        return;
    }
    token.kind = TokenKind::Punctuation;
    token.text = std::string_view(cursor_++, 1);
}

bool Scanner::takeRaw(std::size_t count, std::string_view& bytes) {
    const auto left = static_cast<std::size_t>(end_ - cursor_);
    if (left < 1 || count > left - 1 || cursor_[count] != '`') return false;
    bytes = std::string_view(cursor_, count);
    cursor_ += count + 1;
    return true;
}

std::string_view Scanner::followingWord() const {
    const char* const begin = skipBlanks(cursor_);
    const char* at = begin;
    if (classOf(*at) != kLetter) return {};
    while (classOf(*at) >= kLetter) ++at;
    return {begin, at};
}

bool Scanner::followedBy(char character) const {
    const char* const at = skipBlanks(cursor_);
    return at != end_ && *at == character;
}

std::string_view Scanner::takeLine() {
    const char* const begin = cursor_;
    cursor_ = endOfLine(cursor_, end_);
    return {begin, cursor_};
}

bool Scanner::takeArgument(std::string_view& argument, char& quote) {
    while (*cursor_ == ' ' || *cursor_ == '\t') ++cursor_;
    if (cursor_ == end_ || isLineEnd(*cursor_) || *cursor_ == '#') return false;
    quote = *cursor_ == '"' || *cursor_ == '<' ? *cursor_ : ' ';
    const char closing = quote == '<' ? '>' : quote;
    const char* const begin = quote == ' ' ? cursor_ : cursor_ + 1;
    const char* at = begin;
    while (at != end_ && !isLineEnd(*at) && *at != closing && !(quote == ' ' && classOf(*at) == kBlank)) ++at;
    argument = std::string_view(begin, at);
    cursor_ = quote != ' ' && at != end_ && *at == closing ? at + 1 : at;
    return true;
}

bool Scanner::skipToDirective() {
    for (;;) {
        if (cursor_ == end_) return false;
        if (*cursor_ == '$' && atLineStart()) return true;
        const char* const lineEnd = endOfLine(cursor_, end_);
        cursor_ = lineEnd == end_ ? end_ : lineEnd + 1;
    }
}

}  // namespace lumorender
