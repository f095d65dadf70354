// The geometry passes of known triangles, pixel by pixel, against values worked out in double precision.
#include "contract_test.h"
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
    double label;
    Placing open, close;
    std::array<Vertex, 3> vertices;
};

const Placing kCamera = turned({1, 2, .5}, 33).then(moved({2, -1, 7}));

/// Three triangles side by side in front of the camera: one under a transform that scales unevenly, seen from its
/// front; one that shows its back and moves with its instance; one whose vertices move.
const Placing kTilted = scaled({2, .5, 1.5}).then(turned({0, 1, .3}, 25)).then(moved({-2.2, 0, -6})).then(kCamera);
const Placing kBack = turned({.2, 1, 0}, -20).then(moved({.4, .2, -5})).then(kCamera);
const Placing kBackClosed = turned({.2, 1, .1}, -12).then(moved({.7, .05, -4.6})).then(kCamera);
const Placing kWaving = turned({0, 0, 1}, 15).then(moved({2.6, -.2, -7})).then(kCamera);
const Triangle kTriangles[] = {
    {"tilted",
     7,
     kTilted,
     kTilted,
     {Vertex{{-1, -3, .2}, unit({-.3, -.2, 1}), {.1, .2, 0}, {}},
      Vertex{{1, -3, -.4}, unit({.4, -.1, 1}), {.9, .1, 0}, {}},
      Vertex{{0, 4, .3}, unit({0, .5, 1}), {.4, .8, 0}, {}}}},
    {"back",
     12,
     kBack,
     kBackClosed,
     {Vertex{{-.9, -1, 0}, unit({0, .1, 1}), {0, 0, 0}, {}}, Vertex{{0, 1.2, .1}, unit({.1, 0, 1}), {.5, 1, 0}, {}},
      Vertex{{.9, -.8, -.2}, unit({-.1, .1, 1}), {1, 0, 0}, {}}}},
    {"waving",
     31,
     kWaving,
     kWaving,
     {Vertex{{-1, -1.5, 0}, unit({.2, .1, 1}), {.2, .3, 0}, {.1, 0, 0}},
      Vertex{{1.2, -1.2, .5}, unit({.1, .2, 1}), {.7, .2, 0}, {0, .3, .2}},
      Vertex{{.1, 1.6, -.3}, unit({0, 0, 1}), {.3, .9, 0}, {-.2, .1, 0}}}}};

struct Hit {
    const Triangle* triangle = nullptr;
    double edge = 0;  ///< smallest barycentric weight: near 0 at an outline
    double distance = 0, incidence = 0;
    V3 point, normal, texture, motion;
};

V3 raster(V3 world) {
    const V3 p = kCamera.inverse().point(world);
    return {(p.x * kFocal / -p.z / kAperture + .5) * kWidth, (p.y * kFocal / -p.z * kAspect / kAperture + .5) * kHeight,
            0};
}

/// Solves eye + t dir = a + u (b - a) + v (c - a) by Cramer's rule, in world space.
std::optional<Hit> meet(const Triangle& triangle, V3 dir) {
    const auto& [a, b, c] = triangle.vertices;
    const V3 pa = triangle.open.point(a.point), ab = triangle.open.point(b.point) - pa,
             ac = triangle.open.point(c.point) - pa, from = kCamera.t - pa, across = cross(ab, ac);
    const double det = -dot(dir, across), t = dot(from, across) / det;
    const double u = -dot(dir, cross(from, ac)) / det, v = -dot(dir, cross(ab, from)) / det;
    Hit hit{&triangle, std::min({u, v, 1 - u - v}), t * length(dir), 0, kCamera.t + t * dir, {}, {}, {}};
    if (hit.edge < 0 || t <= 0) return {};

    const auto mix = [&](V3 x, V3 y, V3 z) { return (1 - u - v) * x + u * y + v * z; };
    hit.texture = mix(a.texture, b.texture, c.texture) + V3{0, 0, triangle.label};
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

/// The nearest.
Hit meetAny(int x, int y) {
    Hit nearest;
    const V3 dir{((x + .5) / kWidth - .5) * kAperture, ((y + .5) / kHeight - .5) * kAperture / kAspect, -kFocal};
    for (const Triangle& triangle : kTriangles) {
        const auto hit = meet(triangle, kCamera.vector(dir));
        if (hit && (!nearest.triangle || hit->distance < nearest.distance)) nearest = *hit;
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

std::string passScene() {
    SceneText scene;
    std::string names;
    for (const auto& [name, type] : {std::pair("depth", "z"), std::pair("coverage", "a_fp"),
                                     std::pair("incidence", "s_fp"), std::pair("world", "n"), std::pair("camera", "n"),
                                     std::pair("object", "n"), std::pair("uv", "n"), std::pair("position", "n"),
                                     std::pair("motion3", "m"), std::pair("motion2", "m"), std::pair("motionN", "m")}) {
        names += (names.empty() ? "\"" : ", \"") + std::string(name) + "\"";
        scene.buffers += userBuffer(name, type, "filtering off");
    }
    scene.before =
        libraryPrelude() + "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [" + names +
        "], \"FrameBufferTypeCounts\" [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0] )\n";
    scene.options = "samples 0 0 motion on shutter 0 1 state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
    scene.camera = fmt::format("data \"fbuf\" focal {} aperture {} aspect {} resolution {} {}", kFocal, kAperture,
                               kAspect, kWidth, kHeight);
    scene.cameraPlace = "transform " + kCamera.inverse().text();
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
    for (const Triangle& triangle : kTriangles) {
        scene.elements += triangleText(triangle);
        scene.members += " \"" + triangle.name + "\"";
    }
    return scene.text();
}

TEST_F(RenderTest, GeometryPassesHoldWhatTheTrianglesAreAtEveryPixelCentre) {
    const Picture image = picture(passScene());
    std::map<std::string, int> seen;
    for (int i = 0; i < kWidth * kHeight && !HasFailure(); ++i) {
        const int x = i % kWidth, y = i / kWidth;
        SCOPED_TRACE(fmt::format("at {} {}", x, y));
        const Hit hit = meetAny(x, y);
        ++seen[hit.triangle ? hit.triangle->name : "nothing"];
        if (!hit.triangle) {
            for (const auto& [name, channel] : image.channels()) EXPECT_EQ(image.at(name, x, y), 0) << name;
        }
        if (hit.edge < 1e-4) continue;  // single precision may decide an outline either way

        const auto expect = [&](const std::string& layer, V3 expected) {
            // Relative to the length: a component that cancels out keeps the error of what it was made of.
            const double tolerance = 1e-4 * std::max(length(expected), .1);
            EXPECT_NEAR(image.at(layer + ".X", x, y), expected.x, tolerance) << layer;
            EXPECT_NEAR(image.at(layer + ".Y", x, y), expected.y, tolerance) << layer;
            EXPECT_NEAR(image.at(layer + ".Z", x, y), expected.z, tolerance) << layer;
        };
        EXPECT_NEAR(image.at("depth.Z", x, y), hit.distance, 1e-4 * hit.distance);
        EXPECT_EQ(image.at("coverage.A", x, y), 1);
        EXPECT_NEAR(image.at("incidence.Y", x, y), hit.incidence, 1e-4);
        EXPECT_EQ(image.at("R", x, y), .2F);
        EXPECT_EQ(image.at("B", x, y), .6F);
        expect("world", hit.normal);
        expect("camera", kCamera.inverse().normal(hit.normal));
        expect("object", hit.triangle->open.inverse().normal(hit.normal));
        expect("uv", hit.texture);
        EXPECT_NEAR(image.at("uv.X", x, y), hit.texture.x, 1e-4);
        EXPECT_NEAR(image.at("uv.Y", x, y), hit.texture.y, 1e-4);
        expect("position", hit.point);
        expect("motion3", hit.motion);
        // dx is scaled by the camera's aspect over that of the resolution; the normalised one maps -5 .. 5 to -1 .. 3.
        V3 d = raster(hit.point + hit.motion) - raster(hit.point);
        d.x *= kAspect / (static_cast<double>(kWidth) / kHeight);
        expect("motion2", d);
        const auto mapped = [](double v) { return std::clamp((v + 5) / 10 * 4 - 1, -1.0, 3.0); };
        expect("motionN", {mapped(d.x), mapped(d.y), std::hypot(mapped(d.x), mapped(d.y))});
    }
    // The scene is worth its name: all three are seen, and so is the background.
    for (const std::string name : {"tilted", "back", "waving", "nothing"}) EXPECT_GT(seen[name], 40) << name;
}

}  // namespace
}  // namespace rendertest
