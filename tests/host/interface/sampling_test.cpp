#include "shader.h"
#include "support/quasi_random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <vector>

namespace {

using Points = std::vector<std::vector<double>>;

miState stateOf(std::uint32_t pixel, std::uint32_t sample) {
    miState state = {};
    lumorender::seedEyeState(state, pixel, sample);
    return state;
}

Points loop(miState& state, miUshort dimensions, miUint n) {
    Points points;
    std::vector<double> point(dimensions);
    int counter = 0;
    while (mi_sample(point.data(), &counter, &state, dimensions, &n)) points.push_back(point);
    EXPECT_EQ(counter, static_cast<int>(n));
    return points;
}

/// True if each of as many equal intervals as there are points has one of them.
bool isStratified(const Points& points, std::size_t coordinate) {
    std::set<int> strata;
    for (const auto& point : points)
        strata.insert(static_cast<int>(point[coordinate] * static_cast<double>(points.size())));
    return strata.size() == points.size();
}

/// Square of the L2 star discrepancy by Warnock's formula.
double squaredDiscrepancy(const Points& points) {
    const auto n = static_cast<double>(points.size());
    double single = 0, pairs = 0;
    for (const auto& p : points) {
        single += (1 - p[0] * p[0]) * (1 - p[1] * p[1]);
        for (const auto& q : points) pairs += (1 - std::max(p[0], q[0])) * (1 - std::max(p[1], q[1]));
    }
    return 1.0 / 9 - single / (2 * n) + pairs / (n * n);
}

TEST(Sampling, EveryCoordinateIsStratified) {
    for (std::uint32_t pixel = 0; pixel < 20; ++pixel) {
        miState state = stateOf(pixel, 3);
        const Points points = loop(state, 6, 64);
        for (std::size_t k = 0; k < 6; ++k) EXPECT_TRUE(isStratified(points, k)) << pixel << " " << k;
    }
}

TEST(Sampling, SamplesOfAPixelContinueEachOther) {
    Points loops, singles;
    for (std::uint32_t sample = 0; sample < 4; ++sample) {
        miState state = stateOf(11, sample);
        const Points points = loop(state, 2, 16);
        loops.insert(loops.end(), points.begin(), points.end());
        std::vector<double> point(3);
        EXPECT_TRUE(mi_sample(point.data(), nullptr, &state, 3, nullptr));
        singles.push_back(point);
    }
    for (std::size_t k = 0; k < 2; ++k) EXPECT_TRUE(isStratified(loops, k));
    for (std::size_t k = 0; k < 3; ++k) EXPECT_TRUE(isStratified(singles, k));
}

TEST(Sampling, PairsAreFarMoreEvenThanRandomNumbers) {
    for (const miUint n : {16u, 50u, 64u, 500u}) {
        double sum = 0;
        for (std::uint32_t pixel = 0; pixel < 10; ++pixel) {
            miState state = stateOf(pixel, 0);
            sum += squaredDiscrepancy(loop(state, 2, n));
        }
        const double ofRandomPoints = (1.0 / 4 - 1.0 / 9) / n;  // expected value
        EXPECT_LT(sum / 10, ofRandomPoints / 4) << n;
    }
}

TEST(Sampling, DecisionsPixelsAndSubRaysDiffer) {
    miState state = stateOf(1, 0), same = stateOf(1, 0), other = stateOf(2, 0), child = state, secondChild = state;
    const double first = loop(state, 1, 1)[0][0];
    EXPECT_EQ(loop(same, 1, 1)[0][0], first) << "the same state gives the same numbers";
    lumorender::seedChildState(child, state);
    lumorender::seedChildState(secondChild, state);
    const std::set<double> distinct = {first,
                                       loop(state, 1, 1)[0][0],
                                       loop(other, 1, 1)[0][0],
                                       loop(child, 1, 1)[0][0],
                                       loop(secondChild, 1, 1)[0][0],
                                       mi_par_random(&state),
                                       mi_par_random(&state)};
    EXPECT_EQ(distinct.size(), 7u);
}

TEST(Sampling, LoopsMayBeNestedAndInterrupted) {
    miState state = stateOf(5, 0);
    const miUint n = 32, inner = 4;
    Points points;
    std::vector<double> point(2), unused(2);
    int counter = 0;
    while (mi_sample(point.data(), &counter, &state, 2, &n)) {
        points.push_back(point);
        int innerCounter = 0;  // left before its end
        for (int i = 0; i < 2; ++i) mi_sample(unused.data(), &innerCounter, &state, 2, &inner);
        mi_sample(unused.data(), nullptr, &state, 2, nullptr);
    }
    EXPECT_EQ(points.size(), 32u);
    EXPECT_TRUE(isStratified(points, 0) && isStratified(points, 1));
}

TEST(Sampling, OnePointNeedsNoLoopAndEndsOne) {
    miState state = stateOf(5, 0);
    double point[1];
    int counter = 0, turns = 0;
    while (mi_sample(point, &counter, &state, 1, nullptr)) ++turns;
    EXPECT_EQ(turns, 1);
    counter = 0;
    const miUint none = 0;
    EXPECT_FALSE(mi_sample(point, &counter, &state, 1, &none));
}

TEST(Random, CommonSequenceRepeatsAfterSeeding) {
    mi_srandom(7);
    double sum = 0, squares = 0;
    const float first = mi_random();
    for (int i = 0; i < 100000; ++i) {
        const double x = mi_random();
        ASSERT_TRUE(x >= 0 && x < 1);
        sum += x;
        squares += x * x;
    }
    EXPECT_NEAR(sum / 100000, 0.5, 0.005);
    EXPECT_NEAR(squares / 100000, 1.0 / 3, 0.005);
    mi_srandom(7);
    EXPECT_EQ(mi_random(), first);
    mi_srandom(8);
    EXPECT_NE(mi_random(), first);
}

TEST(Random, SeededSequenceIsThatOfTheCLibrary) {
    unsigned short ours[3] = {1, 50000, 300}, theirs[3] = {1, 50000, 300};
    for (int i = 0; i < 100; ++i) EXPECT_NEAR(mi_erandom(ours), erand48(theirs), 0x1p-24);
    EXPECT_TRUE(std::equal(ours, ours + 3, theirs));
}

}  // namespace
