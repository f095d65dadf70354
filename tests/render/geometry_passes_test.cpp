// The geometry passes of known triangles, pixel by pixel, against values worked out in double precision.
#include "harness.h"
#include "scene_text.h"
#include "space.h"

#include <algorithm>
#include <optional>

namespace rendertest {
namespace {

constexpr int kWidth = 40, kHeight = 24;
constexpr double kFocal = 1.3, kAperture = 1.5, kAspect = 1.4;  // pixels that are not square

struct Vertex {
    V3 point, normal, texture, motion;
};

/// A triangle under an instance: object to world when the shutter opens, and when it closes.
struct Triangle {
    std::string name;
    std::array<Vertex, 3> vertices;
    Placing open, close;
    unsigned label = 0;
};

Placing cameraPlace() { return turned({1, 2, .5}, 33).then(moved({2, -1, 7})); }

/// Three triangles side by side in front of the camera: one under a transform that scales unevenly, seen from its
/// front; one that shows its back and moves with its instance; one whose vertices move.
std::vector<Triangle> triangles() {
    const Placing toWorld = cameraPlace();
    Triangle tilted{"tilted", {}, {}, {}, 7};
    tilted.open = tilted.close =
        scaled({2, .5, 1.5}).then(turned({0, 1, .3}, 25)).then(moved({-2.2, 0, -6})).then(toWorld);
    tilted.vertices = {Vertex{{-1, -3, .2}, unit({-.3, -.2, 1}), {.1, .2, 0}, {}},
                       Vertex{{1, -3, -.4}, unit({.4, -.1, 1}), {.9, .1, 0}, {}},
                       Vertex{{0, 4, .3}, unit({0, .5, 1}), {.4, .8, 0}, {}}};

    Triangle back{"back", {}, {}, {}, 12};
    back.open = turned({.2, 1, 0}, -20).then(moved({.4, .2, -5})).then(toWorld);
    back.close = turned({.2, 1, .1}, -12).then(moved({.7, .05, -4.6})).then(toWorld);
    back.vertices = {Vertex{{-.9, -1, 0}, unit({0, .1, 1}), {0, 0, 0}, {}},
                     Vertex{{0, 1.2, .1}, unit({.1, 0, 1}), {.5, 1, 0}, {}},
                     Vertex{{.9, -.8, -.2}, unit({-.1, .1, 1}), {1, 0, 0}, {}}};

    Triangle waving{"waving", {}, {}, {}, 31};
    waving.open = waving.close = turned({0, 0, 1}, 15).then(moved({2.6, -.2, -7})).then(toWorld);
    waving.vertices = {Vertex{{-1, -1.5, 0}, unit({.2, .1, 1}), {.2, .3, 0}, {.1, 0, 0}},
                       Vertex{{1.2, -1.2, .5}, unit({.1, .2, 1}), {.7, .2, 0}, {0, .3, .2}},
                       Vertex{{.1, 1.6, -.3}, unit({0, 0, 1}), {.3, .9, 0}, {-.2, .1, 0}}};
    return {tilted, back, waving};
}

struct Hit {
    const Triangle* triangle = nullptr;
    double edge = 0;  ///< smallest barycentric weight: near 0 at an outline
    V3 point, normal, texture, motion;
    double distance = 0, incidence = 0;
};

V3 eyeDirection(double px, double py) {
    return {(px / kWidth - .5) * kAperture, (py / kHeight - .5) * kAperture / kAspect, -kFocal};
}

V3 raster(V3 world) {
    const V3 p = cameraPlace().inverse().point(world);
    return {(p.x * kFocal / -p.z / kAperture + .5) * kWidth, (p.y * kFocal / -p.z * kAspect / kAperture + .5) * kHeight,
            0};
}

/// Solves eye + t dir = a + u (b - a) + v (c - a) by Cramer's rule, in world space.
std::optional<Hit> meet(const Triangle& triangle, V3 eye, V3 dir) {
    const auto& [a, b, c] = triangle.vertices;
    const V3 pa = triangle.open.point(a.point), pb = triangle.open.point(b.point), pc = triangle.open.point(c.point);
    const V3 ab = pb - pa, ac = pc - pa, from = eye - pa;
    const V3 across = cross(ab, ac);
    const double det = -dot(dir, across);
    const double t = dot(from, across) / det;
    const double u = -dot(dir, cross(from, ac)) / det, v = -dot(dir, cross(ab, from)) / det;
    Hit hit{&triangle, std::min({u, v, 1 - u - v}), eye + t * dir, {}, {}, {}, t * length(dir), 0};
    if (hit.edge < 0 || t <= 0) return {};

    const auto mix = [&](V3 x, V3 y, V3 z) { return (1 - u - v) * x + u * y + v * z; };
    hit.texture = mix(a.texture, b.texture, c.texture);
    hit.normal = unit(triangle.open.normal(mix(a.normal, b.normal, c.normal)));
    if (dot(across, dir) > 0) hit.normal = -1 * hit.normal;  // the back faces the ray
    const double facing = -dot(hit.normal, unit(dir));
    hit.incidence = facing < 0 ? 1 : 1 - facing;
    const auto path = [&](const Vertex& p) {
        return triangle.close.point(p.point + p.motion) - triangle.open.point(p.point);
    };
    hit.motion = mix(path(a), path(b), path(c));
    return hit;
}

std::optional<Hit> meetAny(const std::vector<Triangle>& scene, int x, int y) {
    std::optional<Hit> nearest;
    for (const Triangle& triangle : scene) {
        const auto hit = meet(triangle, cameraPlace().t, cameraPlace().vector(eyeDirection(x + .5, y + .5)));
        if (hit && (!nearest || hit->distance < nearest->distance)) nearest = hit;
    }
    return nearest;
}

std::string triangleText(const Triangle& triangle) {
    std::string vectors, vertices;
    int n = 0;
    for (const Vertex& v : triangle.vertices) {
        for (const V3 w : {v.point, v.normal, v.texture, v.motion})
            vectors += fmt::format("{:.9g} {:.9g} {:.9g}\n", w.x, w.y, w.z);
        vertices +=
            fmt::format("v {} n {} t {} {}\n", n, n + 1, n + 2, length(v.motion) > 0 ? fmt::format("m {}", n + 3) : "");
        n += 4;
    }
    const bool moves = length(triangle.open.t - triangle.close.t) > 0;
    return fmt::format(
        "object \"{0}_o\" visible tag {1}\n group {2} {3} c 0 1 2 end group end object\n"
        "instance \"{0}\" \"{0}_o\" transform {4} {5} material \"m\" end instance\n",
        triangle.name, triangle.label, vectors, vertices, triangle.open.inverse().text(),
        moves ? "motion transform " + triangle.close.inverse().text() : "");
}

std::string passScene(const std::vector<Triangle>& triangles) {
    const std::vector<std::pair<std::string, std::string>> passes = {
        {"depth", "z"}, {"coverage", "a_fp"}, {"incidence", "s_fp"}, {"world", "n"},   {"camera", "n"}, {"object", "n"},
        {"uv", "n"},    {"position", "n"},    {"motion3", "m"},      {"motion2", "m"}, {"motionN", "m"}};
    SceneText scene;
    std::string names;
    for (const auto& [name, type] : passes) {
        names += (names.empty() ? "\"" : ", \"") + name + "\"";
        scene.buffers += fmt::format(
            "\nframebuffer \"{}\" datatype \"{}\" filtering off user on filename \"out.exr\" "
            "filetype \"exr\"",
            name, type);
    }
    scene.before = libraryPrelude();
    scene.options = "samples 0 0 motion on shutter 0 1 state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
    scene.camera = fmt::format("data \"fbuf\" focal {} aperture {} aspect {} resolution {} {}", kFocal, kAperture,
                               kAspect, kWidth, kHeight);
    scene.cameraPlace = "transform " + cameraPlace().inverse().text();
    scene.before +=
        "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [" + names +
        "], \"frameBufferInfo\" [], \"FrameBufferTypeCounts\" [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
        "0,0,0,0,0,0,0,0,0,0,0,0] )\n";
    scene.elements = R"(
material "m"
    "lumoVexaSimpleShadingEngine" ( "color" .2 .4 .6 1 )
    "lumoPassCameraDepth" ( "pass" 0 ) "lumoPassCoverage" ( "pass" 1 ) "lumoPassIncidenceCameraNormal" ( "pass" 2 )
    "lumoPassNormal" ( "pass" 3, "space" 0 ) "lumoPassNormal" ( "pass" 4, "space" 1 )
    "lumoPassNormal" ( "pass" 5, "space" 2 ) "lumoPassUV" ( "pass" 6, "objectLabel" 1 )
    "lumoPassWorldPosition" ( "pass" 7 ) "lumoPassMotionVector3D" ( "pass" 8 ) "lumoPassMotionVector2D" ( "pass" 9 )
    "lumoPassMotionVector2DNormalized" ( "pass" 10, "maximumDisplacement" 5, "minimum" -1, "maximum" 3, "magnitude" 1 )
end material
)";
    for (const Triangle& triangle : triangles) {
        scene.elements += triangleText(triangle);
        scene.members += " \"" + triangle.name + "\"";
    }
    return scene.text();
}

class GeometryPasses : public RenderTest {
protected:
    void expectVector(const Picture& image, const std::string& layer, int x, int y, V3 expected) {
        // Relative to the length: a component that cancels out keeps the error of what it was made of.
        const double tolerance = 1e-4 * std::max(length(expected), .1);
        EXPECT_NEAR(image.at(layer + ".X", x, y), expected.x, tolerance) << layer << " x at " << x << " " << y;
        EXPECT_NEAR(image.at(layer + ".Y", x, y), expected.y, tolerance) << layer << " y at " << x << " " << y;
        EXPECT_NEAR(image.at(layer + ".Z", x, y), expected.z, tolerance) << layer << " z at " << x << " " << y;
    }

    void expectMiss(const Picture& image, int x, int y) {
        for (const auto& [name, channel] : image.channels())
            EXPECT_EQ(image.at(name, x, y), 0) << name << x << " " << y;
    }

    void expectHit(const Picture& image, int x, int y, const Hit& hit) {
        EXPECT_NEAR(image.at("depth.Z", x, y), hit.distance, 1e-4 * hit.distance) << x << " " << y;
        EXPECT_EQ(image.at("coverage.A", x, y), 1);
        EXPECT_NEAR(image.at("incidence.Y", x, y), hit.incidence, 1e-4) << hit.triangle->name;
        EXPECT_EQ(image.at("R", x, y), .2F);
        expectVector(image, "world", x, y, hit.normal);
        expectVector(image, "camera", x, y, cameraPlace().inverse().normal(hit.normal));
        expectVector(image, "object", x, y, hit.triangle->open.inverse().normal(hit.normal));
        expectVector(image, "uv", x, y, {hit.texture.x, hit.texture.y, static_cast<double>(hit.triangle->label)});
        EXPECT_NEAR(image.at("uv.X", x, y), hit.texture.x, 1e-4);
        EXPECT_NEAR(image.at("uv.Y", x, y), hit.texture.y, 1e-4);
        expectVector(image, "position", x, y, hit.point);
        expectVector(image, "motion3", x, y, hit.motion);
        expectMotionInImage(image, x, y, hit);
    }

    /// dx is scaled by the camera's aspect over that of the resolution; the normalised one maps -5 .. 5 to -1 .. 3.
    void expectMotionInImage(const Picture& image, int x, int y, const Hit& hit) {
        const V3 d = raster(hit.point + hit.motion) - raster(hit.point);
        const V3 scaled{d.x * kAspect / (static_cast<double>(kWidth) / kHeight), d.y, 0};
        expectVector(image, "motion2", x, y, scaled);
        const auto mapped = [](double v) { return std::clamp((v + 5) / 10 * 4 - 1, -1.0, 3.0); };
        const double mx = mapped(scaled.x), my = mapped(scaled.y);
        expectVector(image, "motionN", x, y, {mx, my, std::sqrt(mx * mx + my * my)});
    }
};

TEST_F(GeometryPasses, HoldWhatTheTrianglesAreAtEveryPixelCentre) {
    const std::vector<Triangle> scene = triangles();
    const Picture image = picture(passScene(scene));
    ASSERT_EQ(image.width, kWidth);
    ASSERT_EQ(image.height, kHeight);
    std::map<std::string, int> hits;
    int misses = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const auto hit = meetAny(scene, x, y);
            if (hit && hit->edge < 1e-4) continue;  // single precision may decide an outline either way
            if (hit)
                expectHit(image, x, y, *hit), ++hits[hit->triangle->name];
            else
                expectMiss(image, x, y), ++misses;
            if (HasFailure()) return;
        }
    // The scene is worth its name: all three are seen, and so is the background.
    EXPECT_GT(hits["tilted"], 40);
    EXPECT_GT(hits["back"], 40);
    EXPECT_GT(hits["waving"], 40);
    EXPECT_GT(misses, 100);
}

}  // namespace
}  // namespace rendertest
