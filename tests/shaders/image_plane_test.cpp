/* The image plane: which point of its picture each sample sees. The film is 640 x 480 pixels, aperture and focal length
 * those of the camera. */
#include <algorithm>
#include <cmath>
#include <optional>

#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

enum Fit { kFill, kBest, kHorizontal, kVertical, kToSize };

struct ImagePlaneBlock {
    miTag texture = 900;
    miInteger fit = kFill;
    miScalar sizeX = 1, sizeY = 1, offsetX = 0, offsetY = 0, rotate = 0;
    miScalar coverageX = 1, coverageY = 1, coverageOriginX = 0, coverageOriginY = 0;
    miScalar pixelAspect = 1;
    miColor colorGain = {1, 1, 1, 1}, colorOffset = {0, 0, 0, 0};
    miScalar alphaGain = 1;
    miColor outside = {9, 8, 7, 6};
    miTag colorTransform = miNULLTAG;
};

class ImagePlane : public FrameBufferTest {
protected:
    using Point = std::optional<miVector>;

    ImagePlane() {
        stage.placeVexabase();
        stage.camera.aspect = 4 / 3.0f;
        renderer().lighting.colorTexture = [this](miColor* color, miState*, miTag texture, miVector* coordinate) {
            EXPECT_EQ(texture, 900u);
            seen = *coordinate;
            *color = {0.5f, 0.25f, 0.125f, 0.5f};
            return miTRUE;
        };
    }

    miColor look(const ImagePlaneBlock& block) {
        renderer().queries.answer(miQ_IMAGE_WIDTH, width);
        renderer().queries.answer(miQ_IMAGE_HEIGHT, height);
        twin::ShaderInstance<ImagePlaneBlock> shader(block);
        const twin::ShaderEntry<ImagePlaneBlock, miColor> entry("lumoVexaImagePlane");
        stage.run(shader);
        miBoolean ignored;
        entry.init(state, shader.parameters(), &ignored);
        miColor result = {-1, -1, -1, -1};
        seen.reset();
        returned = entry.call(&result, state, shader.parameters(), nullptr);
        entry.exit(state, shader.parameters());
        return result;
    }

    /* Looks at a raster position: at a point of the picture, or beside it. */
    void expectAt(miScalar x, miScalar y, const ImagePlaneBlock& block, std::optional<std::array<double, 2>> expected) {
        SCOPED_TRACE(testing::Message() << "raster " << x << " " << y << ", fit " << block.fit);
        state->raster_x = x;
        state->raster_y = y;
        expectSeen(block, expected);
    }
    void expectSeen(const ImagePlaneBlock& block, std::optional<std::array<double, 2>> expected) {
        const miColor result = look(block);
        ASSERT_EQ(seen.has_value(), expected.has_value());
        if (!expected) {
            EXPECT_COLOR(result, 9, 8, 7, 6);
            return;
        }
        // The outer half of the outermost pixels has their color alone: renderers would mix in the opposite edge's.
        const auto within = [](double place, int pixels) {
            return pixels ? std::min(std::max(place, 0.5 / pixels), 1 - 0.5 / pixels) : place;
        };
        EXPECT_NEAR(seen->x, within((*expected)[0], width), 1e-6);
        EXPECT_NEAR(seen->y, within((*expected)[1], height), 1e-6);
        EXPECT_COLOR(result, 0.5f, 0.25f, 0.125f, 0.5f);
    }

    int width = 640, height = 480;
    Point seen;
    miBoolean returned = miFALSE;
};

constexpr std::nullopt_t kBeside = std::nullopt;
using At = std::array<double, 2>;

/* A picture of 2 : 1 on a gate of 4 : 3. As high as the gate it is 960 pixels wide, as wide 320 pixels high. */
TEST_F(ImagePlane, FitsWidePictures) {
    width = 1000, height = 500;
    for (const miInteger fit : {kFill, kVertical}) {
        expectAt(320, 240, {.fit = fit}, At{0.5, 0.5});
        expectAt(0, 0, {.fit = fit}, At{160 / 960.0, 0});
        expectAt(640, 480, {.fit = fit}, At{800 / 960.0, 1});
    }
    for (const miInteger fit : {kBest, kHorizontal}) {
        expectAt(0, 80.001f, {.fit = fit}, At{0, 0.001 / 320});
        expectAt(640, 320, {.fit = fit}, At{1, 0.75});
        expectAt(320, 79.9f, {.fit = fit}, kBeside);
        expectAt(320, 400.1f, {.fit = fit}, kBeside);
    }
    expectAt(160, 360, {.fit = kToSize}, At{0.25, 0.75});
}

/* 1 : 2: as high as the gate it is 240 pixels wide, as wide 1280 pixels high. */
TEST_F(ImagePlane, FitsHighPictures) {
    width = 300, height = 600;
    for (const miInteger fit : {kFill, kHorizontal}) {
        expectAt(0, 0, {.fit = fit}, At{0, 400 / 1280.0});
        expectAt(480, 480, {.fit = fit}, At{0.75, 880 / 1280.0});
    }
    for (const miInteger fit : {kBest, kVertical}) {
        expectAt(260, 480, {.fit = fit}, At{0.25, 1});
        expectAt(199, 240, {.fit = fit}, kBeside);
        expectAt(441, 240, {.fit = fit}, kBeside);
    }
    expectAt(160, 360, {.fit = kToSize}, At{0.25, 0.75});
    // Pixels that are four times as wide as high: the picture is 2 : 1.
    expectAt(0, 0, {.fit = kVertical, .pixelAspect = 4}, At{160 / 960.0, 0});
    // The upper quarter alone is 2 : 1, too.
    const ImagePlaneBlock quarter{.fit = kHorizontal, .coverageY = 0.25f, .coverageOriginY = 0.75f};
    expectAt(160, 240, quarter, At{0.25, 0.875});
    expectAt(160, 79, quarter, kBeside);
}

/* Texture shaders have no size of their own, nor has a film whose camera is moved. */
TEST_F(ImagePlane, IsPlaced) {
    const ImagePlaneBlock half{.sizeX = 0.5f, .sizeY = 0.25f, .offsetX = 0.25f, .offsetY = -0.125f};
    width = 0;
    expectAt(480, 180, half, At{0.5, 0.5});
    expectAt(321, 121, half, At{1 / 320.0, 1 / 120.0});
    expectAt(319, 180, half, kBeside);
    // A quarter turn counterclockwise: what was to the right of the middle is above it, 80 pixels of 320.
    ImagePlaneBlock turned = half;
    turned.rotate = 90;
    expectAt(480, 260, turned, At{0.75, 0.5});
    expectAt(450, 180, turned, At{0.5, 0.75});
    stage.camera.x_offset = 64;
    stage.camera.y_offset = -48;
    expectAt(384, 192, {}, At{0.5, 0.5});
}

/* Rays that mirrors and glass have turned look where the camera would see them. */
TEST_F(ImagePlane, IsASlideForBentRays) {
    stage.camera.focal = 2;
    stage.camera.aperture = 1;
    state->raster_x = state->raster_y = 0;
    state->type = miRAY_REFLECT;
    state->reflection_level = 1;
    state->pri = reinterpret_cast<miRc_intersection*>(this);  // not null: something was hit
    state->point = {1, -0.75f, -10};                          // .2, -.15 on a film of 1 x .75
    expectSeen({}, At{0.7, 0.3});
    state->pri = nullptr;
    state->dir = {0.2f, 0.15f, -1};
    expectSeen({}, At{0.9, 0.9});
    state->dir = {0.2f, 0.15f, 1};
    expectSeen({}, kBeside);
    state->type = miRAY_ENVIRONMENT;
    state->reflection_level = 0;
    state->dir = {0, 0, -1};
    expectSeen({}, At{0.5, 0.5});
    stage.camera.orthographic = miTRUE;
    expectSeen({}, kBeside);

    // What clear surfaces let through is still where the sample is, unless the ray was bent before.
    state->type = miRAY_TRANSPARENT;
    miState before = stage.child(miRAY_TRANSPARENT);
    state->parent = &before;
    before.parent = nullptr;
    expectSeen({}, At{0, 0});
    before.type = miRAY_REFRACT;
    expectSeen({}, kBeside);
}

TEST_F(ImagePlane, IsGraded) {
    state->raster_x = 320, state->raster_y = 240;
    const ImagePlaneBlock block{.colorGain = {2, 4, 8, 5}, .colorOffset = {0.5f, -1, 0.25f, 5}, .alphaGain = 0.25f};
    EXPECT_COLOR(look(block), 1.5f, 0, 1.25f, 0.125f);
    for (const ImagePlaneBlock& empty :
         {ImagePlaneBlock{.texture = miNULLTAG}, ImagePlaneBlock{.fit = kToSize, .sizeX = 0},
          ImagePlaneBlock{.rotate = NAN}, ImagePlaneBlock{.sizeY = 0, .coverageX = NAN}})
        EXPECT_COLOR(look(empty), 9, 8, 7, 6);
    renderer().lighting.colorTexture = [](miColor* color, miState*, miTag, miVector*) {
        *color = {5, 5, 5, 5};
        return miFALSE;
    };
    EXPECT_COLOR(look(block), 9, 8, 7, 6);
    stage.rendering.entries.set("vexabase", nullptr, 0, 0);
    EXPECT_COLOR(look(block), -1, -1, -1, -1);
    EXPECT_EQ(returned, miFALSE);
    EXPECT_EQ(renderer().messageCount("warning", "vexa_imageplane(): Internal state error."), 1);
}

/* What the color library makes of the color is tested with it; here, that it gets it, and that instances without a
 * transform of that name go on without. */
TEST_F(ImagePlane, TransformsEveryColor) {
    state->raster_x = 320, state->raster_y = 240;
    ImagePlaneBlock block{.outside = {0.5f, 0.25f, 0.125f, 0.5f}};
    block.colorTransform = renderer().database.addString("ACEScg -> Linear Rec.709");
    // Rows of the matrix between the two spaces (Bradford adaptation).
    const double r = 1.705050993 * .5 - 0.621792121 * .25 - 0.083258872 * .125;
    const double g = -0.130256418 * .5 + 1.140804737 * .25 - 0.010548319 * .125;
    for (const miTag texture : {900u, 0u}) {
        block.texture = texture;
        const miColor result = look(block);
        EXPECT_NEAR(result.r, r, 1e-6);
        EXPECT_NEAR(result.g, g, 1e-6);
        EXPECT_FLOAT_EQ(result.a, 0.5f);
    }
    block.colorTransform = renderer().database.addString("of no kind");
    EXPECT_FLOAT_EQ(look(block).r, 0.5f);
    ASSERT_EQ(renderer().messages().size(), 1u);
    EXPECT_EQ(renderer().messages()[0].level, "error");
}

}  // namespace
