#include "application/value_pattern.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace lumorender {

namespace {

template <class Number>
bool isWhole(std::string_view text, Number& number) {
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && failure == std::errc() && end == text.data() + text.size();
}

/// The texts that a pattern stands for: "[a [b]] c" is "a b c", "a c" and "c".
std::vector<std::string> withoutBrackets(const std::string& text) {
    const std::size_t open = text.find('[');
    if (open == std::string::npos) return {text};
    std::size_t close = open;
    for (int depth = 0; close < text.size(); ++close) {
        depth += text[close] == '[' ? 1 : text[close] == ']' ? -1 : 0;
        if (depth == 0) break;
    }
    const std::string before = text.substr(0, open), inside = text.substr(open + 1, close - open - 1);
    const std::string after = text.substr(close + 1);
    std::vector<std::string> result = withoutBrackets(before + inside + after);
    for (std::string& shorter : withoutBrackets(before + after)) result.push_back(std::move(shorter));
    return result;
}

std::vector<std::string> splitAt(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        if (!part.empty()) parts.push_back(part);
    return parts;
}

}  // namespace

bool isInteger(const std::string& text) {
    int number = 0;
    return isWhole(text, number);
}

bool isNumber(const std::string& text) {
    float number = 0;
    return isWhole(text, number) && std::isfinite(number);
}

ValuePattern::ValuePattern(std::string_view text) : isList_(text.ends_with("..")) {
    if (isList_) text.remove_suffix(2);
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isKind = at + 1 < text.size() && text[at + 1] == ':';
        if (isKind)
            ++at;
        else
            shown_ += text[at];
    }
    if (isList_) shown_ += ".. --";
    for (const std::string& form : withoutBrackets(std::string(text))) {
        std::vector<Value> values;
        for (const std::string& part : splitAt(form, ' ')) {
            values.emplace_back();
            for (const std::string& one : splitAt(part, '|')) values.back().push_back(readAlternative(one));
        }
        forms_.push_back(std::move(values));
    }
    std::stable_sort(forms_.begin(), forms_.end(), [](const auto& a, const auto& b) { return a.size() > b.size(); });
}

ValuePattern::Alternative ValuePattern::readAlternative(std::string_view text) {
    if (text.size() < 3 || text[1] != ':') return {Kind::Word, std::string(text)};
    return {text[0] == 'N' ? Kind::Integer : text[0] == 'F' ? Kind::Number : Kind::Text, std::string(text.substr(2))};
}

bool ValuePattern::fits(const Value& value, const std::string& argument) {
    return std::any_of(value.begin(), value.end(), [&](const Alternative& one) {
        switch (one.kind) {
            case Kind::Integer: return isInteger(argument);
            case Kind::Number: return isNumber(argument);
            case Kind::Text: return !argument.empty();
            case Kind::Word: break;
        }
        return argument == one.word;
    });
}

std::optional<std::size_t> ValuePattern::match(std::span<const std::string> arguments) const {
    for (const std::vector<Value>& form : forms_) {
        if (form.size() > arguments.size()) continue;
        if (std::equal(form.begin(), form.end(), arguments.begin(), fits)) return form.size();
    }
    return std::nullopt;
}

std::vector<std::string> ValuePattern::choices() const {
    std::vector<std::string> result;
    for (const std::vector<Value>& form : forms_) {
        if (form.empty()) continue;
        for (const Alternative& one : form.front())
            if (one.kind == Kind::Word && std::find(result.begin(), result.end(), one.word) == result.end())
                result.push_back(one.word);
    }
    return result;
}

bool ValuePattern::beginsWithText() const {
    return !forms_.front().empty() && forms_.front().front().front().kind == Kind::Text;
}

}  // namespace lumorender
