// The tokens of a scene file and of everything it includes, with the `$` directives carried out.
#pragma once

#include "parsing/problems.h"
#include "parsing/scene_actions.h"
#include "parsing/registry.h"
#include "parsing/scanner.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lumorender {

class TokenStream {
public:
    TokenStream(Problems& problems, Registry& registry, const ReaderSettings& settings);

    /// Begins with this text; the first token is current then.
    void open(std::string name, const std::filesystem::path& directory, std::string text);

    const Token& current() const { return token_; }
    Place place() const { return {&scanner().source(), token_.at}; }
    void advance();

    /// Reads a part of a text once more: its first token is current now, and behind its last one the token that was
    /// current before.
    void replay(const TextSpan& span);
    /// Gives up what is left of the replay that began last.
    void leaveReplay();

    /// What is stepped over, from the current token on: without comments, and with the directives between tokens carried
    /// out. Lines stay those of the file where it begins.
    std::shared_ptr<const SourceText> copy(const std::function<void()>& step);

    /// The raw bytes that the current Backquote token begins; the token behind them is current then.
    std::string_view takeRaw(std::size_t count);
    /// Steps over a Backquote token whose length is not known.
    void skipRaw();

    std::string_view followingWord() const { return scanner().followingWord(); }
    bool followedBy(char character) const { return scanner().followedBy(character); }
    bool isFirstOnLine() const;

    /// All texts that were opened so far, by their names.
    std::vector<std::pair<std::string, std::string_view>> texts() const;

    /// Expands `{...}` in a file name and warns of what is unknown there.
    std::string expandFileName(std::string_view text);
    /// Where a file is that the scene names, in one of the places; the name as it is where none has it. Tells where it
    /// lies elsewhere than the scene says.
    std::filesystem::path findFile(const Place& place, const std::string& name,
                                   const std::vector<std::filesystem::path>& places);
    const std::filesystem::path& directory() const { return scanner().source().directory(); }

    /// Carries out a `link` item of a registry entry.
    std::function<void(const std::string& file)> onLink;

private:
    /// An `$if` that is open: whether one of its branches was taken, and whether `$else` has come.
    struct Conditional {
        const char* at;
        bool taken;
        bool elseSeen;
    };
    struct Level {
        Scanner scanner;
        std::string identity;  ///< to find files that include each other
        std::vector<Conditional> conditionals;
        const char* replayEnd = nullptr;  ///< of a part that is read again
        Token tokenBehind = {};           ///< current when the part ends
    };
    using Directive = void (TokenStream::*)();

    const Scanner& scanner() const { return levels_.back().scanner; }
    Scanner& scanner() { return levels_.back().scanner; }
    void leaveText();
    void endReplay();
    void carryOutDirective();
    void copyToken();

    void readInclude();
    void include(std::string_view name, bool quoted);
    std::filesystem::path findIncluded(const std::string& name, bool quoted);
    const SourceText* load(const std::filesystem::path& file);
    void readLookup();
    void execute(const Registry::Item& item);
    void refuseCode();

    void readIf();
    void readElse();
    void readEndif();
    bool evaluate(std::string_view directive);
    std::string takeQuoted(std::string_view what);
    void skipBranches();

    Problems& problems_;
    Registry& registry_;
    const ReaderSettings& settings_;
    std::deque<std::string> unescaped_;
    std::map<std::string, std::unique_ptr<SourceText>> sources_;
    std::vector<Level> levels_;
    Token token_;
    int inclusions_ = 0;
    Place copied_;                ///< where the copy that is being made begins, if one is
    std::size_t copiedLine_ = 0;  ///< of its last token
    std::string copy_;
    std::uint64_t bytes_ = 0;  ///< of all texts
};

}  // namespace lumorender
