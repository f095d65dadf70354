// What is passed over faces nobody: the same triangles are found as by looking at each.
#include "lights/facing_triangles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace lumorender {
namespace {

TEST(FacingTriangles, AreThoseThatFace) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unitRange(-1, 1);
    const auto anywhere = [&](double size) {
        return V3d(unitRange(random), unitRange(random), unitRange(random)) * size;
    };
    // A ball and a bowl in the order of meshes, and triangles without any order; tiny and large.
    std::vector<LightTriangle> ball, bowl, mess;
    const auto onBall = [](int i, int j) {
        const double a = M_PI * i / 40, b = M_PI * j / 20;
        return V3d(std::sin(a) * std::cos(b), std::sin(a) * std::sin(b), std::cos(a));
    };
    for (int i = 0; i < 40; ++i)
        for (int j = 0; j < 40; ++j) {
            if (i > 0) ball.push_back({onBall(i, j), onBall(i + 1, j), onBall(i, j + 1)});
            const auto inBowl = [](int x, int y) {
                return V3d(x, y, .004 * ((x - 20) * (x - 20) + (y - 20) * (y - 20)));
            };
            bowl.push_back({inBowl(i, j), inBowl(i + 1, j), inBowl(i, j + 1)});
            const V3d place = anywhere(3);
            mess.push_back({place, place + anywhere(1), place + anywhere(1e-3)});
        }
    std::vector<LightTriangle> shuffled = bowl;
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    for (const auto& triangles : {ball, bowl, shuffled, mess, std::vector(ball.begin(), ball.begin() + 3)}) {
        FacingTriangles facing;
        facing.build(triangles);
        for (int i = 0; i < 2000; ++i) {
            // Anywhere, at corners, and where a triangle is just seen, from near and far.
            const LightTriangle& one = triangles[random() % triangles.size()];
            const V3d seen = one.a + (one.b - one.a) * std::exp(5 * unitRange(random)) + unit(one.normal()) * 1e-6;
            const V3d point = i % 4 == 0 ? one.a : i % 4 == 1 ? seen : anywhere(i % 4 == 2 ? 2 : 100);
            std::vector<std::size_t> found, expected;
            facing.visit(point, [&](std::size_t number) {
                found.push_back(number);
                return true;
            });
            for (std::size_t k = 0; k < triangles.size(); ++k)
                if (triangles[k].faces(point)) expected.push_back(k);
            ASSERT_EQ(found, expected) << i;
        }
    }
    FacingTriangles none;
    none.build({});
    none.visit({0, 0, 1}, [](std::size_t) -> bool { throw std::logic_error("there is none"); });
}

}  // namespace
}  // namespace lumorender
