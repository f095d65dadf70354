#include "geometry/triangulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>

namespace lumorender {
namespace {

using Loop = std::vector<miVector>;

/// Signed area in the plane z = 0.
double area(const miVector& a, const miVector& b, const miVector& c) {
    return 0.5 * ((double{b.x} - a.x) * (double{c.y} - a.y) - (double{b.y} - a.y) * (double{c.x} - a.x));
}

double areaOf(const Loop& loop) {
    double sum = 0;
    for (std::size_t i = 1; i + 1 < loop.size(); ++i) sum += area(loop[0], loop[i], loop[i + 1]);
    return sum;
}

struct Split {
    std::size_t triangles = 0;
    double total = 0;
    double smallest = 1e30;
    std::set<std::uint32_t> used;
};

Split measure(std::span<const CornerTriple> triangles, const Loop& corners) {
    Split split;
    split.triangles = triangles.size();
    for (const CornerTriple& t : triangles) {
        const double size = area(corners[t[0]], corners[t[1]], corners[t[2]]);
        split.total += size;
        split.smallest = std::min(split.smallest, size);
        split.used.insert(t.begin(), t.end());
    }
    return split;
}

Split splitConcave(const std::vector<Loop>& loops) {
    Loop corners;
    std::vector<std::uint32_t> sizes;
    for (const Loop& loop : loops) {
        corners.insert(corners.end(), loop.begin(), loop.end());
        sizes.push_back(static_cast<std::uint32_t>(loop.size()));
    }
    Triangulator triangulator;
    return measure(triangulator.concave(corners, sizes), corners);
}

Split splitConvex(const Loop& corners) {
    Triangulator triangulator;
    return measure(triangulator.convex(corners), corners);
}

Loop rectangle(float left, float low, float right, float high) {
    return {{left, low, 0}, {right, low, 0}, {right, high, 0}, {left, high, 0}};
}

Loop reversed(Loop loop) {
    std::reverse(loop.begin(), loop.end());
    return loop;
}

/// Triangles that all turn the polygon's way and add up to its area cover it without overlap.
void expectCover(const Split& split, double expectedArea, std::size_t corners, std::size_t holes = 0) {
    EXPECT_NEAR(split.total, expectedArea, 1e-6 * expectedArea);
    EXPECT_GE(split.smallest, -1e-9 * expectedArea);
    EXPECT_EQ(split.triangles, corners - 2 + 2 * holes);
    EXPECT_EQ(split.used.size(), corners);
}

TEST(Triangulator, ConvexPolygonsAreFans) {
    const Split split = splitConvex({{0, 0, 0}, {2, 0, 0}, {3, 1, 0}, {2, 2, 0}, {0, 2, 0}});
    expectCover(split, 5, 5);
}

TEST(Triangulator, ConcavePolygonsThatClaimToBeConvexDoNotTurnOver) {
    expectCover(splitConvex({{0, 0, 0}, {4, 0, 0}, {1, 1, 0}, {0, 4, 0}}), 4, 4);
    expectCover(splitConvex({{1, 1, 0}, {0, 4, 0}, {0, 0, 0}, {4, 0, 0}}), 4, 4);
    expectCover(splitConvex({{4, 0, 0}, {1, 1, 0}, {0, 4, 0}, {0, 0, 0}}), 4, 4);
}

TEST(Triangulator, CrossedAndFlatPolygonsEnd) {
    EXPECT_EQ(splitConvex({{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {0, 1, 0}}).triangles, 2u);
    EXPECT_EQ(splitConvex({{0, 0, 0}, {3, 1, 0}, {1, 0, 0}, {0, 1, 0}}).triangles, 2u);
    EXPECT_EQ(splitConvex({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}}).triangles, 3u);
    EXPECT_GT(splitConcave({{{0, 0, 0}, {4, 4, 0}, {4, 0, 0}, {0, 4, 0}, {2, 5, 0}}}).triangles, 0u);
    EXPECT_EQ(splitConcave({{{0, 0, 0}, {1, 0, 0}}}).triangles, 0u);
}

TEST(Triangulator, ConcaveShapes) {
    const Loop l = {{0, 0, 0}, {3, 0, 0}, {3, 1, 0}, {1, 1, 0}, {1, 3, 0}, {0, 3, 0}};
    expectCover(splitConcave({l}), 5, 6);
    // A corner in the middle of a straight edge has to be used, or neighbours would not fit.
    expectCover(splitConcave({{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 2, 0}, {1, 2, 0}, {0, 2, 0}, {0, 1, 0}}}), 4, 7);

    Loop comb = {{0, 0, 0}, {100, 0, 0}};
    for (int tooth = 49; tooth >= 0; --tooth) {
        const auto x = static_cast<float>(2 * tooth);
        comb.insert(comb.end(), {{x + 2, 10, 0}, {x + 1, 10, 0}, {x + 1, 1, 0}, {x, 1, 0}});
    }
    expectCover(splitConcave({comb}), 100 + 50 * 9, comb.size());
}

TEST(Triangulator, HolesOfEitherDirection) {
    const Loop outer = rectangle(0, 0, 10, 10);
    for (const Loop& hole : {rectangle(2, 2, 5, 5), reversed(rectangle(2, 2, 5, 5))})
        expectCover(splitConcave({outer, hole}), 91, 8, 1);
    // Holes beside and above each other, whose bridges compete for the same corners.
    expectCover(splitConcave({outer, rectangle(1, 1, 3, 3), rectangle(4, 1, 6, 3), rectangle(7, 1, 9, 3),
                              rectangle(1, 5, 9, 9)}),
                100 - 12 - 32, 20, 4);
    // A hole that touches the outline in a corner.
    const Split touching = splitConcave({outer, {{10, 10, 0}, {4, 6, 0}, {6, 4, 0}}});
    EXPECT_NEAR(touching.total, 100 - 10, 1e-6);
    // A hole that is not inside is not cut out of anything.
    EXPECT_NEAR(splitConcave({outer, rectangle(20, 2, 25, 5)}).total, 100, 1e-6);
}

/// A star around the origin: any radii in order of the angle make a simple polygon.
Loop star(std::mt19937& random, int corners, float smallest, float largest) {
    std::uniform_real_distribution<float> radius(smallest, largest);
    Loop loop;
    for (int i = 0; i < corners; ++i) {
        const float angle = 6.2831853F * static_cast<float>(i) / static_cast<float>(corners), r = radius(random);
        loop.push_back({r * std::cos(angle), r * std::sin(angle), 0});
    }
    return loop;
}

TEST(Triangulator, RaggedStarsWithRaggedHoles) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        const Loop outer = star(random, 5 + 3 * round, 5, 9), hole = star(random, 3 + round, 1, 4);
        if (areaOf(hole) < 1e-3) continue;
        expectCover(splitConcave({outer, hole}), areaOf(outer) - areaOf(hole), outer.size() + hole.size(), 1);
    }
}

TEST(Triangulator, AnyPlane) {
    // The L in a tilted plane: (x, y) becomes x (0, 1, 0) + y (0.6, 0, 0.8), which keeps areas.
    const Loop l = {{0, 0, 0}, {3, 0, 0}, {3, 1, 0}, {1, 1, 0}, {1, 3, 0}, {0, 3, 0}};
    Loop tilted;
    for (const miVector& p : l) tilted.push_back({0.6F * p.y, p.x, 0.8F * p.y});
    const std::uint32_t size = 6;
    Triangulator triangulator;
    const Split split = measure(triangulator.concave(tilted, {&size, 1}), l);
    expectCover(split, 5, 6);
}

}  // namespace
}  // namespace lumorender
