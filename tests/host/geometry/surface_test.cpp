#include "scene_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace lumorender {
namespace {

using namespace testing_scenes;

constexpr double kRoot2 = 1.4142135623730951;

/// x goes to -z twice as large, z goes to x, then everything to (10 20 30).
constexpr Matrix kTurned = {0, 0, 1, 0, 0, 1, 0, 0, -0.5F, 0, 0, 0, 15, -20, -10, 1};

TEST(Surface, HitOfATransformedSquareInWorldSpace) {
    SceneBuilder scene;
    const miTag instance = scene.instance("turned", scene.square("square"), kTurned);
    const auto geometry = scene.build();
    const auto hit = shoot(*geometry, rayFrom({13, 20.25F, 29}, {-1, 0, 0}));

    ASSERT_TRUE(hit->found);
    const miState& state = hit->state;
    EXPECT_DOUBLE_EQ(state.dist, 3);
    EXPECT_VECTOR(state.point, 10, 20.25, 29, 1e-6);
    EXPECT_VECTOR(state.normal, 1, 0, 0, 1e-6);
    EXPECT_VECTOR(state.normal_geom, 1, 0, 0, 1e-6);
    EXPECT_VECTOR(state.tex_list[0], 0.5, 0.25, 0, 1e-6);
    EXPECT_VECTOR(state.tex, 0.5, 0.25, 0, 1e-6);
    EXPECT_FLOAT_EQ(state.dot_nd, -1);
    EXPECT_FALSE(state.inv_normal);
    EXPECT_EQ(state.instance, instance);
    EXPECT_FLOAT_EQ(state.bary[0] + state.bary[1] + state.bary[2], 1);
    EXPECT_VECTOR(state.motion, 0, 0, 0, 0);

    miVector low, high;
    geometry->bounds(low, high);
    EXPECT_VECTOR(low, 10, 20, 28, 1e-4);
    EXPECT_VECTOR(high, 10, 21, 30, 1e-4);
}

TEST(Surface, BackSideTurnsBothNormalsUnlessToldNotTo) {
    SceneBuilder scene;
    scene.instance("turned", scene.square("square"), kTurned);
    const auto geometry = scene.build();
    const Ray ray = rayFrom({8, 20.5F, 29}, {1, 0, 0});
    const auto turned = shoot(*geometry, ray), plain = shoot(*geometry, ray, false);

    ASSERT_TRUE(turned->found);
    EXPECT_TRUE(turned->state.inv_normal);
    EXPECT_VECTOR(turned->state.normal, -1, 0, 0, 1e-6);
    EXPECT_VECTOR(turned->state.normal_geom, -1, 0, 0, 1e-6);
    EXPECT_FLOAT_EQ(turned->state.dot_nd, -1);
    EXPECT_FALSE(plain->state.inv_normal);
    EXPECT_VECTOR(plain->state.normal_geom, 1, 0, 0, 1e-6);
    EXPECT_FLOAT_EQ(plain->state.dot_nd, 1);
}

/// A triangle with vertex normals that lean 45 degrees towards x.
miTag leaning(SceneBuilder& scene) {
    const miTag object = scene.object("leaning");
    GroupBuilder group = scene.polygons(object);
    for (const miVector& p : {miVector{0, 0, 0}, miVector{1, 0, 0}, miVector{0, 1, 0}}) {
        group.vertex(p);
        group.normal({3, 0, 3});
    }
    group.polygon({0, 1, 2});
    return object;
}

TEST(Surface, InterpolatedNormalsGoByTheInverseTranspose) {
    SceneBuilder scene;
    scene.instance("stretched", leaning(scene), scaled(2, 1, 1));
    const auto hit = shoot(*scene.build(), down(0.5F, 0.25F));
    ASSERT_TRUE(hit->found);
    // (1 0 1) becomes (1/2 0 1).
    EXPECT_VECTOR(hit->state.normal, 0.5 / std::sqrt(1.25), 0, 1 / std::sqrt(1.25), 1e-6);
    EXPECT_VECTOR(hit->state.normal_geom, 0, 0, 1, 1e-6);
    EXPECT_NEAR(hit->state.dot_nd, -1 / std::sqrt(1.25), 1e-6);
}

TEST(Surface, SideIsJudgedByTheGeometricNormal) {
    SceneBuilder scene;
    scene.instance("plain", leaning(scene));
    // Almost along the surface, in the direction of the leaning normals: the front is hit, yet they look away.
    const auto hit = shoot(*scene.build(), rayFrom({-0.75F, 0.25F, 0.5F}, {0.89442719F, 0, -0.44721360F}));
    ASSERT_TRUE(hit->found);
    EXPECT_FALSE(hit->state.inv_normal);
    EXPECT_VECTOR(hit->state.normal, 1 / kRoot2, 0, 1 / kRoot2, 1e-6);
    EXPECT_NEAR(hit->state.dot_nd, (0.89442719 - 0.44721360) / kRoot2, 1e-6);
}

TEST(Surface, MirroredInstancesKeepTheirOutside) {
    SceneBuilder scene;
    const miTag object = scene.square("square");
    scene.objectRecord(object).face = 'f';
    scene.instance("mirrored", object, scaled(1, 1, -1));
    const auto geometry = scene.build();
    EXPECT_FALSE(shoot(*geometry, down(0.5F, 0.5F))->found);
    const auto hit = shoot(*geometry, rayFrom({0.5F, 0.5F, -10}, {0, 0, 1}));
    ASSERT_TRUE(hit->found);
    EXPECT_VECTOR(hit->state.normal, 0, 0, -1, 1e-6);
    EXPECT_FALSE(hit->state.inv_normal);
}

/// Texture coordinates of a parallelogram: u along (1 0), v along (0.5 1).
miTag sheared(SceneBuilder& scene, bool sameTexture = false) {
    const miTag object = scene.object("sheared");
    GroupBuilder group = scene.polygons(object);
    const miVector corners[4][2] = {
        {{0, 0, 0}, {0, 0, 0}}, {{1, 0, 0}, {1, 0, 0}}, {{1.5F, 1, 0}, {1, 1, 0}}, {{0.5F, 1, 0}, {0, 1, 0}}};
    for (const auto& corner : corners) {
        group.vertex(corner[0]);
        group.texture(sameTexture ? miVector{0.5F, 0.5F, 0} : corner[1]);
    }
    group.polygon({0, 1, 2, 3});
    return object;
}

TEST(Surface, DerivativesFollowFromTextureCoordinates) {
    SceneBuilder scene;
    scene.instance("large", sheared(scene), scaled(3, 3, 3));
    const auto geometry = scene.build();
    for (const auto& [x, y] : {std::pair(1.5F, 0.3F), std::pair(2.0F, 2.5F)}) {
        const auto hit = shoot(*geometry, down(x, y));
        ASSERT_TRUE(hit->found);
        ASSERT_NE(hit->state.derivs, nullptr);
        EXPECT_VECTOR(hit->state.derivs[0], 3, 0, 0, 1e-5);
        EXPECT_VECTOR(hit->state.derivs[1], 1.5, 3, 0, 1e-5);
        for (int i = 2; i < 5; ++i) EXPECT_VECTOR(hit->state.derivs[i], 0, 0, 0, 0);
        EXPECT_VECTOR(hit->state.bump_x_list[0], 1, 0, 0, 1e-6);
        EXPECT_VECTOR(hit->state.bump_y_list[0], 0.5 / std::sqrt(1.25), 1 / std::sqrt(1.25), 0, 1e-6);
    }
}

TEST(Surface, TangentsWhereTextureCoordinatesSayNothing) {
    SceneBuilder scene;
    scene.instance("plain", sheared(scene, true));
    const auto hit = shoot(*scene.build(), down(0.75F, 0.5F));
    ASSERT_TRUE(hit->found);
    const miVector &u = hit->state.derivs[0], &v = hit->state.derivs[1];
    EXPECT_NEAR(mi_vector_norm(&u), 1, 1e-6);
    EXPECT_NEAR(mi_vector_norm(&v), 1, 1e-6);
    EXPECT_NEAR(mi_vector_dot(&u, &v), 0, 1e-6);
    miVector normal;
    mi_vector_prod(&normal, &u, &v);
    EXPECT_VECTOR(normal, 0, 0, 1, 1e-6);
    EXPECT_VECTOR(hit->state.bump_x_list[0], u.x, u.y, u.z, 1e-6);
}

TEST(Surface, GivenDerivativesAndBumpBasesAreInterpolated) {
    SceneBuilder scene;
    const miTag object = scene.object("given");
    GroupBuilder group = scene.polygons(object);
    for (const miVector& p : {miVector{0, 0, 0}, miVector{1, 0, 0}, miVector{0, 1, 0}}) {
        group.vertex(p);
        for (float i = 1; i <= 5; ++i) group.derivative({i, p.x, 0});
        group.texture({p.y, p.x, 0}, {0, 0, 1 + p.x}, {0, 2, 0});
    }
    group.polygon({0, 1, 2});
    scene.instance("twice", object, scaled(2, 2, 2));
    const auto hit = shoot(*scene.build(), down(0.5F, 0.5F));
    ASSERT_TRUE(hit->found);
    for (int i = 0; i < 5; ++i) EXPECT_VECTOR(hit->state.derivs[i], 2.0 * (i + 1), 0.5, 0, 1e-5);
    EXPECT_VECTOR(hit->state.bump_x_list[0], 0, 0, 1.25, 1e-6);
    EXPECT_VECTOR(hit->state.bump_y_list[0], 0, 2, 0, 1e-6);
}

TEST(Surface, WhatAnObjectDoesNotHaveIsNullInTheState) {
    SceneBuilder scene;
    scene.instance("plain", leaning(scene));
    const auto geometry = scene.build();
    const auto hit = shoot(*geometry, down(0.25F, 0.25F));
    ASSERT_TRUE(hit->found);
    EXPECT_EQ(hit->state.tex_list, nullptr);
    EXPECT_EQ(hit->state.bump_x_list, nullptr);
    EXPECT_EQ(hit->state.derivs, nullptr);
    const HitListSizes sizes = geometry->listSizes(geometry->instances()[0]);
    EXPECT_EQ(sizes.textures + sizes.bumps, 0u);
    EXPECT_FALSE(sizes.derivatives);
}

TEST(Surface, SeveralTextureSpaces) {
    SceneBuilder scene;
    const miTag object = scene.object("object");
    GroupBuilder group = scene.polygons(object);
    for (const miVector& p : {miVector{0, 0, 0}, miVector{1, 0, 0}, miVector{0, 1, 0}}) {
        group.vertex(p);
        for (float i = 0; i < 3; ++i) group.texture({p.x + i, p.y * i, 0});
    }
    group.polygon({0, 1, 2});
    scene.instance("plain", object);
    const auto hit = shoot(*scene.build(), down(0.25F, 0.5F));
    ASSERT_TRUE(hit->found);
    for (int i = 0; i < 3; ++i) EXPECT_VECTOR(hit->state.tex_list[i], 0.25 + i, 0.5 * i, 0, 1e-6);
    EXPECT_VECTOR(hit->state.bump_y_list[2], 0, 1, 0, 1e-6);
}

TEST(Surface, BakedTransformMovesPointsAndNormals) {
    SceneBuilder scene;
    const miTag object = leaning(scene);
    scene.source(object).hasTransform = true;
    const Matrix baked = {2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 0, 0, 1};
    std::copy(baked.begin(), baked.end(), scene.source(object).transform);
    scene.instance("plain", object);
    const auto hit = shoot(*scene.build(), down(6, 0.25F));
    ASSERT_TRUE(hit->found);
    EXPECT_VECTOR(hit->state.normal, 0.5 / std::sqrt(1.25), 0, 1 / std::sqrt(1.25), 1e-6);
}

TEST(Surface, MaterialsOfPolygonsLabelsAndInstances) {
    constexpr miTag kOwn = 901, kA = 902, kB = 903;
    SceneBuilder scene;
    const miTag object = scene.object("row");
    GroupBuilder group = scene.polygons(object);
    for (float x = 0; x < 4; ++x) {
        const int first = static_cast<int>(4 * x);
        for (const miVector& p : {miVector{x, 0, 0}, miVector{x + 1, 0, 0}, miVector{x + 1, 1, 0}, miVector{x, 1, 0}})
            group.vertex(p);
        PolygonSource& polygon = group.polygon({first, first + 1, first + 2, first + 3});
        polygon.label = static_cast<std::uint32_t>(x);
        polygon.material = x == 3 ? kOwn : 0;
    }
    const miTag inner = scene.group("inner");
    const miTag listed = scene.instance("listed", object, kIdentity, inner);
    scene.detail(listed).materials = {kA, kB};
    scene.detail(scene.instance("top", inner)).materials = {kOwn};
    const miTag over = scene.group("over");
    scene.detail(scene.instance("loses", object, kIdentity, over)).materials = {kB};
    const miTag overriding = scene.instance("overriding", over, at(0, 2, 0));
    scene.detail(overriding).materials = {kA};
    scene.record(overriding).mtl_override = 1;
    scene.instance("bare", object, at(0, 4, 0));
    const auto geometry = scene.build();

    const auto materialAt = [&](float x, float y) { return shoot(*geometry, down(x, y))->state.material; };
    EXPECT_EQ(materialAt(0.5F, 0.5F), kA);
    EXPECT_EQ(materialAt(1.5F, 0.5F), kB);
    EXPECT_EQ(materialAt(2.5F, 0.5F), kA) << "a label beyond the list";
    EXPECT_EQ(materialAt(3.5F, 0.5F), kOwn);
    EXPECT_EQ(materialAt(1.5F, 2.5F), kA);
    EXPECT_EQ(materialAt(3.5F, 2.5F), kA) << "override beats the polygon's own";
    EXPECT_EQ(materialAt(0.5F, 4.5F), 0u);
    EXPECT_EQ(materialAt(3.5F, 4.5F), kOwn);
}

/// The square, whose vertices rise by `motions` one after another.
miTag rising(SceneBuilder& scene, const std::vector<float>& motions) {
    const miTag object = scene.object("rising");
    GroupBuilder group = scene.polygons(object);
    for (const miVector& p : {miVector{0, 0, 0}, miVector{1, 0, 0}, miVector{1, 1, 0}, miVector{0, 1, 0}}) {
        group.vertex(p);
        for (const float height : motions) group.motion({0, 0, height});
    }
    group.polygon({0, 1, 2, 3});
    return object;
}

TEST(Surface, MotionIsThePathOverTheWholeInterval) {
    // Points rise by 2 in object space while the instance turns by 90 degrees about z and moves by (1 0 0).
    const Matrix turnedAtClose = {0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 1};
    for (const bool timed : {false, true}) {
        SceneBuilder scene;
        scene.options.shutter = timed ? 1.0F : 0.0F;
        scene.moveTo(scene.instance("moving", rising(scene, {2})), turnedAtClose);
        const auto hit = shoot(*scene.build(), down(0.5F, 0.25F));
        ASSERT_TRUE(hit->found);
        EXPECT_NEAR(hit->state.dist, 10, 1e-6);
        // (0.5 0.25 0) ends at (-0.25 0.5 2) + (1 0 0).
        EXPECT_VECTOR(hit->state.motion, 0.25, 0.25, 2, 1e-6);
    }
}

TEST(Surface, MovingThingsAreHitWhereTheyAreAtTheTimeOfTheRay) {
    SceneBuilder scene;
    scene.options.motion = 1;
    scene.options.shutter = 0.5F;
    const miTag square = scene.square("square");
    scene.moveTo(scene.instance("lifted", square), at(0, 0, 2));
    scene.instance("bouncing", rising(scene, {2, -1}), at(3, 0, 0));
    const auto geometry = scene.build();
    const auto distance = [&](float x, float time) {
        Ray ray = down(x, 0.5F);
        ray.time = time;
        return shoot(*geometry, ray)->state.dist;
    };
    EXPECT_NEAR(distance(0.5F, 0), 10, 1e-6);
    EXPECT_NEAR(distance(0.5F, 0.5F), 9, 1e-6);
    EXPECT_NEAR(distance(0.5F, 1), 8, 1e-6);
    // Up by 2 in the first half of the interval, down by 1 in the second.
    EXPECT_NEAR(distance(3.5F, 0), 10, 1e-6);
    EXPECT_NEAR(distance(3.5F, 0.25F), 9, 1e-6);
    EXPECT_NEAR(distance(3.5F, 0.5F), 8, 1e-6);
    EXPECT_NEAR(distance(3.5F, 0.75F), 8.5, 1e-6);
    EXPECT_NEAR(distance(3.5F, 1), 9, 1e-6);
}

TEST(Surface, NormalsOfATurningInstance) {
    SceneBuilder scene;
    scene.options.shutter = 1;
    // From facing z to lying half way towards x: at half time the matrix is the mean of both, not the mean rotation.
    const float c = static_cast<float>(1 / kRoot2);
    scene.moveTo(scene.instance("turning", scene.square("square")), {c, 0, c, 0, 0, 1, 0, 0, -c, 0, c, 0, 0, 0, 0, 1});
    Ray ray = down(0.25F, 0.5F);
    ray.time = 0.5F;
    const auto hit = shoot(*scene.build(), ray);
    ASSERT_TRUE(hit->found);
    // The x axis ends half way between (1 0 0) and (c 0 -c); the normal is at a right angle to it.
    const double x = (1 + c) / 2, z = -c / 2, size = std::hypot(x, z);
    EXPECT_VECTOR(hit->state.normal, -z / size, 0, x / size, 1e-6);
    EXPECT_NEAR(hit->state.dist, 10 - 0.25 * z / x, 1e-6);
}

}  // namespace
}  // namespace lumorender
