/* Layout of a record as a list of its plain values, found by compile-time reflection. */
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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
void appendLayout(RecordLayout& layout, std::size_t offset);

/* Stands in for the value of a member when a record is initialised, and so learns which type that member has. */
struct MemberProbe {
    RecordLayout* layout;
    std::size_t start;
    std::size_t* size;

    template <class Member>
    operator Member() const {
        const std::size_t place = (*size + alignof(Member) - 1) / alignof(Member) * alignof(Member);
        appendLayout<Member>(*layout, start + place);
        *size = place + sizeof(Member);
        return {};
    }
};

/* A record can be initialised with up to as many values as it has members, between `low` and `high`. */
template <class T, std::size_t low, std::size_t high>
constexpr std::size_t countMembers() {
    constexpr std::size_t middle = (low + high + 1) / 2;
    constexpr bool fits = []<std::size_t... i>(std::index_sequence<i...>) {
        return requires(MemberProbe probe) { T{(void(i), probe)...}; };
    }(std::make_index_sequence<middle>());
    if constexpr (low == high)
        return low;
    else if constexpr (fits)
        return countMembers<T, middle, high>();
    else
        return countMembers<T, low, middle - 1>();
}

template <class T>
void appendLayout(RecordLayout& layout, std::size_t offset) {
    if constexpr (std::is_same_v<T, miInteger>) {
        layout.push_back({offset, ValueKind::kInteger});
    } else if constexpr (std::is_same_v<T, miScalar>) {
        layout.push_back({offset, ValueKind::kScalar});
    } else if constexpr (std::is_same_v<T, miTag>) {
        layout.push_back({offset, ValueKind::kTag});
    } else if constexpr (std::is_same_v<T, miColor>) {
        layout.push_back({offset, ValueKind::kColor});
    } else if constexpr (std::is_same_v<T, miVector>) {
        layout.push_back({offset, ValueKind::kVector});
    } else if constexpr (requires { T::kIsTransform; }) {
        layout.push_back({offset, ValueKind::kTransform});
    } else {
        static_assert(std::is_aggregate_v<T>, "a parameter of a type that scenes do not have");
        std::size_t size = 0;
        [&]<std::size_t... i>(std::index_sequence<i...>) {
            static_cast<void>(T{(void(i), MemberProbe{&layout, offset, &size})...});
        }(std::make_index_sequence<countMembers<T, 0, sizeof(T) / 4>()>());
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
