/* The texture footprint against rays: a pixel's circle is sent through a pinhole onto the surface's plane point by point,
 * and the ellipse there is measured.
 */
#include <algorithm>
#include <cmath>
#include <random>

#include "frame_buffer_scene.h"

namespace {

struct Vec {
    double x, y, z;
};
Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec operator*(double s, Vec a) { return {s * a.x, s * a.y, s * a.z}; }
double dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double length(Vec a) { return std::sqrt(dot(a, a)); }
Vec cross(Vec a, Vec b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
Vec unit(Vec a) { return (1 / length(a)) * a; }
miVector toVector(Vec a) { return {static_cast<float>(a.x), static_cast<float>(a.y), static_cast<float>(a.z)}; }

struct Measured {
    double along, across; /* half axes */
    double u = 0, v = 0;  /* half extents in the texture */
};

class Footprints : public twin::LibraryTest {
protected:
    static constexpr double kFocal = 2, kAperture = 1.5, kWidth = 640;
    static constexpr double kPixel = kAperture / (kFocal * kWidth);

    twin::ShaderInstance<std::array<miScalar, 8>> engine{std::array<miScalar, 8>{}};
    miVector derivatives[miDERIVATIVES] = {};

    Footprints() {
        stage.run(engine);
        stage.camera.focal = static_cast<float>(kFocal);
        stage.camera.aperture = static_cast<float>(kAperture);
        const auto scale = static_cast<float>(kPixel);
        std::memcpy(stage.placeVexabase() + 10, &scale, sizeof scale);
    }

    void look(Vec point, Vec normal) {
        const Vec dir = unit(point);
        normal = dot(normal, dir) > 0 ? -1 * unit(normal) : unit(normal);
        state->point = toVector(point);
        state->dir = toVector(dir);
        state->normal = state->normal_geom = toVector(normal);
        state->dist = length(point);
        state->dot_nd = static_cast<float>(dot(normal, dir));
        miColor result = {};
        const twin::ShaderEntry<std::array<miScalar, 8>, miColor> entry("lumoVexaSimpleShadingEngine");
        EXPECT_EQ(entry.call(&result, state, engine.parameters(), nullptr), miTRUE);
    }

    /* The camera is at the origin; neighbours are 0.45 pixels away in the image plane. */
    static Measured measure(Vec point, Vec normal, Vec du = {}, Vec dv = {}) {
        Measured result{0, 1e30};
        const Vec onFilm = (1 / -point.z) * point;  // at depth 1
        for (int i = 0; i < 3600; ++i) {
            const double angle = i * M_PI / 1800;
            const Vec ray = onFilm + 0.45 * kPixel * Vec{std::cos(angle), std::sin(angle), 0};
            const Vec offset = dot(point, normal) / dot(ray, normal) * ray - point;
            result.along = std::max(result.along, length(offset));
            result.across = std::min(result.across, length(offset));
            if (length(du) > 0) {
                // offset = u du + v dv in the plane, solved by cross products.
                const Vec n = cross(du, dv);
                result.u = std::max(result.u, std::fabs(dot(cross(offset, dv), n) / dot(n, n)));
                result.v = std::max(result.v, std::fabs(dot(cross(du, offset), n) / dot(n, n)));
            }
        }
        return result;
    }

    void expect(int word, double value, double tolerance) {
        EXPECT_NEAR(stage.vexabaseScalar(word), value, tolerance * value) << "word " << word;
    }
};

TEST_F(Footprints, InTheMiddleOfTheImageAreTheProjectedPixel) {
    for (double degrees : {0.0, 10.0, 30.0, 60.0, 80.0})
        for (double distance : {0.5, 5.0, 200.0}) {
            SCOPED_TRACE(testing::Message() << degrees << " degrees at " << distance);
            const double angle = degrees * M_PI / 180;
            const Vec point = {0, 0, -distance}, normal = {std::sin(angle), 0, std::cos(angle)};
            look(point, normal);
            const Measured pixel = measure(point, normal);
            expect(130, pixel.along, 0.01);
            expect(131, pixel.across, 0.01);
            EXPECT_EQ(stage.vexabaseScalar(129), 0);
            EXPECT_EQ(stage.vexabaseScalar(132), 0);
            // A surface without texture derivatives has texture sizes all the same.
            expect(127, 1.5e-5 * pixel.along, 0.01);
            expect(128, 1.5e-5 * pixel.across, 0.01);
        }
}

TEST_F(Footprints, AwayFromTheMiddleStayClose) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> number(-1, 1);
    for (int i = 0; i < 50; ++i) {
        // Up to 15 degrees off axis, where a pixel looks smaller by up to cos^2, 7 percent; tilted by up to 60 degrees.
        const Vec point = 7 * unit({0.18 * number(random), 0.18 * number(random), -1});
        Vec normal;
        do normal = unit({number(random), number(random), number(random)});
        while (std::fabs(dot(normal, unit(point))) < 0.5);
        look(point, normal);
        const Measured pixel = measure(point, normal);
        expect(130, pixel.along, 0.12);
        expect(131, pixel.across, 0.12);
    }
}

TEST_F(Footprints, InTheTextureAreTheBoxAroundThePixel) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> number(-1, 1);
    state->derivs = derivatives;
    for (int i = 0; i < 50; ++i) {
        const double angle = number(random);
        const Vec point = {0, 0, -4}, normal = unit({std::sin(angle), 0.3 * number(random), std::cos(angle)});
        // A skewed and stretched texture in the plane: two random vectors at right angles to the normal.
        Vec du, dv;
        do {
            const Vec a = {number(random), number(random), number(random)};
            const Vec b = {number(random), number(random), number(random)};
            du = 3 * (a - dot(a, normal) * normal);
            dv = 0.5 * (b - dot(b, normal) * normal);
        } while (length(cross(unit(du), unit(dv))) < 0.3);
        derivatives[0] = toVector(du);
        derivatives[1] = toVector(dv);
        look(point, normal);
        const Measured pixel = measure(point, normal, du, dv);
        expect(127, pixel.u, 0.02);
        expect(128, pixel.v, 0.02);
        EXPECT_EQ(stage.vexabaseScalar(129), 0);
    }
}

TEST_F(Footprints, StayFiniteWhereTheGeometryDegenerates) {
    state->derivs = derivatives;  // all zero: a collapsed texture
    look({0, 0, -5}, {1, 0, 1e-9});
    for (int word = 127; word <= 132; ++word) EXPECT_TRUE(std::isfinite(stage.vexabaseScalar(word))) << word;
}

}  // namespace
