// Triangles that all turn the polygon's way and add up to its area cover it without overlap.
#include "geometry/triangulator.h"

#include "tests/host/as_text.h"

#include <algorithm>
#include <random>
#include <set>
#include <sstream>

namespace lumorender {
namespace {

using Loop = std::vector<miVector>;

/// Signed, in the plane z = 0.
double area(const miVector& a, const miVector& b, const miVector& c) {
    return 0.5 * ((double{b.x} - a.x) * (double{c.y} - a.y) - (double{b.y} - a.y) * (double{c.x} - a.x));
}

/// "triangles area" where the triangles cover the loops with all their corners, and what is wrong behind it. In a tilted
/// plane (x, y) is x (0, 1, 0) + y (0.6, 0, 0.8), which keeps areas.
std::string split(const std::vector<Loop>& loops, bool convex, bool tilted = false) {
    Loop corners, given;
    std::vector<std::uint32_t> sizes;
    for (const Loop& loop : loops) {
        corners.insert(corners.end(), loop.begin(), loop.end());
        sizes.push_back(static_cast<std::uint32_t>(loop.size()));
    }
    for (const miVector& p : corners) given.push_back(tilted ? miVector{0.6F * p.y, p.x, 0.8F * p.y} : p);
    Triangulator triangulator;
    const auto triangles = convex ? triangulator.convex(given) : triangulator.concave(given, sizes);
    double total = 0, smallest = 0;
    std::set<std::uint32_t> used;
    for (const CornerTriple& t : triangles) {
        const double size = area(corners[t[0]], corners[t[1]], corners[t[2]]);
        total += size;
        smallest = std::min(smallest, size);
        used.insert(t.begin(), t.end());
    }
    return asText(triangles.size(), total) + (smallest < -1e-9 * total ? " turned" : "") +
           (used.size() < given.size() ? " unused" : "");
}

/// Corners as "x y x y ...", loops divided by bars.
std::vector<Loop> parse(const std::string& text) {
    std::vector<Loop> loops;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, '|');) {
        std::istringstream numbers(part);
        loops.emplace_back();
        for (miVector p = {}; numbers >> p.x >> p.y;) loops.back().push_back(p);
    }
    return loops;
}

TEST(Triangulator, CoversPolygonsWithAndWithoutHoles) {
    const struct {
        const char* loops;
        bool convex;
        const char* expected;
        // clang-format off
    } cases[] = {
        // Concave ones that claim to be convex do not turn over, crossed and flat ones end.
        {"0 0 2 0 3 1 2 2 0 2", true, "3 5"}, {"0 0 4 0 1 1 0 4", true, "2 4"}, {"1 1 0 4 0 0 4 0", true, "2 4"},
        {"4 0 1 1 0 4 0 0", true, "2 4"}, {"0 0 1 1 1 0 0 1", true, "2 0 turned"}, {"7 7 7 7 7 7 7 7 7 7", true, "3 0"},
        // A corner in the middle of a straight edge has to be used, or neighbours would not fit.
        {"0 0 1 0", false, "0 0 unused"}, {"0 0 3 0 3 1 1 1 1 3 0 3", false, "4 5"},
        {"0 0 1 0 2 0 2 2 1 2 0 2 0 1", false, "5 4"},
        // Holes of either direction: corners - 2 + 2 for each hole. One lies outside, four compete for the same corners.
        {"0 0 10 0 10 10 0 10 | 2 2 5 2 5 5 2 5", false, "8 91"}, {"0 0 10 0 10 10 0 10 | 2 5 5 5 5 2 2 2", false, "8 91"},
        {"0 0 10 0 10 10 0 10 | 20 2 25 2 25 5 20 5", false, "2 100 unused"},
        {"0 0 10 0 10 10 0 10|1 1 3 1 3 3 1 3|4 1 6 1 6 3 4 3|7 1 9 1 9 3 7 3|1 5 9 5 9 9 1 9", false, "26 56"}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(split(parse(c.loops), c.convex), c.expected) << c.loops;
        EXPECT_EQ(split(parse(c.loops), c.convex, true), c.expected) << "tilted: " << c.loops;
    }
    EXPECT_NE(split(parse("0 0 4 4 4 0 0 4 2 5"), false).substr(0, 1), "0");
}

/// Holes without end would be joined without end: those that are left stay closed.
TEST(Triangulator, GivesUpOverHoles) {
    constexpr int kAcross = 50;
    std::vector<Loop> loops{parse("0 0 50 0 50 50 0 50").front()};
    for (int i = 0; i < kAcross * kAcross; ++i) {
        const auto x = static_cast<float>(i % kAcross) + .25F, y = static_cast<float>(i / kAcross) + .25F;
        loops.push_back({{x, y, 0}, {x + .5F, y, 0}, {x, y + .5F, 0}});
    }
    std::vector<miVector> corners;
    std::vector<std::uint32_t> sizes;
    for (const Loop& loop : loops) {
        corners.insert(corners.end(), loop.begin(), loop.end());
        sizes.push_back(static_cast<std::uint32_t>(loop.size()));
    }
    Triangulator patient, hasty(1'000'000);
    // As many as corners, and two for each hole, less two.
    const std::size_t whole = patient.concave(corners, sizes).size();
    EXPECT_EQ(whole, 4u + 3 * kAcross * kAcross + 2 * kAcross * kAcross - 2);
    EXPECT_EQ(patient.roughPolygons(), 0u);
    const std::size_t begun = hasty.concave(corners, sizes).size();
    EXPECT_TRUE(begun > 100 && begun < whole / 2) << begun;
    EXPECT_EQ(hasty.roughPolygons(), 1u);
}

TEST(Triangulator, CoversRaggedStars) {
    // Any radii in order of the angle make a simple polygon.
    std::mt19937 random(7);
    const auto star = [&](int corners, float smallest, float largest) {
        std::uniform_real_distribution<float> radius(smallest, largest);
        Loop loop;
        for (int i = 0; i < corners; ++i) {
            const float angle = 6.2831853F * static_cast<float>(i) / static_cast<float>(corners), r = radius(random);
            loop.push_back({r * std::cos(angle), r * std::sin(angle), 0});
        }
        return loop;
    };
    for (int round = 0; round < 200; ++round) {
        const Loop outer = star(5 + 3 * round, 5, 9), hole = star(3 + round, 1, 4);
        double size = 0;
        for (const auto& [loop, sign] : {std::pair(outer, 1), std::pair(hole, -1)})
            for (std::size_t i = 1; i + 1 < loop.size(); ++i) size += sign * area(loop[0], loop[i], loop[i + 1]);
        EXPECT_EQ(split({outer, hole}, false), asText(outer.size() + hole.size(), size));
    }
}

}  // namespace
}  // namespace lumorender
