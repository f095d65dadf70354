// Interpolation between points of final gathering: the tree against a search through all points.
#include "gathering/final_gather_points.h"
#include "support/quasi_random.h"

#include <gtest/gtest.h>

#include <ImathVec.h>

#include <algorithm>

namespace lumorender {
namespace {

constexpr float kTolerance = 30;

float random(std::uint32_t index, std::uint32_t which) { return static_cast<float>(hashedUnit(index, which)); }
Imath::V3d wide(const miVector& v) { return {v.x, v.y, v.z}; }
miVector unit(float x, float y, float z) {
    const Imath::V3f v = Imath::V3f(x, y, z).normalized();
    return {v.x, v.y, v.z};
}

/// Points in a flat box, with normals that lean up to 30 degrees away from +z, and two kinds.
std::vector<GatherPoint> somePoints(std::uint32_t count) {
    std::vector<GatherPoint> points;
    for (std::uint32_t i = 0; i < count; ++i) {
        const float lean = random(i, 3) * 0.58F, turn = 6.28F * random(i, 4);
        points.push_back({{random(i, 0), random(i, 1), 0.02F * random(i, 2)},
                          unit(lean * std::cos(turn), lean * std::sin(turn), 1),
                          {random(i, 5), random(i, 6), 1, 2 - random(i, 5)},
                          0.02F + 0.2F * random(i, 7) * random(i, 8),
                          i % 5 == 0});
    }
    return points;
}

/// The formula of the header, point by point; below 0 where nothing reaches the place.
double searched(const std::vector<GatherPoint>& points, const GatherQuery& query) {
    struct Neighbour {
        double distance, radius, turn, value;
    };
    std::vector<Neighbour> near;
    for (const GatherPoint& p : points) {
        const Imath::V3d way = wide(query.position) - wide(p.position), normal = wide(p.normal),
                         other = wide(query.normal);
        const double turn = std::sqrt(std::max(0., 1 - (normal ^ other)) / (1 - std::cos(kTolerance * M_PI / 180)));
        const bool inFront = (way ^ (normal + other)) / 2 < -.1 * way.length();
        if (p.id == query.id && way.length() < p.radius && turn < 1 && !inFront)
            near.push_back({way.length(), p.radius, turn, p.value.r});
    }
    std::sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.distance < b.distance; });
    const auto count = static_cast<std::size_t>(query.count);
    const double limit = near.size() > count ? 1.01 * near[count].distance : INFINITY;
    near.resize(std::min(near.size(), count + 1));
    double sum = 0, weights = 0;
    for (const Neighbour& n : near) {
        const double weight = std::max(0., 1 - std::max(n.distance / std::min(n.radius, limit), n.turn));
        sum += weight * n.value;
        weights += weight;
    }
    return weights > std::max(query.enough, 1e-4) ? sum / weights : -1;
}

/// A few that are no part of a tree, against the same search.
TEST(GatherPoints, FewAreAsGoodAsATree) {
    const std::vector<GatherPoint> few = somePoints(12);
    const GatherPoints none(kTolerance);
    int found = 0, missed = 0;
    for (std::uint32_t i = 0; i < 2000; ++i) {
        const GatherQuery query{{random(i, 10), random(i, 11), 0.01F}, unit(0, 0, 1), i % 2, 12, i % 3 * 0.4};
        const double expected = searched(few, query);
        miColor value = {};
        ASSERT_EQ(none.interpolateAmong(few, query, value), expected >= 0) << i;
        (expected >= 0 ? found : missed) += 1;
        if (expected >= 0) {
            EXPECT_NEAR(value.r, expected, 1e-5) << i;
        }
    }
    EXPECT_TRUE(found > 50 && missed > 50) << found;
}

TEST(GatherPoints, AreFoundAsInASearchThroughAll) {
    const std::vector<GatherPoint> points = somePoints(3000);
    GatherPoints tree(kTolerance), clamped(kTolerance), heap(kTolerance);
    tree.add({points.data(), 1000});
    tree.add({points.data() + 1000, 2000});
    int found = 0;
    for (std::uint32_t i = 0; i < 2000; ++i) {
        const GatherQuery query{{1.1F * random(i, 20), 1.1F * random(i, 21), 0.02F * random(i, 22)},
                                unit(0.6F * random(i, 23) - 0.3F, 0.6F * random(i, 24) - 0.3F, 1),
                                i % 2,
                                i % 3 == 0 ? 64 : 1 + static_cast<int>(i % 20),
                                i % 7 == 0 ? .9 : 0};
        const double expected = searched(points, query);
        miColor value = {-1, -1, -1, 3};
        const bool known = tree.interpolate(query, value);
        ASSERT_EQ(known, expected >= 0) << i;
        ASSERT_NEAR(value.r, known ? expected : -1, 1e-4) << i;
        ASSERT_NEAR(value.a, 2 - value.r, 1e-4) << i;
        found += known;
    }
    EXPECT_TRUE(found > 1000 && found < 1900) << found;

    // Neighbours take back radii.
    clamped.add({points.data(), 500});
    clamped.clampToNeighbours();
    for (std::size_t i = 0; i < 500; ++i) {
        double expected = points[i].radius;
        for (std::size_t k = 0; k < 500; ++k)
            if (points[k].id == points[i].id)
                expected = std::min(expected,
                                    points[k].radius + (wide(points[k].position) - wide(points[i].position)).length());
        ASSERT_NEAR(clamped.all()[i].radius, expected, 1e-6F) << i;
        ASSERT_EQ(clamped.all()[i].value.r, points[i].value.r);
    }
    // Many at one place, and none at all.
    const GatherQuery query{{1, 2, 3}, {0, 0, 1}, 0, 3, 0};
    miColor value;
    EXPECT_FALSE(heap.interpolate(query, value));
    heap.add(std::vector<GatherPoint>(1000, {{1, 2, 3}, {0, 0, 1}, {.25F, .5F, 2, 0}, 1, 0}));
    ASSERT_TRUE(heap.interpolate(query, value));
    EXPECT_TRUE(value.r == .25F && value.b == 2);
}

}  // namespace
}  // namespace lumorender
