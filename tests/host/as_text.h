// Values as a line of text: a test compares all that it looks at with one string.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>

namespace lumorender {

template <class... Values>
std::string asText(const Values&... values);

/// Numbers have five digits, and what is all but zero is zero. Modes that are letters are letters, others signed numbers.
template <class Value>
std::string wordOf(const Value& value) {
    if constexpr (std::is_convertible_v<const Value&, std::string_view>)
        return std::string(std::string_view(value));
    else if constexpr (std::is_same_v<Value, char>)
        return value >= 'A' ? std::string(1, value) : fmt::format("{}", int{value});
    else if constexpr (std::is_floating_point_v<Value>)
        return fmt::format("{:.5g}", std::abs(value) < 1e-6 ? 0 : value);
    else if constexpr (std::is_enum_v<Value>)
        return fmt::format("{}", static_cast<int>(value));
    else if constexpr (requires { value.z; })
        return asText(value.x, value.y, value.z);
    else if constexpr (requires { value.a; })
        return asText(value.r, value.g, value.b, value.a);
    else if constexpr (requires { value.first; })
        return asText(value.first, value.second);
    else if constexpr (requires { value.valueless_by_exception(); })
        return std::visit([](const auto& held) { return wordOf(held); }, value);
    else if constexpr (requires { std::begin(value); }) {
        std::string text;
        for (const auto& each : value) text.append(text.empty() ? "" : " ").append(wordOf(each));
        return text;
    } else
        return fmt::format("{}", value);
}

template <class... Values>
std::string asText(const Values&... values) {
    std::string text;
    (text.append(text.empty() ? "" : " ").append(wordOf(values)), ...);
    return text;
}

/// Some members of a record.
template <class Record, class... Members>
std::string fields(const Record& record, Members Record::*... members) {
    return asText(record.*members...);
}

inline void expectParts(const std::string& text, std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << " in:\n" << text;
}

}  // namespace lumorender
