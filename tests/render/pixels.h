// Pictures of 4 x 4 pixels from the default camera.
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

}  // namespace rendertest
