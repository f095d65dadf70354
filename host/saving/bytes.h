// Values in bytes, as they stand in the memory of this machine. What is read may come from anywhere: nothing is trusted
// that the number of bytes contradicts.
#pragma once

#include "support/messages.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace lumorender {

class ByteWriter {
public:
    template <class T>
    void put(const T& value)
        requires std::is_trivially_copyable_v<T>
    {
        putWords(&value, 1);
    }
    void put(const std::string& text) {
        put(static_cast<std::uint64_t>(text.size()));
        putWords(text.data(), text.size());
    }
    template <class T>
    void put(const std::vector<T>& values) {
        put(static_cast<std::uint64_t>(values.size()));
        for (const T& value : values) put(value);
    }
    /// As they are, without their number.
    template <class T>
    void putWords(const T* values, std::size_t count)
        requires std::is_trivially_copyable_v<T>
    {
        const auto* first = reinterpret_cast<const std::byte*>(values);
        bytes.insert(bytes.end(), first, first + count * sizeof(T));
    }

    std::vector<std::byte> bytes;
};

/// Throws Failure where there are fewer bytes than are asked for.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::byte> bytes) : rest_(bytes) {}

    template <class T>
    void get(T& value)
        requires std::is_trivially_copyable_v<T>
    {
        getWords(&value, 1);
    }
    void get(std::string& text) {
        text.resize(count(1));
        getWords(text.data(), text.size());
    }
    template <class T>
    void get(std::vector<T>& values) {
        // An element takes a byte at least.
        values.resize(count(std::is_trivially_copyable_v<T> ? sizeof(T) : 1));
        for (T& value : values) get(value);
    }
    template <class T>
    void getWords(T* values, std::size_t number)
        requires std::is_trivially_copyable_v<T>
    {
        const std::size_t size = number * sizeof(T);
        if (size > rest_.size()) throw Failure("it holds less than it says");
        if (size > 0) std::memcpy(values, rest_.data(), size);
        rest_ = rest_.subspan(size);
    }
    template <class T>
    T take() {
        T value{};
        get(value);
        return value;
    }
    /// How many elements follow, of so many bytes at least.
    std::size_t count(std::size_t least) {
        const auto number = take<std::uint64_t>();
        if (number > rest_.size() / least) throw Failure("it holds less than it says");
        return static_cast<std::size_t>(number);
    }
    bool atEnd() const { return rest_.empty(); }

private:
    std::span<const std::byte> rest_;
};

}  // namespace lumorender
