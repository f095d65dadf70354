#include "render/sampling.h"

#include "support/quasi_random.h"

#include <algorithm>

namespace lumorender {

PixelSampler::PixelSampler(int level, double jitter, bool shutterOpens)
    : edge_(1 << std::clamp(level, 0, kMostLevel)),
      jitter_(std::clamp(jitter, 0.0, 1.0)),
      timed_(shutterOpens && edge_ > 1) {
    const int middle = (edge_ - 1) / 2;
    standing_ = middle * edge_ + middle;
}

SamplePosition PixelSampler::position(std::uint32_t pixelSeed, int sample) const {
    SamplePosition result;
    const auto number = static_cast<std::uint32_t>(sample);
    double dx = 0.5;
    double dy = 0.5;
    if (jitter_ > 0) {
        dx += jitter_ * (hashedUnit(pixelSeed, 2 * number) - 0.5);
        dy += jitter_ * (hashedUnit(pixelSeed, 2 * number + 1) - 0.5);
    }
    result.x = (sample % edge_ + dx) / edge_;
    result.y = (sample / edge_ + dy) / edge_;
    if (timed_) result.time = scrambledSobol(number, 0, pixelSeed);
    return result;
}

}  // namespace lumorender
