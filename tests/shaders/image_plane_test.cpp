/* The image plane: which point of its picture each sample sees. The film is 640 x 480 pixels, aperture and focal length
 * those of the camera. Where the sample sees no point of the picture, it has the color outside. */
#include <array>
#include <cmath>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

constexpr double kBeside = -1;

class ImagePlane : public twin::LibraryTest {
protected:
    ImagePlane() {
        stage.placeVexabase();
        renderer().lighting.colorTexture = [this](miColor* color, miState*, miTag texture, miVector* coordinate) {
            seen = texture == 900 ? *coordinate : miVector{9, 9, 9};
            *color = {.5f, .25f, .125f, .5f};
            return miTRUE;
        };
        sizes(640, 480);
    }
    void sizes(int width, int height) {
        renderer().queries.answer(miQ_IMAGE_WIDTH, width);
        renderer().queries.answer(miQ_IMAGE_HEIGHT, height);
    }
    miColor look(const std::string& parameters) {
        twin::Block shader("lumoVexaImagePlane", "outside 9 8 7 6, " + parameters);
        shader.at<miTag>("texture") = 900;
        miColor result = {-1, -1, -1, -1};
        shader.init(state);
        seen = {-1, -1, 0};
        shader.call(state, &result);
        shader.exit(state);
        return result;
    }
    void expectSeen(const std::string& parameters, double u, double v) {
        EXPECT_EQ(look(parameters).r, u == kBeside ? 9 : .5f) << parameters;
        EXPECT_NEAR(std::hypot(seen.x - u, seen.y - v), 0, 1e-6) << parameters;
    }
    miVector seen;
};

/* A picture of 2 : 1 on a gate of 4 : 3 is 960 pixels wide as high as the gate, one of 3 : 4 360 pixels wide or 853.3
 * high. The outer half of the outermost pixels, .001 here, has their color alone: renderers would mix in the opposite
 * edge's. */
TEST_F(ImagePlane, FitsThePictureToTheGate) {
    const struct {
        int width, height;
        std::array<double, 2> raster;
        std::string parameters;
        double u, v;
    } rows[] = {{1000, 500, {0, 0}, "fit 3", 160 / 960., .001},
                {600, 800, {200, 300}, "fit 1", 60 / 360., 300 / 480.},
                {600, 800, {200, 300}, "fit 0", 200 / 640., .5 + 60 / (640 / .75)},
                {1000, 2000, {100, 300}, "fit 3, pixelAspect 4", 260 / 960., 300 / 480.},
                {1000, 2000, {160, 240}, "fit 2, coverageY .25, coverageOriginY .75", .25, .875},
                {0, 0, {450, 180}, "sizeX .5, sizeY .25, offsetX .25, offsetY -.125, rotate 90", .5, .75},
                {0, 0, {450, 180}, "sizeX 0", kBeside, kBeside}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        sizes(row.width, row.height);
        state->raster_x = static_cast<miScalar>(row.raster[0]);
        state->raster_y = static_cast<miScalar>(row.raster[1]);
        expectSeen(row.parameters, row.u, row.v);
    }
    // The film may be moved; its colors are graded.
    stage.camera.x_offset = 64, stage.camera.y_offset = -48;
    state->raster_x = 384, state->raster_y = 72;
    expectSeen("", .5, .25);
    EXPECT_COLOR(look("colorGain 2 4 8 5, colorOffset .5 -1 .25 5, alphaGain .25"), 1.5f, 0, 1.25f, .125f);
    renderer().lighting.colorTexture = [](miColor*, miState*, miTag, miVector*) { return miFALSE; };
    EXPECT_COLOR(look(""), 9, 8, 7, 6);
}

/* Rays that mirrors and glass have turned look where the camera would see them. */
TEST_F(ImagePlane, IsASlideForBentRays) {
    stage.camera.focal = 2;
    state->type = miRAY_REFLECT;
    state->pri = reinterpret_cast<miRc_intersection*>(this);  // not null: something was hit
    state->point = {1, -.75f, -10};                           // .2, -.15 on a film of 1 x .75
    expectSeen("", .7, .3);
    state->pri = nullptr;
    state->dir = {.2f, .15f, -1};
    expectSeen("", .9, .9);
    state->dir = {.2f, .15f, 1};
    expectSeen("", kBeside, kBeside);
    state->dir = {.1f, .15f, -1};
    state->type = miRAY_ENVIRONMENT;
    expectSeen("", .7, .9);
    stage.camera.orthographic = miTRUE;
    expectSeen("", kBeside, kBeside);
    // What clear surfaces let through is still where the sample is, unless the ray was bent before.
    state->raster_x = 480, state->raster_y = 120;
    state->type = miRAY_TRANSPARENT;
    miState before = stage.child(miRAY_TRANSPARENT);
    state->parent = &before;
    before.parent = nullptr;
    expectSeen("", .75, .25);
    before.type = miRAY_REFRACT;
    expectSeen("", kBeside, kBeside);
}

}  // namespace
