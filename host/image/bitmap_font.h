// The captions' font, built in so that a contact sheet looks the same on machines without any fonts.
#pragma once

#include <array>
#include <cstdint>

namespace lumorender {

/// Five columns per character from ' ' to '~'; in each column the lowest bit is the top pixel of eight, the eighth
/// lies below the base line.
extern const std::array<std::array<std::uint8_t, 5>, 95> kBitmapFont;

}  // namespace lumorender
