// What somebody meant who made a slip in a name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// The name with the fewest letters to put in, take out or exchange; empty where that is half of the name or more.
std::string nearestName(std::string_view name, const std::vector<std::string>& names);
/// ", did you mean NAME?" for the end of a message, or nothing.
std::string guessOf(std::string_view name, const std::vector<std::string>& names);

}  // namespace lumorender
