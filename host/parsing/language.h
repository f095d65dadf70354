// What becomes of the words of the scene language: the one list of what this host does with each, and without.
#pragma once

#include <span>
#include <string_view>

namespace lumorender {

enum class Effect {
    Used,
    Idle,     ///< read, and without effect on the picture: told at info level
    Missing,  ///< asks for something that is not done: a warning
    Refused,  ///< not done on purpose: a warning
};

/// One row of the list. `words` are statements of the element, parted by |. Behind = stands what follows one in the
/// scene, such as a setting or a value: "caustic=off" counts before "caustic", which stands for the rest.
struct Meaning {
    std::string_view element, words;
    Effect effect;
    std::string_view why;  ///< of what has no effect; of what is used a restriction, or nothing
};

/// All rows.
std::span<const Meaning> language();

/// The row that holds for a statement, or null where there is none. `next` is the token behind the word, or empty.
/// Constant time; safe from all threads.
const Meaning* meaningOf(std::string_view element, std::string_view word, std::string_view next = {});

}  // namespace lumorender
