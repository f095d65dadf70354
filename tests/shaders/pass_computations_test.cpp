/* What each pass shader writes, by hand. */
#include <cmath>

#include "pass_scene.h"

namespace {

using twin::Matrix;
using twin::renderer;

class PassValues : public PassTest {
protected:
    miScalar depth(miInteger remap, miScalar near, miScalar far, miScalar minimum, miScalar maximum) {
        return scalarOf("lumoPassCameraDepth", DepthPass{{}, remap, near, far, minimum, maximum});
    }

    /* 10 pixels per unit in x, 20 in y; the hit moves by (1, 2, 3), which is (10, 40) pixels. */
    void moveInRaster() {
        renderer().spaces.raster = [](const miState*, const miVector& p) {
            return miVector{100 + 10 * p.x, 200 + 20 * p.y, p.z};
        };
        state->motion = {1, 2, 3};
    }
};

TEST_F(PassValues, CameraDepthIsTheDistance) {
    // (0, 0, -5) + (3, 0, 1) = (3, 0, -4), of length 5.
    renderer().spaces.camera = Matrix::translation(3, 0, 1);
    EXPECT_FLOAT_EQ(depth(0, 9, 1, 9, 1), 5);
    // (5 - 1) / (9 - 1) * (2 - 0) + 0 = 1
    EXPECT_FLOAT_EQ(depth(1, 1, 9, 0, 2), 1);
    // (5 - 1) / (5 - 1) * (10 - 4) + 4 = 10
    EXPECT_FLOAT_EQ(depth(1, 1, 5, 4, 10), 10);
    // Out of the range it is clamped.
    EXPECT_FLOAT_EQ(depth(1, 6, 8, 0, 2), 0);
    EXPECT_FLOAT_EQ(depth(1, 1, 2, 0, 2), 2);
}

TEST_F(PassValues, CameraDepthCorrectsOneSideOfInvertedRanges) {
    // near := far = 1, so (5 - 1) / 0 is infinite and clamped to the maximum; swapped it would be 1.
    EXPECT_FLOAT_EQ(depth(1, 9, 1, 0, 2), 2);
    EXPECT_FLOAT_EQ(depth(1, 9, 7, 0, 2), 0) << "before both ends: minus infinity";
    // minimum := maximum = 2 leaves one value only.
    EXPECT_FLOAT_EQ(depth(1, 1, 9, 3, 2), 2);
    EXPECT_TRUE(std::isnan(depth(1, 5, 5, 0, 2))) << "0 / 0 stays";
}

TEST_F(PassValues, IncidenceRisesFromFacingToGrazing) {
    const miScalar cases[][2] = {{-1, 0}, {-0.25f, 0.75f}, {0, 1}, {0.5f, 1}, {1, 1}};
    for (const auto& [cosine, value] : cases) {
        state->dot_nd = cosine;
        EXPECT_FLOAT_EQ(scalarOf("lumoPassIncidenceCameraNormal", PlainPass{}), value);
    }
}

TEST_F(PassValues, MotionVector2DIsInPixels) {
    moveInRaster();
    // Square pixels have aspect 640 / 480; with aspect 2 the factor is 2 / (640 / 480) = 1.5.
    EXPECT_VECTOR(vectorOf("lumoPassMotionVector2D", PlainPass{}), 10, 40, 0);
    stage.camera.aspect = 2;
    EXPECT_VECTOR(vectorOf("lumoPassMotionVector2D", PlainPass{}), 15, 40, 0);
}

TEST_F(PassValues, NormalizedMotionIsMappedFromTheDisplacement) {
    moveInRaster();
    stage.camera.aspect = 2;
    const std::string name = "lumoPassMotionVector2DNormalized";
    // Of (15, 40) with M = 50: (15 + 50) / 100 = 0.65 and (40 + 50) / 100 = 0.9.
    EXPECT_VECTOR(vectorOf(name, NormalizedMotionPass{{}, 0, 0, 1, 50, 0}), 0.65f, 0.9f, 0);
    // To -1 .. 1: 0.65 * 2 - 1 = 0.3 and 0.9 * 2 - 1 = 0.8, of length sqrt(0.73) = 0.8544004.
    EXPECT_VECTOR(vectorOf(name, NormalizedMotionPass{{}, 0, -1, 1, 50, 1}), 0.3f, 0.8f, 0.8544004f);
    // M = 20: (15 + 20) / 40 = 0.875; 40 is beyond the range.
    EXPECT_VECTOR(vectorOf(name, NormalizedMotionPass{{}, 0, 0, 1, 20, 0}), 0.875f, 1, 0);
    state->motion = {-1, -2, 0};
    // (-15 + 20) / 40 = 0.125
    EXPECT_VECTOR(vectorOf(name, NormalizedMotionPass{{}, 0, 0, 1, 20, 0}), 0.125f, 0, 0);
}

TEST_F(PassValues, NormalizedMotionFindsItsRange) {
    moveInRaster();
    const std::string name = "lumoPassMotionVector2DNormalized";
    const NormalizedMotionPass automatic{{}, 1, 0, 1, 50, 0};
    // M = 640: (10 + 640) / 1280 = 0.5078125 and (40 + 640) / 1280 = 0.53125.
    EXPECT_VECTOR(vectorOf(name, automatic), 0.5078125f, 0.53125f, 0);
    // M = 1280, and x is stretched by aspect / (640 / 1280) = 2.5: (25 + 1280) / 2560 and (40 + 1280) / 2560.
    stage.camera.y_resolution = 1280;
    stage.camera.aspect = 1.25f;
    EXPECT_VECTOR(vectorOf(name, automatic), 0.509765625f, 0.515625f, 0);
}

TEST_F(PassValues, MotionNeedsNoCamera) {
    moveInRaster();
    twin::ShaderInstance<PlainPass> plain(PlainPass{});
    twin::ShaderInstance<NormalizedMotionPass> normalized(NormalizedMotionPass{{}, 1, 0, 1, 50, 0});
    // Buffers are found through the camera at init, so it goes away after that.
    const auto valueOf = [&](const std::string& name, auto& shader, bool cameraAtInit) {
        const twin::ShaderEntry<std::remove_reference_t<decltype(*shader.parameters())>> entry(name);
        miBoolean wantsInstances = 0;
        stage.run(shader);
        if (!cameraAtInit) state->camera = nullptr;
        entry.init(state, shader.parameters(), &wantsInstances);
        state->camera = nullptr;
        entry.call(nullptr, state, shader.parameters(), nullptr);
        entry.exit(state, shader.parameters());
        state->camera = &stage.camera;
        return passBuffer();
    };
    stage.camera.aspect = 2;
    EXPECT_COLOR(valueOf("lumoPassMotionVector2D", plain, true), 10, 40, 0, 0);
    valueOf("lumoPassMotionVector2DNormalized", normalized, false);  // nothing to write to; it must not crash
}

TEST_F(PassValues, NormalsGoByTheInverseTranspose) {
    renderer().spaces.world = Matrix::scale(2, 1, 1);
    renderer().spaces.camera = Matrix::scale(1, 4, 1);
    renderer().spaces.object = Matrix::scale(1, 1, 8);
    state->normal = {1, 1, 1};
    const auto normal = [&](miInteger space) { return vectorOf("lumoPassNormal", ChoicePass{{}, space}); };
    EXPECT_VECTOR(normal(0), 0.5f, 1, 1);
    EXPECT_VECTOR(normal(1), 1, 0.25f, 1);
    EXPECT_VECTOR(normal(2), 1, 1, 0.125f);
    EXPECT_VECTOR(normal(3), 0.5f, 1, 1);
    EXPECT_VECTOR(normal(-1), 0.5f, 1, 1);
}

TEST_F(PassValues, UVIsTheFirstTextureCoordinate) {
    miVector coordinates[2] = {{0.25f, 0.75f, 9}, {5, 5, 5}};
    state->tex_list = coordinates;
    state->label = 123;
    EXPECT_VECTOR(vectorOf("lumoPassUV", ChoicePass{{}, 0}), 0.25f, 0.75f, 0);
    EXPECT_VECTOR(vectorOf("lumoPassUV", ChoicePass{{}, 1}), 0.25f, 0.75f, 123);
    state->tex_list = nullptr;
    EXPECT_EQ(run("lumoPassUV", ChoicePass{{}, 1}), miTRUE);
}

}  // namespace
