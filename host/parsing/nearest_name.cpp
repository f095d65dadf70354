#include "parsing/nearest_name.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace lumorender {

namespace {

/// How many letters have to be put in, taken out or exchanged to get from one name to the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t corner = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t exchanged = corner + (a[i] == b[j] ? 0 : 1);
            corner = std::exchange(row[j + 1], std::min({row[j] + 1, row[j + 1] + 1, exchanged}));
        }
    }
    return row.back();
}

}  // namespace

std::string nearestName(std::string_view name, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t least = (name.size() + 1) / 2;
    for (const std::string& candidate : names)
        if (const std::size_t now = distance(name, candidate); now < least) {
            least = now;
            nearest = candidate;
        }
    return nearest;
}

std::string guessOf(std::string_view name, const std::vector<std::string>& names) {
    const std::string nearest = nearestName(name, names);
    return nearest.empty() ? "" : ", did you mean " + nearest + "?";
}

}  // namespace lumorender
