#include "render/sampling.h"

#include "support/quasi_random.h"

#include <algorithm>

namespace lumorender {

namespace {

constexpr std::uint32_t kTime = 0x71e3;  // tells seeds of times from others of the pixel

}  // namespace

PixelSampler::PixelSampler(int level, double jitter, bool shutterOpens)
    : level_(std::clamp(level, 0, kMostLevel)),
      edge_(1 << level_),
      cellSize_(1.0 / edge_),
      jitter_(std::clamp(jitter, 0.0, 1.0)),
      timed_(shutterOpens && edge_ > 1) {
    const int middle = (edge_ - 1) / 2;
    standing_ = middle * edge_ + middle;
    ordered_ = edge_ > 1;
    const auto cellOf = [&](std::uint32_t bits) { return static_cast<int>(bits * 0x1p-32 * edge_); };
    numbers_.resize(static_cast<std::size_t>(count()));
    for (std::uint32_t i = 0; i < numbers_.size(); ++i)
        numbers_[static_cast<std::size_t>(cellOf(sobolBits(i, 0)) * edge_ + cellOf(sobolBits(i, 1)))] = i;
}

void PixelSampler::numberByLevels(int leastLevel) {
    ordered_ = false;
    const int offset = standing_ % edge_;
    constexpr auto kNone = ~std::uint32_t{0};
    numbers_.assign(static_cast<std::size_t>(count()), kNone);
    std::uint32_t next = 0;
    for (int step = edge_ >> std::clamp(leastLevel, 0, kMostLevel); next < numbers_.size(); step /= 2) {
        step = std::max(step, 1);
        for (int y = offset % step; y < edge_; y += step)
            for (int x = offset % step; x < edge_; x += step)
                if (std::uint32_t& number = numbers_[static_cast<std::size_t>(y * edge_ + x)]; number == kNone)
                    number = next++;
    }
}

SamplePosition PixelSampler::position(std::uint32_t pixelSeed, int cell) const {
    SamplePosition result;
    const auto place = static_cast<std::uint32_t>(cell);
    double dx = 0.5;
    double dy = 0.5;
    if (jitter_ > 0) {
        dx += jitter_ * (hashedUnit(pixelSeed, 2 * place) - 0.5);
        dy += jitter_ * (hashedUnit(pixelSeed, 2 * place + 1) - 0.5);
    }
    result.x = ((cell & (edge_ - 1)) + dx) * cellSize_;
    result.y = ((cell >> level_) + dy) * cellSize_;
    if (!timed_) return result;
    // A number is a coordinate, too.
    const auto bits = static_cast<std::uint32_t>(number(cell) * (0x1p32 / count()));
    result.time =
        ordered_ ? scrambledBits(bits, mixSeeds(pixelSeed, kTime)) : scrambledSobol(number(cell), 0, pixelSeed);
    return result;
}

}  // namespace lumorender
