/* What mi_query of the double answers: what a test says, else what the scene elements say, else nothing. */
#pragma once

#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <optional>
#include <type_traits>

#include <shader.h>

namespace twin {

class Queries {
public:
    /* For every tag. The value's type must be the one that the code writes. */
    template <class T>
    void answer(miQ_type code, T value) {
        byCode_[code] = Answer::of(value);
    }
    template <class T>
    void answerFor(miQ_type code, miTag tag, T value) {
        byTag_[{code, tag}] = Answer::of(value);
    }

    /* The query returns false. */
    void refuse(miQ_type code) { byCode_[code] = Answer{Answer::kRefused, 0, {}}; }

    /* Back to what the scene elements say. */
    void forget(miQ_type code) { byCode_[code] = Answer{}; }

    miBoolean ask(miQ_type code, miState* state, miTag tag, void* result);
    int count(miQ_type code) const { return counts_[code]; }

private:
    struct Answer {
        enum Kind { kNone, kRefused, kValue } kind = kNone;
        std::size_t size = 0;
        std::array<char, 16> bytes{};

        template <class T>
        static Answer of(T value) {
            static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= 16);
            Answer answer{kValue, sizeof(T), {}};
            std::memcpy(answer.bytes.data(), &value, sizeof(T));
            return answer;
        }
    };

    static std::optional<Answer> fromElements(miQ_type code, miState* state, miTag tag);
    static miBoolean give(const Answer& answer, void* result);

    std::array<Answer, 256> byCode_;
    std::map<std::pair<miQ_type, miTag>, Answer> byTag_;
    std::array<std::atomic<int>, 256> counts_{};
};

}  // namespace twin
