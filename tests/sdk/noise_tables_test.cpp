/* The tables of the noises, and the seeded generator: to the bit. */
#include <algorithm>
#include <array>
#include <climits>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "noise_functions.h"

namespace {

constexpr int kCount = 65535;

double valueAt(int i) { return library::noise_table_scalar(i); }

TEST(NoiseTable, BeginsWithThePublishedValues) {
    const float published[] = {-0.51077f, -0.89259f, 0.32458f, 0.51401f, 0.67639f, 0.96362f};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(library::noise_table_scalar(i), published[i]);
}

/* Every bin of a 65535th of the range has one value, and the parts that the lattices use are balanced. */
TEST(NoiseTable, CoversTheRangeEvenly) {
    std::vector<int> perBin(kCount);
    double sum = 0, squares = 0, neighbours = 0;
    for (int i = 0; i < kCount; ++i) {
        const double value = valueAt(i);
        ASSERT_GT(value, -1);
        ASSERT_LT(value, 1);
        ++perBin[static_cast<std::size_t>((value + 1) / 2 * kCount)];
        sum += value;
        squares += value * value;
        neighbours += value * valueAt(i + 1);
        if (i + 1 == 34 || i + 1 == 1024 || i + 1 == 32768) {
            EXPECT_NEAR(sum / (i + 1), 0, 0.02) << "first " << i + 1;
        }
    }
    EXPECT_EQ(std::count(perBin.begin(), perBin.end(), 1), kCount);
    EXPECT_NEAR(sum / kCount, 0, 1e-6);
    EXPECT_NEAR(squares / kCount, 1.0 / 3, 1e-5);
    EXPECT_NEAR(neighbours / kCount, 0, 4 / 3.0 / 256) << "neighbours are independent: 4 standard deviations";
}

TEST(NoiseTable, PermutationIsOne) {
    const std::array<int, 256> table = {
#include "SDK/noise/permutation_table.inc"
    };
    std::array<int, 256> sorted = table, all{};
    std::sort(sorted.begin(), sorted.end());
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(sorted, all);
    const int begin[] = {225, 155, 210, 108, 175, 199, 221, 144}, end[] = {105, 97, 204, 52};
    EXPECT_TRUE(std::equal(std::begin(begin), std::end(begin), table.begin()));
    EXPECT_TRUE(std::equal(std::begin(end), std::end(end), table.end() - 4));
}

TEST(NoiseTable, IndicesWrapWhateverTheyAre) {
    for (const int i : {0, 1, 65534, 65535, 65536, 1000000, INT_MAX, -1, -65535, -70000, INT_MIN + 1, INT_MIN})
        EXPECT_EQ(valueAt(i), valueAt(static_cast<int>(std::abs(static_cast<long>(i)) % kCount))) << i;

    for (const int i : {0, 65530, 65532, 65533, 65534, 65535, 70000, INT_MAX, -1, -2, -3, -4, INT_MIN}) {
        const long first = i == -1 || i == -2 ? kCount + i : static_cast<long>(static_cast<unsigned>(i));
        miVector v;
        ASSERT_EQ(library::noise_table_vector(&v, i), &v);
        const miScalar got[] = {v.x, v.y, v.z};
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(got[k], library::noise_table_scalar(static_cast<int>((first + k) % kCount))) << i << " + " << k;
    }
}

TEST(NoiseGenerator, RunsThroughAllSeedsInTheKnownOrder) {
    miUint seed = 0;
    EXPECT_EQ(library::noise_drand(&seed), 13849 / 65535.0);
    EXPECT_EQ(seed, 13849u);

    miUint single = 0xFFFFFFFF, other = 0xFFFFFFFF;  // high bits of a seed have no say
    std::vector<bool> seen(65536);
    unsigned long long expected = 0xFFFFFFFF;
    for (int i = 0; i < 65536; ++i) {
        expected = (expected * 25173 + 13849) % 65536;
        ASSERT_EQ(library::noise_drand(&other), static_cast<double>(expected) / 65535.0);
        ASSERT_EQ(library::noise_frand(&single), static_cast<float>(expected) / 65535.0f);
        ASSERT_EQ(single, expected);
        ASSERT_FALSE(seen[single]);
        seen[single] = true;
    }
}

}  // namespace
