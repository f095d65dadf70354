// Cuts one text into tokens. Knows nothing of what they mean.
#pragma once

#include "parsing/source.h"
#include "parsing/token.h"

#include <deque>
#include <string>

namespace lumorender {

/// The text as a string of the scene language.
std::string quotedText(std::string_view text);

/// Tokens refer to the text (strings with escapes to `unescaped`), so both must outlive them.
class Scanner {
public:
    Scanner(const SourceText& source, std::deque<std::string>& unescaped);

    void next(Token& token);

    /// The `count` bytes after a Backquote token, and their closing back quote. False where the text ends before.
    bool takeRaw(std::size_t count, std::string_view& bytes);
    /// The bare word that follows, if the next token is one. Does not move.
    std::string_view followingWord() const;
    /// True when the next token is this character. Does not move.
    bool followedBy(char character) const;

    /// What is left of the current line. The scanner moves to the line's end.
    std::string_view takeLine();
    /// A quoted or angle-bracketed or bare argument on the current line; false at the end of the line.
    bool takeArgument(std::string_view& argument, char& quote);
    /// Moves to the beginning of the next line that starts with `$`; false at the end of the text.
    bool skipToDirective();

    const SourceText& source() const { return *source_; }
    const char* cursor() const { return cursor_; }
    /// Goes on at another place of the same text.
    void seek(const char* at) { cursor_ = at; }

private:
    const char* skipBlanks(const char* at) const;
    void scanSymbol(Token& token);
    void scanString(Token& token);
    void scanBytes(Token& token);
    void scanNumber(Token& token);
    void scanSign(Token& token);
    bool atLineStart() const;

    const SourceText* source_;
    std::deque<std::string>* unescaped_;
    const char* cursor_;
    const char* end_;
};

}  // namespace lumorender
