// The words of the command line: the one table from which the parser, -help, the manual page, shell completions and the
// table in docs/host.md are made.
#pragma once

#include "application/command_line.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lumorender {

/// What one use of a word stands for: its values, as its pattern has let them pass.
using Values = std::vector<std::string>;

/// Takes the values. Throws UsageError where one is out of range.
using Setter = void (*)(CommandLine&, const Values&);

/// Stands, with the values behind it, at the end of the options (or of the camera) of every render.
struct OptionsStatement {
    const char* statement;
};
struct CameraStatement {
    const char* statement;
};

/// The word and its values are taken and do nothing here, because ...: a warning says so, unless the value is `off`.
struct NoEffect {
    const char* because;
};

/// What the word asks for is not done: an error says so, and the render goes on.
struct NotDone {
    const char* because;
};

struct Word {
    std::string_view names;   ///< the name that help puts first, and others, separated by blanks
    std::string_view values;  ///< see ValuePattern
    std::string_view help;
    std::variant<Setter, OptionsStatement, CameraStatement, NoEffect, NotDone> meaning;

    std::vector<std::string> allNames() const;
    std::string name() const { return allNames().front(); }
    bool hasEffect() const { return !std::holds_alternative<NoEffect>(meaning); }
    /// What it is good for, and that it has no effect where it has none.
    std::string explanation() const;
};

struct WordGroup {
    std::string_view title;
    std::vector<Word> words;
};

const std::vector<WordGroup>& commandWords();

/// Those groups of it whose words stand for statements of scenes.
std::vector<WordGroup> sceneWords();

/// The word with this name, written out, or null.
const Word* findWord(std::string_view name);

}  // namespace lumorender
