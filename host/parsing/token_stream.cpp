#include "parsing/token_stream.h"

#include "support/abort.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace lumorender {

TokenStream::TokenStream(Problems& problems, Registry& registry, const ReaderSettings& settings)
    : problems_(problems), registry_(registry), settings_(settings) {}

void TokenStream::open(std::string name, const std::filesystem::path& directory, std::string text) {
    auto& source = sources_[name];
    source = std::make_unique<SourceText>(name, directory, std::move(text));
    levels_.push_back({Scanner(*source, unescaped_), std::move(name), {}});
    advance();
}

void TokenStream::advance() {
    if (abortRequested()) problems_.stop(place(), "reading was stopped");
    if (copied_.source) copyToken();
    for (;;) {
        scanner().next(token_);
        const Level& level = levels_.back();
        if (level.replayEnd && (token_.at >= level.replayEnd || token_.kind == TokenKind::End)) return endReplay();
        if (token_.complaint) problems_.error(place(), token_.complaint);
        if (token_.kind == TokenKind::Directive)
            carryOutDirective();
        else if (token_.kind == TokenKind::End && levels_.size() > 1)
            leaveText();
        else
            break;
    }
    if (token_.kind == TokenKind::End) leaveText();
}

void TokenStream::copyToken() {
    if (token_.kind == TokenKind::End) return;
    if (&scanner().source() == copied_.source) {
        const std::size_t line = copied_.source->lineOf(token_.at);
        if (line > copiedLine_) copy_.append(line - copiedLine_, '\n');
        copiedLine_ = std::max(copiedLine_, line);
    }
    copy_ += ' ';  // at the beginning of a line, too: what is no directive does not become one
    copy_.append(token_.at, scanner().cursor());
    copiedLine_ += static_cast<std::size_t>(std::count(token_.at, scanner().cursor(), '\n'));
}

std::shared_ptr<const SourceText> TokenStream::copy(const std::function<void()>& step) {
    copied_ = place();
    copiedLine_ = copied_.source->lineOf(copied_.at);
    copy_.clear();
    try {
        step();
    } catch (...) {
        copied_ = {};
        throw;
    }
    const SourceText& from = *std::exchange(copied_, {}).source;
    const auto lines = static_cast<std::size_t>(std::count(copy_.begin(), copy_.end(), '\n'));
    return std::make_shared<SourceText>(from.name(), from.directory(), copy_, from.isScene(), copiedLine_ - lines);
}

void TokenStream::replay(const TextSpan& span) {
    levels_.push_back({Scanner(*span.source, unescaped_), {}, {}, span.end, token_});
    scanner().seek(span.begin);
    advance();
}

void TokenStream::leaveReplay() {
    while (!levels_.back().replayEnd) levels_.pop_back();
    endReplay();
}

void TokenStream::endReplay() {
    token_ = levels_.back().tokenBehind;
    levels_.pop_back();
}

/// The outermost text stays open: messages about its end need a place.
void TokenStream::leaveText() {
    Level& level = levels_.back();
    for (const Conditional& open : level.conditionals)
        problems_.error({&level.scanner.source(), open.at}, "found the end of the file, expected $endif");
    level.conditionals.clear();
    if (levels_.size() > 1) levels_.pop_back();
}

std::vector<std::pair<std::string, std::string_view>> TokenStream::texts() const {
    std::vector<std::pair<std::string, std::string_view>> result;
    for (const auto& [identity, source] : sources_)
        result.emplace_back(source->name(), std::string_view(source->begin(), source->end()));
    return result;
}

std::string_view TokenStream::takeRaw(std::size_t count) {
    std::string_view bytes;
    if (!scanner().takeRaw(count, bytes))
        throw SyntaxError{place(), fmt::format("found something else, expected {} bytes between back quotes", count)};
    advance();
    return bytes;
}

/// A vector of 12 bytes is tried first; anything longer ends at the next back quote, as well as that can be told.
void TokenStream::skipRaw() {
    std::string_view bytes;
    const Scanner& at = scanner();
    const std::string_view rest(at.cursor(), at.source().end());
    if (!scanner().takeRaw(12, bytes)) {
        const auto closing = rest.find('`');
        if (closing != std::string_view::npos) scanner().takeRaw(closing, bytes);
    }
    advance();
}

bool TokenStream::isFirstOnLine() const {
    const char* const begin = scanner().source().begin();
    for (const char* at = token_.at; at != begin; --at) {
        if (at[-1] == '\n' || at[-1] == '\r') return true;
        if (at[-1] != ' ' && at[-1] != '\t') return false;
    }
    return true;
}

std::filesystem::path TokenStream::findFile(const Place& place, const std::string& name,
                                            const std::vector<std::filesystem::path>& places) {
    const std::string here = substitute(name, settings_.substitutions);
    std::filesystem::path found = searchFile(here, places);
    if (found.empty()) found = here;
    if (found.string().ends_with(name)) return found;
    problems_.note(place, fmt::format("\"{}\" is taken to be \"{}\"", name, found.string()));
    return found;
}

std::string TokenStream::expandFileName(std::string_view text) {
    std::vector<std::string> missing;
    std::string expanded = registry_.expand(text, missing);
    for (const std::string& key : missing)
        problems_.warning(place(), fmt::format("the registry has no value for \"{{{}}}\"", key));
    return expanded;
}

}  // namespace lumorender
