#include "render/sampling.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr int kMaxLevel = 8;

/// The digits of the number in base 2, mirrored at the point (van der Corput).
double radicalInverse(std::uint32_t n) {
    n = (n << 16) | (n >> 16);
    n = ((n & 0x00FF00FFU) << 8) | ((n & 0xFF00FF00U) >> 8);
    n = ((n & 0x0F0F0F0FU) << 4) | ((n & 0xF0F0F0F0U) >> 4);
    n = ((n & 0x33333333U) << 2) | ((n & 0xCCCCCCCCU) >> 2);
    n = ((n & 0x55555555U) << 1) | ((n & 0xAAAAAAAAU) >> 1);
    return unitOf(n);
}

}  // namespace

PixelSampler::PixelSampler(int level, double jitter)
    : edge_(1 << std::clamp(level, 0, kMaxLevel)), jitter_(std::clamp(jitter, 0.0, 1.0)) {
    const int middle = (edge_ - 1) / 2;
    standing_ = middle * edge_ + middle;
}

SamplePosition PixelSampler::position(int x, int y, int sample) const {
    SamplePosition result;
    const auto ux = static_cast<std::uint32_t>(x);
    const auto uy = static_cast<std::uint32_t>(y);
    const auto us = static_cast<std::uint32_t>(sample);
    double dx = 0.5;
    double dy = 0.5;
    if (jitter_ > 0) {
        dx += jitter_ * (unitOf(hashOf(ux, uy, 2 * us)) - 0.5);
        dy += jitter_ * (unitOf(hashOf(ux, uy, 2 * us + 1)) - 0.5);
    }
    result.x = (sample % edge_ + dx) / edge_;
    result.y = (sample / edge_ + dy) / edge_;
    if (edge_ > 1) {
        const double time = radicalInverse(us) + unitOf(hashOf(ux, uy, 0x7E57U));
        result.time = time - std::floor(time);
    }
    return result;
}

}  // namespace lumorender
