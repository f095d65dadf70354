#include "application/command_pages.h"

#include "application/command_words.h"
#include "application/value_pattern.h"
#include "support/version.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

namespace lumorender {

namespace {

constexpr std::size_t kIndent = 34, kWidth = 110;

std::string spelled(const Word& word) {
    std::string text;
    for (const std::string& name : word.allNames()) text += (text.empty() ? "-" : ", -") + name;
    const std::string values = ValuePattern(word.values).shown();
    return values.empty() ? text : text + " " + values;
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

/// Breaks into lines that begin in a column; the first goes on where the cursor is.
std::string filled(const std::string& text, std::size_t column) {
    std::istringstream words(text);
    std::string result;
    std::size_t at = column;
    for (std::string word; words >> word;) {
        if (at > column && at + 1 + word.size() > kWidth) {
            result += '\n';
            result.append(column, ' ');
            at = column;
        } else if (at > column) {
            result += ' ';
            ++at;
        }
        result += word;
        at += word.size();
    }
    return result + "\n";
}

const char* const kUse = "lumorender [options] [scene.mi]";
const char* const kAbout =
    "Renders .mi scene files. Without a scene it reads standard input. Options may be shortened while they stay "
    "unambiguous; of an option that is given twice the last counts. They win over the scene.";

struct Fact {
    const char* name;
    const char* text;
};
constexpr Fact kExitCodes[] = {{"0", "Everything was rendered and written as it was asked for."},
                               {"1", "An error was told, or the render was stopped."},
                               {"2", "The command line is wrong."}};
constexpr Fact kEnvironment[] = {
    {"MI_RAY_OPTIONS", "Options that stand before those of the command line."},
    {"MI_LIBRARY_PATH", "Further folders with shader modules, separated by colons."},
    {"MI_RAY_INCPATH", "Further folders for $include, separated by colons."},
    {"LUMORENDER_PATHS",
     "What beginnings of file names are replaced by, such as /old/place=/new;C:\\proj=/proj. "
     "MI_RAY_SUBSTITUTE means the same."}};

std::string helpPage() {
    std::string text = std::string(kUse) + "\n\n" + filled(kAbout, 0);
    for (const WordGroup& group : commandWords()) {
        text += fmt::format("\n{}:\n", group.title);
        for (const Word& word : group.words) {
            const std::string head = "  " + spelled(word);
            const bool fits = head.size() + 2 <= kIndent;
            text += head + (fits ? std::string(kIndent - head.size(), ' ') : "\n" + std::string(kIndent, ' '));
            text += filled(word.explanation(), kIndent);
        }
    }
    text += "\nExit codes:\n";
    for (const Fact& fact : kExitCodes) text += fmt::format("  {}  {}\n", fact.name, fact.text);
    text += "\nEnvironment:\n";
    for (const Fact& fact : kEnvironment) text += fmt::format("  {:<16}  {}", fact.name, filled(fact.text, 20));
    return text;
}

/// Dashes and backslashes as manual pages need them.
std::string roff(std::string text) { return replaced(replaced(std::move(text), "\\", "\\e"), "-", "\\-"); }

std::string manPage() {
    std::string text = ".TH LUMORENDER 1\n.SH NAME\nlumorender \\- render .mi scene files\n.SH SYNOPSIS\n";
    text += ".B lumorender\n[options] [scene.mi]\n.SH DESCRIPTION\n" + roff(kAbout) + "\n.SH OPTIONS\n";
    for (const WordGroup& group : commandWords()) {
        text += fmt::format(".SS {}\n", group.title);
        for (const Word& word : group.words)
            text += fmt::format(".TP\n.B {}\n{}.\n", roff(spelled(word)), roff(word.explanation()));
    }
    text += ".SH EXIT STATUS\n";
    for (const Fact& fact : kExitCodes) text += fmt::format(".TP\n.B {}\n{}\n", fact.name, roff(fact.text));
    text += ".SH ENVIRONMENT\n";
    for (const Fact& fact : kEnvironment) text += fmt::format(".TP\n.B {}\n{}\n", fact.name, roff(fact.text));
    return text;
}

/// The tables of docs/host.md.
std::string markdownPage() {
    std::string text;
    const auto cell = [](std::string_view content) { return replaced(std::string(content), "|", "\\|"); };
    for (const WordGroup& group : commandWords()) {
        text += fmt::format("{}| {} | |\n|---|---|\n", text.empty() ? "" : "\n", group.title);
        for (const Word& word : group.words)
            text += fmt::format("| `{}` | {} |\n", cell(spelled(word)), cell(word.explanation()));
    }
    return text;
}

std::string joinedNames() {
    std::string names;
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words)
            for (const std::string& name : word.allNames()) names += (names.empty() ? "-" : " -") + name;
    return names;
}

std::string bashPage() {
    std::string cases;
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words) {
            std::string words;
            for (const std::string& choice : ValuePattern(word.values).choices()) words += " " + choice;
            if (words.empty()) continue;
            std::string names;
            for (const std::string& name : word.allNames()) names += (names.empty() ? "-" : "|-") + name;
            cases += fmt::format("        {}) words=\"{}\" ;;\n", names, words.substr(1));
        }
    return fmt::format(R"(# Completions of lumorender for bash.
_lumorender() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} words=""
    case ${{COMP_WORDS[COMP_CWORD-1]}} in
{}    esac
    if [[ -n $words ]]; then
        COMPREPLY=($(compgen -W "$words" -- "$word"))
    elif [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "{}" -- "$word"))
    fi
}}
complete -o default -F _lumorender lumorender
)",
                       cases, joinedNames());
}

/// A text inside single quotes, in which brackets and colons have a meaning.
std::string zshText(std::string text) {
    for (const char* special : {"\\", "[", "]", ":"})
        text = replaced(std::move(text), special, std::string("\\") + special);
    return replaced(std::move(text), "'", "'\\''");
}

std::string zshPage() {
    std::string lines;
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words) {
            const ValuePattern pattern(word.values);
            std::string action;
            for (const std::string& choice : pattern.choices()) action += (action.empty() ? "(" : " ") + choice;
            action = !action.empty() ? action + ")" : pattern.beginsWithText() ? "_files" : " ";
            for (const std::string& name : word.allNames())
                lines +=
                    fmt::format("    '*-{}[{}]{}' \\\n", name, zshText(word.explanation()),
                                word.values.empty() ? "" : fmt::format(":{}:{}", zshText(pattern.shown()), action));
        }
    return "#compdef lumorender\n# Completions of lumorender for zsh.\n_arguments \\\n" + lines +
           "    '*:scene:_files -g \"*.mi\"'\n";
}

}  // namespace

std::string pageText(Page page) {
    switch (page) {
        case Page::Help: return helpPage();
        case Page::Version: return fmt::format("{} (shader interface {})\n", kProgram, kInterfaceVersion);
        case Page::Man: return manPage();
        case Page::Markdown: return markdownPage();
        case Page::Bash: return bashPage();
        case Page::Zsh: return zshPage();
        case Page::None: break;
    }
    return {};
}

}  // namespace lumorender
