// The text of one element as it grows, and the elements that it names.
#pragma once

#include "database/database.h"
#include "mi/types.h"

#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// A text in quotes.
struct Quoted {
    std::string_view text;
};

/// The name of an element that must stand before this one.
struct Name {
    miTag tag;
};

/// The name of an element that may come later in the file.
struct LaterName {
    miTag tag;
};

class ElementText {
public:
    explicit ElementText(const Database& itsDatabase) : database(itsDatabase) {}

    const Database& database;
    std::string text;
    std::vector<miTag> needed, mentioned;

    void add(const char* word) { add(std::string_view(word)); }
    void add(std::string_view word) {
        text += ' ';
        text += word;
    }
    void add(bool on) { add(on ? "on" : "off"); }
    void add(int number);
    void add(miUint number);
    /// The shortest number that reads back to the same bits, and never one that could be taken for an integer.
    void add(float number);
    void add(const miVector& vector);
    /// With alpha, whatever a missing one stands for where it is read.
    void add(const miColor& color);
    void add(const miMatrix& matrix);
    void add(Quoted quoted);
    void add(Name name);
    void add(LaterName name);

    void line() { text += "\n   "; }
    /// A line with the words of a statement and its values.
    template <class... Values>
    void statement(std::string_view words, const Values&... values) {
        line();
        add(words);
        (add(values), ...);
    }

    /// The names of these in brackets; `null` for what there is not.
    void names(const std::vector<miTag>& tags);
    /// Bytes as lines of hexadecimal digits.
    void bytes(const unsigned char* values, std::size_t count);
};

/// True where the bits are the same: numbers that are none count as equal, and the two zeros do not.
template <class T>
bool isSameValue(const T& a, const T& b) {
    const auto* first = reinterpret_cast<const unsigned char*>(&a);
    const auto* second = reinterpret_cast<const unsigned char*>(&b);
    for (std::size_t i = 0; i < sizeof(T); ++i)
        if (first[i] != second[i]) return false;
    return true;
}

inline bool isZero(float number) { return isSameValue(number, 0.0F); }

}  // namespace lumorender
