/* The texture footprint in the middle of the image, where neighbours are .45 pixels away: a circle of that radius on
 * the film is an ellipse on the surface, longer by 1 / cosine in the direction in which it is tilted. */
#include <cmath>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

using twin::vector;

class Footprints : public twin::LibraryTest {
protected:
    static constexpr double kPixel = 1.5 / (2 * 640); /* aperture over focal length and width, at distance 1 */

    Footprints() {
        stage.camera.focal = 2;
        stage.camera.aperture = 1.5f;
        const auto scale = static_cast<miScalar>(kPixel);
        std::memcpy(stage.placeVexabase() + 10, &scale, sizeof scale);
    }
    void look(double distance, double angle) {
        state->point = vector(0, 0, -distance);
        state->normal = state->normal_geom = vector(std::sin(angle), 0, std::cos(angle));
        state->dist = distance;
        state->dot_nd = -state->normal.z;
        miColor result = {};
        twin::Block engine("lumoVexaSimpleShadingEngine");
        EXPECT_EQ(engine.call(state, &result), miTRUE);
    }
    void expect(int word, double value, double tolerance = .01) {
        EXPECT_NEAR(stage.vexabaseScalar(word), value, tolerance * value) << "word " << word;
    }
};

TEST_F(Footprints, AreTheProjectedPixel) {
    miVector derivatives[miDERIVATIVES] = {};
    for (const double angle : {0., .2, .6, 1.1, 1.4})
        for (const double distance : {.5, 5., 200.}) {
            SCOPED_TRACE(testing::Message() << angle << " at " << distance);
            const double across = .45 * kPixel * distance, along = across / std::cos(angle);
            state->derivs = nullptr;
            look(distance, angle);
            expect(130, along);
            expect(131, across);
            EXPECT_EQ(stage.vexabaseScalar(129), 0);
            EXPECT_EQ(stage.vexabaseScalar(132), 0);
            // A surface without texture derivatives has texture sizes all the same.
            expect(127, 1.5e-5 * along);
            expect(128, 1.5e-5 * across);

            // With a for the tilted direction and b across it du = 2 a + b and dv = -a / 2 + 3 b / 2, so at a point
            // u = (1.5 a + .5 b) / 3.5 and v = (-a + 2 b) / 3.5: half the box around the ellipse.
            const double x = std::cos(angle), z = -std::sin(angle);
            derivatives[0] = vector(2 * x, 1, 2 * z);
            derivatives[1] = vector(-.5 * x, 1.5, -.5 * z);
            state->derivs = derivatives;
            look(distance, angle);
            expect(127, std::hypot(1.5 * along, .5 * across) / 3.5);
            expect(128, std::hypot(along, 2 * across) / 3.5);
        }
    derivatives[0] = derivatives[1] = {};  // a collapsed texture, edge on
    look(5, M_PI / 2);
    for (int word = 127; word <= 132; ++word) EXPECT_TRUE(std::isfinite(stage.vexabaseScalar(word))) << word;
}

}  // namespace
