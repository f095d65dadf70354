// Which values may stand behind a word of the command line.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// Read from a text such as "N:x N:y", "[F:delay] F:time", "on|off|N:level" or "T:file ..": integers (N), numbers (F) and
/// texts (T) with their names, words that stand for themselves, alternatives, what may be left out in brackets, and two
/// dots where the last value may be repeated up to `--`.
class ValuePattern {
public:
    explicit ValuePattern(std::string_view text);

    /// How many of the arguments, from the first on, are values: as many as fit. Nothing where not even the fewest do.
    std::optional<std::size_t> match(std::span<const std::string> arguments) const;

    bool isList() const { return isList_; }
    /// As help shows it: "x y", "[delay] time".
    const std::string& shown() const { return shown_; }
    /// The words that may stand first: for completion.
    std::vector<std::string> choices() const;
    bool beginsWithText() const;

private:
    enum class Kind { Integer, Number, Text, Word };
    struct Alternative {
        Kind kind;
        std::string word;
    };
    using Value = std::vector<Alternative>;

    static Alternative readAlternative(std::string_view text);
    static bool fits(const Value& value, const std::string& argument);

    std::vector<std::vector<Value>> forms_;  ///< with and without what may be left out, the longest first
    std::string shown_;
    bool isList_ = false;
};

/// True for the whole of an integer that fits into 32 bits, and of a finite number.
bool isInteger(const std::string& text);
bool isNumber(const std::string& text);

}  // namespace lumorender
