
#include "elements/element_readers.h"

#include <fmt/format.h>

#include <unordered_set>

namespace lumorender {

void skipToEnd(SceneContext& scene, std::string_view word) {
    Cursor& in = scene.in;
    while (!in.at("end") || in.followingWord() != word) {
        if (in.atEnd()) in.fail(fmt::format("\"end {}\"", word));
        in.current().kind == TokenKind::Backquote ? in.skipRaw() : in.advance();
    }
    in.advance();
    in.advance();
}

/// Elements with an `end` are skipped up to it. The others, and those whose `end` is missing, are behind us where a
/// line begins with the word of another one.
void recover(SceneContext& scene, std::string_view element) {
    static const std::unordered_set<std::string_view> haveEnd = {
        "options",  "camera",       "light",        "material", "object",   "instance", "instgroup", "declare",
        "assembly", "lightprofile", "colorprofile", "spectrum", "registry", "frame",    "view"};
    Cursor& in = scene.in;
    const bool hasEnd = haveEnd.contains(element);
    while (!in.atEnd()) {
        const Token& token = in.current();
        const bool atEndOfElement = in.at("end") && haveEnd.contains(in.followingWord());
        const bool atCommand = token.kind == TokenKind::Symbol && isCommand(token.text) && in.isFirstOnLine();
        if (!hasEnd && (atEndOfElement || atCommand)) return;
        if (token.kind == TokenKind::Backquote)
            in.skipRaw();
        else
            in.advance();
        if (!atEndOfElement) continue;
        in.advance();
        return;
    }
}

}  // namespace lumorender
