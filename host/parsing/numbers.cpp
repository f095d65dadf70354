#include "parsing/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace lumorender {

namespace {

constexpr long long kLargestInteger = std::numeric_limits<long long>::max();

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isExponent(const char* at, const char* end) {
    if (*at != 'e' && *at != 'E') return false;
    ++at;
    if (at != end && (*at == '-' || *at == '+')) ++at;
    return at != end && isDigit(*at);
}

/// The fast conversion does not tell numbers that are too large for a float from those that are too small.
float extremeNumber(const char* begin, const char* end) {
    return std::strtof(std::string(begin, end).c_str(), nullptr);
}

/// "1.#QNAN", "-1.#IND", "1.#INF00": how one system's C library used to print numbers that are none.
bool scanFormerNotation(const char*& at, const char* end, bool negative, Token& token) {
    if (end - at < 4 || *at != '#') return false;
    const std::string_view word(at + 1, 3);
    if (word != "INF" && word != "IND" && word != "QNA" && word != "SNA") return false;
    token.number = notFinite(word == "INF" ? "inf" : "nan");
    if (negative) token.number = -token.number;
    for (++at; at != end && (isDigit(*at) || (*at >= 'A' && *at <= 'Z')); ++at) {
    }
    return true;
}

const char* convert(const char* begin, const char* end, Token& token) {
    const char* const digits = *begin == '+' ? begin + 1 : begin;
    const auto [behind, code] = std::from_chars(digits, end, token.number);
    if (code == std::errc::result_out_of_range) token.number = extremeNumber(digits, behind);
    return behind;
}

const char* scanFloat(const char* begin, const char* end, Token& token) {
    token.kind = TokenKind::Float;
    const char* at = convert(begin, end, token);
    if (at[-1] == '.') scanFormerNotation(at, end, *begin == '-', token);
    return at;
}

}  // namespace

float notFinite(std::string_view word) {
    return word == "nan" ? std::numeric_limits<float>::quiet_NaN() : std::numeric_limits<float>::infinity();
}

const char* scanNumber(const char* begin, const char* end, Token& token) {
    const char* at = begin;
    if (*at == '-' || *at == '+') ++at;
    long long value = 0;
    bool isLong = false;
    for (; isDigit(*at); ++at) {
        isLong = isLong || value > kLargestInteger / 10 - 1;
        if (!isLong) value = value * 10 + (*at - '0');
    }
    if (*at == '.' || isExponent(at, end)) return scanFloat(begin, end, token);
    token.kind = TokenKind::Integer;
    token.integer = *begin == '-' ? -value : value;
    token.number = static_cast<float>(token.integer);
    if (isLong) convert(begin, at, token);
    return at;
}

}  // namespace lumorender
