#include "render/sampling.h"

#include <gtest/gtest.h>

#include <set>

namespace lumorender::test {
namespace {

// Of n samples there is one in each nth of the shutter interval, in each quarter of the pixel one in each 4/n of it, and so on
// down to the cells.
TEST(PixelSampler, PlacesAndTimesAreStratifiedTogether) {
    for (const int level : {1, 2, 3})
        for (const std::uint32_t seed : {1U, 77U, 0xfedcba98U}) {
            const PixelSampler sampler(level, 1, true);
            std::set<double> times;
            for (int part = 0; part <= level; ++part) {
                const int parts = 1 << part, perPart = sampler.count() / (parts * parts);
                std::set<int> strata;
                for (int cell = 0; cell < sampler.count(); ++cell) {
                    const SamplePosition sample = sampler.position(seed, cell);
                    ASSERT_TRUE(sample.time >= 0 && sample.time < 1 && sample.x >= 0 && sample.x < 1);
                    times.insert(sample.time);
                    const int block = static_cast<int>(sample.y * parts) * parts + static_cast<int>(sample.x * parts);
                    strata.insert(block * perPart + static_cast<int>(sample.time * perPart));
                }
                EXPECT_EQ(strata.size(), static_cast<std::size_t>(sampler.count())) << level << " " << part;
            }
            EXPECT_EQ(times.size(), static_cast<std::size_t>(sampler.count()));
        }
    EXPECT_NE(PixelSampler(1, 0, true).position(1, 0).time, PixelSampler(1, 0, true).position(2, 0).time);
    EXPECT_EQ(PixelSampler(0, 0, true).position(1, 0).time, 0) << "a single sample is taken when the shutter opens";
}

}  // namespace
}  // namespace lumorender::test
