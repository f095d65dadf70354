#include "photometry/photometric_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace lumorender {

namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";
constexpr std::size_t kLongestQuote = 40;

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// True where the whole text is a number. Locales have no say.
bool parse(std::string_view text, double& value) {
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    return problem == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

std::string inQuotes(std::string_view text) {
    std::string shown(text.substr(0, kLongestQuote));
    for (char& c : shown)
        if (static_cast<unsigned char>(c) < ' ' || static_cast<unsigned char>(c) > '~') c = '?';
    return fmt::format("\"{}\"{}", shown, text.size() > kLongestQuote ? "..." : "");
}

}  // namespace

void PhotometricText::fail(std::string_view found, std::string_view expected) const {
    throw PhotometricError{line_, fmt::format("found {}, expected {}", found, expected)};
}

void PhotometricText::failAscending(const std::vector<double>& angles) const {
    fail(fmt::format("angle {} after {}", angles.back(), angles[angles.size() - 2]), "angles in ascending order");
}

bool PhotometricText::nextLine(std::string_view& line) {
    if (rest_.empty()) return false;
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    line = trimmed(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++line_;
    return true;
}

std::string_view PhotometricText::line(std::string_view expected) {
    std::string_view result;
    if (!nextLine(result)) fail("the end of the file", expected);
    return result;
}

void PhotometricText::skipLines(int count, std::string_view expected) {
    for (int i = 0; i < count; ++i) line(expected);
}

double PhotometricText::checked(double value, std::string_view expected, double low, double high) const {
    if (!(value >= low && value <= high))
        fail(fmt::format("{}", value), fmt::format("{} from {} to {}", expected, low, high));
    return value;
}

int PhotometricText::whole(double value, std::string_view expected) const {
    if (value != std::floor(value)) fail(fmt::format("{}", value), fmt::format("{}, a whole number", expected));
    return static_cast<int>(value);
}

double PhotometricText::number(std::string_view expected) {
    constexpr std::string_view kBetween = " \t\r\f\v,";
    while (current_.find_first_not_of(kBetween) == std::string_view::npos) current_ = line(expected);
    current_.remove_prefix(current_.find_first_not_of(kBetween));
    const std::string_view word = current_.substr(0, current_.find_first_of(kBetween));
    current_.remove_prefix(word.size());
    double value = 0;
    if (!parse(word, value)) fail(inQuotes(word), expected);
    return value;
}

double PhotometricText::number(std::string_view expected, double low, double high) {
    return checked(number(expected), expected, low, high);
}

int PhotometricText::count(std::string_view expected, int low, int high) {
    return whole(number(expected, low, high), expected);
}

double PhotometricText::lineNumber(std::string_view expected, double low, double high) {
    const std::string_view text = line(expected);
    std::string word(text.substr(0, text.find_first_of(kBlanks)));
    std::replace(word.begin(), word.end(), ',', '.');
    double value = 0;
    if (!parse(word, value)) fail(inQuotes(word), expected);
    return checked(value, expected, low, high);
}

int PhotometricText::lineCount(std::string_view expected, int low, int high) {
    return whole(lineNumber(expected, low, high), expected);
}

}  // namespace lumorender
