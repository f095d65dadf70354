/* Layout of a record as a list of its plain values, found by compile-time reflection. */
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/pfr.hpp>

#include <shader.h>

/* Integers and truth values are of one C type, and so are all kinds of tags. */
enum class ValueKind { kInteger, kScalar, kColor, kVector, kTransform, kTag };

struct PlainValue {
    std::size_t offset;
    ValueKind kind;

    bool operator==(const PlainValue&) const = default;
};

using RecordLayout = std::vector<PlainValue>;

template <class T>
void appendLayout(RecordLayout& layout, std::size_t offset) {
    if constexpr (std::is_array_v<T>) {
        static_assert(std::extent_v<T> == 1, "array parameters have one inline element");
        appendLayout<std::remove_extent_t<T>>(layout, offset);
    } else if constexpr (std::is_same_v<T, miInteger>) {
        layout.push_back({offset, ValueKind::kInteger});
    } else if constexpr (std::is_same_v<T, miScalar>) {
        layout.push_back({offset, ValueKind::kScalar});
    } else if constexpr (std::is_same_v<T, miTag>) {
        layout.push_back({offset, ValueKind::kTag});
    } else if constexpr (std::is_same_v<T, miColor>) {
        layout.push_back({offset, ValueKind::kColor});
    } else if constexpr (std::is_same_v<T, miVector>) {
        layout.push_back({offset, ValueKind::kVector});
    } else {
        static_assert(std::is_aggregate_v<T>, "a parameter of a type that scenes do not have");
        static T record{};
        boost::pfr::for_each_field(record, [&](auto& field) {
            const auto distance = reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&record);
            appendLayout<std::remove_reference_t<decltype(field)>>(layout, offset + static_cast<std::size_t>(distance));
        });
    }
}

template <class T>
RecordLayout layoutOf() {
    RecordLayout layout;
    if constexpr (!std::is_empty_v<T>) appendLayout<T>(layout, 0);
    return layout;
}

/* By shader name. */
inline std::map<std::string, RecordLayout>& describedShaders() {
    static std::map<std::string, RecordLayout> shaders;
    return shaders;
}

inline bool describeShader(const std::string& name, RecordLayout layout) {
    describedShaders()[name] = std::move(layout);
    return true;
}
