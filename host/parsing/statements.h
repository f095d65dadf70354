// How the body of an element is read: a table of its statements, and the loop over it.
#pragma once

#include "parsing/context.h"

#include <initializer_list>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace lumorender {

/// Statements by their first word. A handler is called behind that word.
template <class Reader>
class StatementTable {
public:
    using Handler = void (*)(Reader&);

    StatementTable(std::initializer_list<std::pair<const std::string_view, Handler>> statements)
        : handlers_(statements) {}

    Handler find(const Token& token) const {
        if (token.kind != TokenKind::Symbol) return nullptr;
        const auto found = handlers_.find(token.text);
        return found == handlers_.end() ? nullptr : found->second;
    }

private:
    std::unordered_map<std::string_view, Handler> handlers_;
};

/// Reads statements up to and including `end <element>`. What is in no table goes to the reader's `readOther`, which
/// says whether it could read it; the rest is warned of.
template <class Reader>
void readStatements(Reader& reader, const StatementTable<Reader>& table, std::string_view element) {
    SceneContext& scene = reader.scene;
    Cursor& in = scene.in;
    while (!in.acceptEnd(element)) {
        if (const auto read = table.find(in.current())) {
            const Place place = in.place();
            const std::string_view word = in.current().text;
            in.advance();
            scene.problems.tell(place, element, word, in.continuation());
            read(reader);
        } else if (!reader.readOther()) {
            scene.skipUnknown(element, [&] { return table.find(in.current()) != nullptr; });
        }
    }
}

}  // namespace lumorender
