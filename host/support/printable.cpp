#include "support/printable.h"

#include <fmt/format.h>

#include <cstdint>

namespace lumorender {

namespace {

constexpr std::size_t kLongest = 8000;

struct Character {
    std::uint32_t code = 0;
    std::size_t bytes = 1;
    bool valid = false;
};

/// The first character of a text that is not empty. Overlong forms, surrogates and what is cut off are not valid.
Character firstOf(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80) return {byte(0), 1, true};
    const std::size_t bytes = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < bytes) return {};
    std::uint32_t code = byte(0) & (0xFFU >> (bytes + 1));
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {};
        code = code << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < kLeast[bytes] || code > 0x10FFFF || surrogate) return {};
    return {code, bytes, true};
}

bool isHarmless(std::uint32_t code) {
    const auto within = [code](std::uint32_t low, std::uint32_t high) { return code >= low && code <= high; };
    const bool controls = code < 0x20 || within(0x7F, 0x9F);
    const bool directions = within(0x200E, 0x200F) || within(0x2028, 0x202E) || within(0x2066, 0x2069);
    return !controls && !directions && code != 0xFEFF;
}

void appendEscaped(std::string& result, std::string_view bytes) {
    for (const char c : bytes) {
        if (c == '\n')
            result += "\\n";
        else if (c == '\t')
            result += "\\t";
        else
            fmt::format_to(std::back_inserter(result), "\\x{:02x}", static_cast<unsigned char>(c));
    }
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        if (result.size() > kLongest) return result + fmt::format("... ({} more bytes)", text.size());
        const Character first = firstOf(text);
        const std::string_view bytes = text.substr(0, first.bytes);
        if (first.valid && isHarmless(first.code))
            result += bytes;
        else
            appendEscaped(result, bytes);
        text.remove_prefix(first.bytes);
    }
    return result;
}

}  // namespace lumorender
