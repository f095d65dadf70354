#include "application/command_line.h"

#include "application/command_pages.h"
#include "application/command_words.h"
#include "application/value_pattern.h"
#include "parsing/nearest_name.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

namespace lumorender {

namespace {

/// Stands before every value of a word on its way through the library, which gets one text for each use of a word.
constexpr char kMark = '\x1f';

bool isWord(const std::string& argument) {
    return argument.size() > 1 && argument[0] == '-' && std::isalpha(static_cast<unsigned char>(argument[1])) != 0;
}

std::string guessOfWord(std::string_view name) {
    std::vector<std::string> names;
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words)
            for (const std::string& each : word.allNames()) names.push_back("-" + each);
    return guessOf(name, names);
}

/// The word that is meant: names may be shortened as long as they stay unambiguous. Words without effect are out of the
/// way of those that have one.
const Word& meantWord(const std::string& name) {
    if (const Word* word = findWord(name)) return *word;
    std::vector<const Word*> matches, idle;
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words) {
            const std::vector<std::string> names = word.allNames();
            if (std::any_of(names.begin(), names.end(), [&](const auto& each) { return each.starts_with(name); }))
                (word.hasEffect() ? matches : idle).push_back(&word);
        }
    if (matches.empty()) matches = idle;
    if (matches.size() == 1) return *matches[0];
    std::string text = "-" + name;
    if (matches.empty()) throw UsageError(text + " is unknown" + guessOfWord(text));
    text += " may mean";
    for (const Word* match : matches) text += " -" + match->name();
    throw UsageError(text);
}

/// The values of a word, which begin at `from`. Steps behind them.
std::string takeValues(const std::string& argument, const Word& word, const std::vector<std::string>& arguments,
                       std::size_t& from) {
    const ValuePattern pattern(word.values);
    const auto rest = std::span(arguments).subspan(from);
    auto count = pattern.match(rest);
    if (!count) {
        const std::string found = rest.empty() ? "nothing" : "\"" + rest[0] + "\"";
        throw UsageError(fmt::format("{}: found {}, expected {}", argument, found, pattern.shown()));
    }
    const auto listEnd = std::find(rest.begin(), rest.end(), "--");
    const bool isWholeList = pattern.isList() && listEnd != rest.end();
    if (isWholeList) count = static_cast<std::size_t>(listEnd - rest.begin());
    std::string result;
    for (const std::string& value : rest.first(*count)) result += kMark + value;
    from += *count + (isWholeList ? 1 : 0);
    return result.empty() ? std::string(1, kMark) : result;
}

/// The library takes `--name=value` and knows nothing of optional values before the scene's name.
std::vector<std::string> spellOut(const std::vector<std::string>& arguments) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < arguments.size();) {
        const std::string& argument = arguments[i++];
        if (!isWord(argument)) {
            result.push_back(argument);
            continue;
        }
        const std::string name = argument.substr(1);
        const Word& word = meantWord(name);
        result.push_back("--" + word.name() + "=" + takeValues(argument, word, arguments, i));
    }
    return result;
}

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

std::string statement(const char* words, const Values& values) {
    std::string text = std::string(" ") + words;
    for (const std::string& value : values) text += " " + value;
    return text;
}

void apply(const Word& word, const Values& values, CommandLine& result) {
    std::visit(
        Overloaded{
            [&](Setter set) { set(result, values); },
            [&](OptionsStatement s) { result.optionsStatements += statement(s.statement, values); },
            [&](CameraStatement s) { result.cameraStatements += statement(s.statement, values); },
            [&](NoEffect n) {
                if (!values.empty() && values[0] == "off") return;
                result.warnings.push_back(fmt::format("-{} has no effect: {}", word.name(), n.because));
            },
            [&](NotDone n) { result.errors.push_back(fmt::format("-{} is not done: {}", word.name(), n.because)); },
        },
        word.meaning);
}

/// `text` is a mark and a value, and so on.
void applyUse(const Word& word, const std::string& text, CommandLine& result) {
    Values values;
    std::istringstream stream(text.substr(1));
    for (std::string value; std::getline(stream, value, kMark);) values.push_back(value);
    try {
        apply(word, values, result);
    } catch (const UsageError& problem) {
        throw UsageError(fmt::format("-{}: {}", word.name(), problem.what()));
    }
}

std::filesystem::path sceneFile(const std::string& name) {
    if (name.empty() || std::filesystem::exists(name)) return name;
    return std::filesystem::exists(name + ".mi") ? name + ".mi" : name;
}

/// Options that the environment adds, which those of the command line win over.
std::vector<std::string> environmentOptions() {
    const char* text = std::getenv("MI_RAY_OPTIONS");
    std::istringstream stream(text ? text : "");
    return {std::istream_iterator<std::string>(stream), {}};
}

void parse(const std::vector<std::string>& arguments, CommandLine& result) {
    CLI::App app("", "lumorender");
    app.set_help_flag();
    std::vector<std::string> files;
    app.add_option("scene", files);
    for (const WordGroup& group : commandWords())
        for (const Word& word : group.words)
            app.add_option_function<std::vector<std::string>>("--" + word.name(),
                                                              [&](const std::vector<std::string>& uses) {
                                                                  for (const std::string& use : uses)
                                                                      applyUse(word, use, result);
                                                              })
                ->expected(1)
                ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
                ->allow_extra_args(false);
    std::vector<std::string> given = spellOut(arguments);
    std::reverse(given.begin(), given.end());
    app.parse(given);
    if (result.merges) {
        result.parts.assign(files.begin(), files.end());
        if (files.empty()) throw UsageError("-merge: found no parts, expected the names of all parts of a picture");
    } else if (files.size() > 1) {
        throw UsageError(fmt::format("found \"{}\" behind the scene \"{}\", expected one scene", files[1], files[0]));
    } else if (!files.empty()) {
        result.scene = sceneFile(files[0]);
    }
}

}  // namespace

std::optional<int> readCommandLine(int argumentCount, const char* const* arguments, CommandLine& result) {
    std::vector<std::string> all = environmentOptions();
    all.insert(all.end(), arguments + 1, arguments + argumentCount);
    try {
        parse(all, result);
    } catch (const std::exception& problem) {
        fmt::print(stderr, "lumorender: {}\nlumorender -help tells all options\n", problem.what());
        return 2;
    }
    result.reader.verbosityIsFixed = result.verbosity.has_value();
    if (result.page == Page::None) return std::nullopt;
    std::fputs(pageText(result.page).c_str(), stdout);
    return 0;
}

}  // namespace lumorender
