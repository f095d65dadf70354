#include "echo/element_text.h"

#include "parsing/scanner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace lumorender {

void ElementText::add(int number) { fmt::format_to(std::back_inserter(text), " {}", number); }

void ElementText::add(miUint number) { fmt::format_to(std::back_inserter(text), " {}", number); }

void ElementText::add(float number) {
    if (std::isnan(number)) return add(std::signbit(number) ? "-nan" : "nan");
    const std::size_t begin = text.size();
    fmt::format_to(std::back_inserter(text), " {}", number);
    // Without a dot a negative zero would lose its sign, and values that have no declared type would become integers.
    if (text.find_first_of(".en", begin) == std::string::npos) text += '.';
}

void ElementText::add(const miVector& vector) {
    add(vector.x);
    add(vector.y);
    add(vector.z);
}

void ElementText::add(const miColor& color) {
    add(color.r);
    add(color.g);
    add(color.b);
    add(color.a);
}

void ElementText::add(const miMatrix& matrix) {
    for (const float element : matrix) add(element);
}

void ElementText::add(Quoted quoted) { add(quotedText(quoted.text)); }

void ElementText::add(Name name) {
    if (database.name(name.tag).empty()) return add("null");
    needed.push_back(name.tag);
    add(Quoted{database.name(name.tag)});
}

void ElementText::add(LaterName name) {
    mentioned.push_back(name.tag);
    add(Quoted{database.name(name.tag)});
}

void ElementText::names(const std::vector<miTag>& tags) {
    add("[");
    for (std::size_t i = 0; i < tags.size(); ++i) {
        add(Name{tags[i]});
        if (i + 1 < tags.size()) text += ',';
    }
    add("]");
}

void ElementText::bytes(const unsigned char* values, std::size_t count) {
    constexpr std::size_t kPerLine = 48;
    for (std::size_t begin = 0; begin < count; begin += kPerLine) {
        text += "\n    '";
        for (std::size_t i = begin; i < std::min(begin + kPerLine, count); ++i)
            fmt::format_to(std::back_inserter(text), "{:02x}", values[i]);
        text += '\'';
    }
}

}  // namespace lumorender
