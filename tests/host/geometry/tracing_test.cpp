#include "scene_builder.h"
#include "support/messages.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>

namespace lumorender {
namespace {

using namespace testing_scenes;

/// A closed sphere of `rings` x 2 `rings` quads, without cracks: the poles are single vertices.
miTag sphere(SceneBuilder& scene, int rings) {
    const miTag object = scene.object("sphere");
    GroupBuilder group = scene.polygons(object);
    const int sectors = 2 * rings;
    const auto onSphere = [&](int ring, int sector) {
        const double theta = M_PI * ring / rings, phi = 2 * M_PI * sector / sectors;
        return miVector{static_cast<float>(std::sin(theta) * std::cos(phi)), static_cast<float>(std::cos(theta)),
                        static_cast<float>(std::sin(theta) * std::sin(phi))};
    };
    group.vertex({0, 1, 0});
    group.vertex({0, -1, 0});
    for (int ring = 1; ring < rings; ++ring)
        for (int sector = 0; sector < sectors; ++sector) group.vertex(onSphere(ring, sector));
    const auto number = [&](int ring, int sector) { return 2 + (ring - 1) * sectors + sector % sectors; };
    for (int sector = 0; sector < sectors; ++sector) {
        group.polygon({0, number(1, sector + 1), number(1, sector)});
        group.polygon({1, number(rings - 1, sector), number(rings - 1, sector + 1)});
        for (int ring = 1; ring + 1 < rings; ++ring)
            group.polygon({number(ring, sector), number(ring, sector + 1), number(ring + 1, sector + 1),
                           number(ring + 1, sector)});
    }
    return object;
}

miVector randomDirection(std::mt19937& random) {
    std::normal_distribution<float> normal;
    miVector v = {normal(random), normal(random), normal(random)};
    mi_vector_normalize(&v);
    return v;
}

TEST(Tracing, RaysThroughHolesMissAndBesideThemHit) {
    SceneBuilder scene;
    const miTag object = scene.object("frame");
    GroupBuilder group = scene.polygons(object);
    for (const miVector& p : {miVector{0, 0, 0}, miVector{4, 0, 0}, miVector{4, 4, 0}, miVector{0, 4, 0},
                              miVector{1, 1, 0}, miVector{3, 1, 0}, miVector{3, 3, 0}, miVector{1, 3, 0}})
        group.vertex(p);
    group.polygon({0, 1, 2, 3, -1, 4, 5, 6, 7}, false);
    scene.instance("plain", object);
    const auto geometry = scene.build();
    for (float x = 0.1F; x < 4; x += 0.2F)
        for (float y = 0.1F; y < 4; y += 0.2F) {
            const bool inHole = x > 1 && x < 3 && y > 1 && y < 3;
            EXPECT_EQ(geometry->occluded(down(x, y)), !inHole) << x << ' ' << y;
        }
}

TEST(Tracing, BrokenPolygonsAreCountedAndLeftOut) {
    SceneBuilder scene;
    const miTag object = scene.square("wreck");
    GroupBuilder group = scene.polygons(object);
    group.vertex({std::numeric_limits<float>::quiet_NaN(), 0, 0});
    group.vertex({2, 0, 0});
    group.polygon({0, 1, 4});
    group.polygon({0, 1, 5});
    group.polygon({0, 0, 0, 0});
    group.polygon({0, 1, 77});
    scene.instance("plain", object);
    const long before = messageCount(MessageClass::Warning);
    testing::internal::CaptureStderr();
    const auto geometry = scene.build();
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(geometry->statistics().triangles, 2u);
    EXPECT_EQ(messageCount(MessageClass::Warning) - before, 3);
    EXPECT_NE(text.find("wreck"), std::string::npos);
    EXPECT_NE(text.find("2 polygon(s) without area"), std::string::npos) << text;
}

TEST(Tracing, VisibilityIsThatOfTheRay) {
    SceneBuilder scene;
    const miTag object = scene.square("square");
    scene.objectRecord(object).visible = 0;
    scene.objectRecord(object).shadow = 2;
    for (const Matrix& place : {at(0, 0, 0), scaled(1, 1, -1)}) {
        scene.instance("instance", object, place);
        const auto geometry = scene.build();
        Ray ray = down(0.5F, 0.5F);
        EXPECT_FALSE(geometry->occluded(ray));
        ray.visibility = RayVisibility::Shadow;
        EXPECT_FALSE(geometry->occluded(ray));
        for (const auto visibility : {RayVisibility::Reflection, RayVisibility::Refraction, RayVisibility::Transparency,
                                      RayVisibility::FinalGather}) {
            ray.visibility = visibility;
            EXPECT_TRUE(geometry->occluded(ray));
        }
    }
}

TEST(Tracing, FacesAreCulledByInstanceOrRay) {
    SceneBuilder scene;
    const miTag object = scene.square("square");
    const miTag front = scene.instance("front", object, at(0, 0, 1)), back = scene.instance("back", object);
    scene.detail(front).face = 'f';
    scene.detail(back).face = 'b';
    const auto geometry = scene.build();
    const auto hitBy = [&](Ray ray, char face) {
        ray.face = face;
        EXPECT_EQ(geometry->occluded(ray), shoot(*geometry, ray)->found);
        return shoot(*geometry, ray)->state.instance;
    };
    const Ray up = rayFrom({0.5F, 0.5F, -5}, {0, 0, 1});
    EXPECT_EQ(hitBy(down(0.5F, 0.5F), 0), front);
    EXPECT_EQ(hitBy(up, 0), back);
    EXPECT_EQ(hitBy(down(0.5F, 0.5F), 'b'), 0u);
    EXPECT_EQ(hitBy(up, 'f'), 0u);
    EXPECT_EQ(hitBy(down(0.5F, 0.5F), 'a'), front);
}

TEST(Tracing, ClosedMeshesLetNoRayOutThroughTheirEdges) {
    SceneBuilder scene;
    const int rings = 40;
    const miTag object = sphere(scene, rings);
    const auto& vertices = scene.source(object).groups[0].vectors;
    scene.instance("round", object, at(3.7F, 0.3F, -1.1F));
    const auto geometry = scene.build();
    std::mt19937 random(3);
    std::uniform_real_distribution<float> part(0, 1), around(-0.2F, 0.2F);
    int lostAtEdges = 0, lostAtVertices = 0;
    for (int i = 0; i < 200000; ++i) {
        // Towards a point between two neighbours, or at a vertex.
        const auto a = 2 + random() % (vertices.size() - 3);
        const float w = i % 3 == 0 ? 0 : part(random);
        const miVector org = {3.7F + around(random), 0.3F + around(random), -1.1F + around(random)};
        miVector dir = {3.7F + vertices[a].x * (1 - w) + vertices[a + 1].x * w - org.x,
                        0.3F + vertices[a].y * (1 - w) + vertices[a + 1].y * w - org.y,
                        -1.1F + vertices[a].z * (1 - w) + vertices[a + 1].z * w - org.z};
        mi_vector_normalize(&dir);
        Hit hit;
        if (!geometry->intersect(rayFrom(org, dir), hit)) ++(w == 0 ? lostAtVertices : lostAtEdges);
    }
    EXPECT_EQ(lostAtEdges, 0);
    // The kernels decide edges alike for both neighbours, but not quite so the point where six of them meet.
    EXPECT_LT(lostAtVertices, 66667 / 200);
}

TEST(Tracing, PointsLieOnRayAndSurfaceWhateverTheSizeOfTheTriangle) {
    SceneBuilder scene;
    const miTag square = scene.square("floor");
    scene.instance("huge", square, {1e-5F, 0, 0, 0, 0, 1e-5F, 0, 0, 0, 0, 1e-5F, 0, 0.5F, 0.5F, 0, 1});
    const auto geometry = scene.build();
    std::mt19937 random(5);
    for (int i = 0; i < 1000; ++i) {
        miVector dir = randomDirection(random);
        dir.z = -std::abs(dir.z) - 0.05F;
        mi_vector_normalize(&dir);
        const auto hit = shoot(*geometry, rayFrom({12.5F, -7.25F, 40}, dir));
        ASSERT_TRUE(hit->found);
        EXPECT_NEAR(hit->hit.point.z, 0, 1e-9);
        EXPECT_NEAR(hit->hit.dist, -40 / double{dir.z}, 1e-9 * hit->hit.dist);
        EXPECT_NEAR(hit->state.point.x, 12.5 + dir.x * hit->hit.dist, 1e-6 * hit->hit.dist);
    }
}

TEST(Tracing, RaysGoOnBehindAHitWithoutFindingItAgain) {
    SceneBuilder scene;
    const miTag square = scene.square("sheet");
    for (int i = 0; i < 100; ++i)
        scene.instance(fmt::format("sheet{}", i), square, at(0, 0, 0.37F + 0.003F * static_cast<float>(i)));
    const auto geometry = scene.build();
    for (const float distance : {1.3F, 77.7F, 1000.1F}) {
        Ray ray = rayFrom({0.31F, 0.47F, distance}, {0, 0, -1});
        Hit hit;
        int count = 0;
        for (; count < 200 && geometry->intersect(ray, hit); ++count) {
            EXPECT_GT(hit.dist, ray.near);
            ray.near = hit.dist;
        }
        EXPECT_EQ(count, 100) << distance;
    }
}

TEST(Tracing, OddRaysMeetNothing) {
    SceneBuilder scene;
    scene.instance("plain", scene.square("square"));
    const auto geometry = scene.build();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const miVector& dir :
         {miVector{0, 0, 0}, miVector{nan, 0, -1}, miVector{0, 0, -INFINITY}, miVector{0, 0, -1e30F}})
        EXPECT_FALSE(shoot(*geometry, rayFrom({0.5F, 0.5F, 1}, dir))->found);
    for (const miVector& org : {miVector{1e30F, 0, 1}, miVector{0.5F, 0.5F, 3e38F}, miVector{0, nan, 1}})
        EXPECT_FALSE(shoot(*geometry, rayFrom(org, {0, 0, -1}))->found);
    Ray ray = down(0.5F, 0.5F);
    ray.far = 9.9;
    EXPECT_FALSE(geometry->occluded(ray));
    ray.far = 10.1;
    EXPECT_TRUE(geometry->occluded(ray));
    ray.near = 10.05;
    EXPECT_FALSE(shoot(*geometry, ray)->found);
}

TEST(Tracing, ThreadsFindTheSame) {
    SceneBuilder scene;
    const miTag object = sphere(scene, 30);
    for (float x = 0; x < 4; ++x) scene.instance(fmt::format("s{}", x), object, at(2 * x, 0.1F * x, 0));
    const auto geometry = scene.build();
    const auto trace = [&](std::vector<double>& found) {
        std::mt19937 random(11);
        for (int i = 0; i < 20000; ++i) {
            const auto hit = shoot(*geometry, rayFrom({3, 0.2F, 1.5F}, randomDirection(random)));
            found.push_back(hit->found ? hit->state.dist + hit->state.normal.x : -1);
        }
    };
    std::vector<double> alone, together[5];
    trace(alone);
    std::vector<std::thread> threads;
    for (auto& found : together) threads.emplace_back(trace, std::ref(found));
    for (auto& thread : threads) thread.join();
    for (const auto& found : together) EXPECT_EQ(found, alone);
}

TEST(Tracing, AMillionTrianglesBuildQuicklyAndLeaveTheProcessorAsItWas) {
    SceneBuilder scene;
    scene.instance("large", sphere(scene, 500));
    scene.instance("small", scene.database.find("sphere"), at(5, 0, 0));
    const unsigned before = _mm_getcsr();
    const auto geometry = scene.build();
    EXPECT_EQ(_mm_getcsr() & 0xffc0, before & 0xffc0) << "rounding or flush to zero";
    const SceneGeometry::Statistics statistics = geometry->statistics();
    EXPECT_EQ(statistics.triangles, 2u * 1000 * 499);
    EXPECT_EQ(statistics.instances, 2u);
    EXPECT_EQ(statistics.meshes, 1u);
    EXPECT_LT(statistics.buildSeconds, 20);
    const auto hit = shoot(*geometry, rayFrom({5, 0, 10}, {0, 0, -1}));
    ASSERT_TRUE(hit->found);
    EXPECT_NEAR(hit->state.dist, 9, 1e-4);
}

}  // namespace
}  // namespace lumorender
