#include "photons/photon.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumorender {

template <class Word>
PackedDirection<Word> PackedDirection<Word>::of(const miVector& direction) {
    const float sum = std::abs(direction.x) + std::abs(direction.y) + std::abs(direction.z);
    if (!(sum > 0)) return {};
    float x = direction.x / sum, y = direction.y / sum;
    if (direction.z < 0) {
        const float folded = (1 - std::abs(y)) * std::copysign(1.0F, x);
        y = (1 - std::abs(x)) * std::copysign(1.0F, y);
        x = folded;
    }
    const auto word = [](float value) {
        constexpr auto kMost = static_cast<float>(std::numeric_limits<Word>::max());
        return static_cast<Word>(std::lround(std::clamp((value + 1) / 2, 0.0F, 1.0F) * kMost));
    };
    return {word(x), word(y)};
}

template <class Word>
miVector PackedDirection<Word>::unpacked() const {
    const auto value = [](Word word) {
        return 2 * static_cast<float>(word) / static_cast<float>(std::numeric_limits<Word>::max()) - 1;
    };
    float x = value(u), y = value(v);
    const float z = 1 - std::abs(x) - std::abs(y);
    if (z < 0) {
        const float folded = (1 - std::abs(y)) * std::copysign(1.0F, x);
        y = (1 - std::abs(x)) * std::copysign(1.0F, y);
        x = folded;
    }
    return unit(miVector{x, y, z});
}

template struct PackedDirection<std::uint16_t>;
template struct PackedDirection<std::uint8_t>;

bool isSound(const Photon& photon) {
    const auto& e = photon.energy;
    return isFinite(photon.position) && std::isfinite(e[0]) && std::isfinite(e[1]) && std::isfinite(e[2]) &&
           photon.axis < 3;
}

}  // namespace lumorender
