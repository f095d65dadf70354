// Pictures of 4 x 4 pixels from the default camera, and what their eye rays meet.
#pragma once

#include "harness.h"
#include "space.h"

#include <cstring>

namespace rendertest {

/// Values are compared as bits: no number equals itself there, too.
inline void expectSameBits(const Picture& a, const Picture& b, const std::string& what) {
    ASSERT_EQ(a.names(), b.names());
    for (const auto& [name, channel] : a.channels()) {
        const auto& other = b.channels().at(name);
        ASSERT_EQ(channel.values.size(), other.values.size());
        EXPECT_EQ(std::memcmp(channel.values.data(), other.values.data(), channel.values.size() * sizeof(float)), 0)
            << name << ": " << what;
    }
}

/// Direction of the eye ray through a pixel of 4 x 4: film of width 2 at distance 1.
inline V3 eyeRay(int x, int y) { return unit({((x + .5) / 4 - .5) * 2, ((y + .5) / 4 - .5) * 2, -1}); }

/// Where it meets a plane at this z.
inline V3 meeting(int x, int y, double z) {
    const V3 d = eyeRay(x, y);
    return (z / d.z) * d;
}

/// Compares all pixels of a channel with `expected(x, y)`.
template <class Expected>
void expectPixels(const Picture& image, const std::string& channel, Expected expected, double tolerance = 1e-5) {
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_NEAR(image.at(channel, x, y), expected(x, y), tolerance) << channel << " at " << x << " " << y;
}

}  // namespace rendertest
