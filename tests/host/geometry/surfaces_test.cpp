// Free-form and subdivision surfaces against closed forms.
#include "geometry/mesh.h"
#include "surfaces/plane_division.h"
#include "tests/host/geometry/traced_scene.h"

#include <algorithm>
#include <map>
#include <numbers>

namespace lumorender {
namespace {

class Surfaces : public TracedScene {
protected:
    const Mesh& tessellated(const std::string& content, const std::string& warning = "") {
        build(object("body", content) + root("i \"body\""));
        EXPECT_NE((errors + warnings).find(warning), std::string::npos) << warnings;
        EXPECT_EQ((errors + warnings).empty(), warning.empty()) << errors << warnings;
        warnings.clear();
        static const Mesh nothing;
        const Mesh* mesh = geometry->instances().empty() ? nullptr : geometry->instances()[0].mesh;
        EXPECT_NE(mesh, nullptr);
        return mesh ? *mesh : nothing;
    }

    /// How many edges have one triangle, and how many neither one nor two. By places: seams are no borders.
    struct Edges {
        int open = 0, wrong = 0, all = 0;
        std::size_t places = 0;
    };
    static Edges edgesOf(const Mesh& mesh) {
        std::map<std::array<float, 3>, int> numbers;
        std::map<std::pair<int, int>, int> uses;
        const auto placeOf = [&](std::size_t corner) {
            const miVector& p = mesh.positions[mesh.indices[corner]];
            return numbers.try_emplace({p.x, p.y, p.z}, static_cast<int>(numbers.size())).first->second;
        };
        for (std::size_t t = 0; t < mesh.triangles(); ++t)
            for (std::size_t i = 0; i < 3; ++i) {
                const int a = placeOf(3 * t + i), b = placeOf(3 * t + (i + 1) % 3);
                ++uses[{std::min(a, b), std::max(a, b)}];
            }
        Edges edges;
        for (const auto& [edge, count] : uses) {
            edges.open += count == 1 ? 1 : 0;
            edges.wrong += count > 2 ? 1 : 0;
        }
        edges.all = static_cast<int>(uses.size());
        edges.places = numbers.size();
        return edges;
    }
    /// Closed, and so many handles: V - E + F = 2 - 2 handles.
    static void expectClosed(const Mesh& mesh, int handles) {
        const Edges edges = edgesOf(mesh);
        EXPECT_EQ(edges.open, 0);
        EXPECT_EQ(edges.wrong, 0);
        EXPECT_EQ(static_cast<int>(edges.places) - edges.all + static_cast<int>(mesh.triangles()), 2 - 2 * handles);
    }

    /// Vertices and middles of triangles against a function that gives distance and normal of the surface there.
    template <class Exact>
    static void expectNear(const Mesh& mesh, double tolerance, const Exact& exact) {
        double farthest = 0, mostTurned = 0;
        const auto look = [&](const V3d& point, const V3d& normal) {
            const auto [distance, right] = exact(point);
            farthest = std::max(farthest, std::abs(distance));
            mostTurned = std::max(mostTurned, length(unit(normal) - right));
        };
        for (std::size_t t = 0; t < mesh.triangles(); ++t) {
            V3d middle(0), normal(0);
            for (std::size_t i = 0; i < 3; ++i) {
                const std::uint32_t v = mesh.indices[3 * t + i];
                look(wide(mesh.positions[v]), wide(mesh.normals[v]));
                middle += wide(mesh.positions[v]) * (1 / 3.0);
                normal += wide(mesh.normals[v]);
            }
            look(middle, normal);
        }
        EXPECT_LT(farthest, tolerance);
        EXPECT_LT(mostTurned, tolerance);
    }

    static double areaOf(const Mesh& mesh) {
        double area = 0;
        for (std::size_t t = 0; t < mesh.triangles(); ++t) {
            const auto corner = [&](std::size_t i) { return wide(mesh.positions[mesh.indices[3 * t + i]]); };
            area += length(cross(corner(1) - corner(0), corner(2) - corner(0))) / 2;
        }
        return area;
    }

    /// A curve of circular arcs turned around the z axis: quadratic, rational, with double knots between quarters.
    /// @param profile x, z and weight of its control points
    static std::string turned(const std::vector<std::array<double, 3>>& profile, const std::string& knots,
                              const std::string& range, const std::string& rest) {
        const double s = std::sqrt(0.5);
        const double circle[9][3] = {{1, 0, 1},   {1, 1, s},  {0, 1, 1},  {-1, 1, s}, {-1, 0, 1},
                                     {-1, -1, s}, {0, -1, 1}, {1, -1, s}, {1, 0, 1}};
        std::string vectors, vertices, points;
        int number = 0;
        for (const auto& [x, z, weight] : profile)
            for (const auto& c : circle) {
                vectors += fmt::format("{} {} {} ", x * c[0], x * c[1], z);
                vertices += fmt::format("v {} ", number);
                points += fmt::format("{} w {} ", number++, weight * c[2]);
            }
        return fmt::format("basis \"q\" rational bspline 2 group {} {} surface \"s\" \"q\" 0. 4. {} \"q\" {} {} {} {}",
                           vectors, vertices, "0. 0. 0. 1. 1. 2. 2. 3. 3. 4. 4. 4.", range, knots, points, rest) +
               " end group";
    }
    static constexpr const char* kCube =
        "-1 -1 -1 1 -1 -1 1 1 -1 -1 1 -1 -1 -1 1 1 -1 1 1 1 1 -1 1 1 v 0 v 1 v 2 v 3 v 4 v 5 v 6 v 7 ";
    static constexpr const char* kCubeFaces = "p 3 2 1 0 p 4 5 6 7 p 0 1 5 4 p 1 2 6 5 p 2 3 7 6 p 3 0 4 7 ";

    /// The vertex nearest to a point, as position and normal.
    static std::pair<miVector, miVector> nearest(const Mesh& mesh, const miVector& point) {
        std::size_t best = 0;
        const auto distance = [&](std::size_t v) { return length(mesh.positions[v] - point); };
        for (std::size_t v = 1; v < mesh.vertices(); ++v)
            if (distance(v) < distance(best)) best = v;
        return {mesh.positions[best], mesh.normals[best]};
    }
    static void expectVector(const miVector& found, const miVector& expected, float tolerance) {
        EXPECT_LT(length(found - expected), tolerance) << asText(found) << " for " << asText(expected);
    }
};

TEST_F(Surfaces, SphereAndTorusOfSplines) {
    const double s = std::sqrt(0.5);
    // From the south pole, so that the normals lead outwards.
    const Mesh& sphere =
        tessellated(turned({{0, -1, 1}, {1, -1, s}, {1, 0, 1}, {1, 1, s}, {0, 1, 1}}, "0. 0. 0. 1. 1. 2. 2. 2.",
                           "0. 2.", "approximate surface distance .00003 angle 2. 0 12 \"s\""));
    expectClosed(sphere, 0);
    expectNear(sphere, 1e-4, [](const V3d& p) { return std::pair(length(p) - 1, unit(p)); });
    EXPECT_NEAR(areaOf(sphere), 4 * std::numbers::pi, 1e-3);

    // A circle of radius 1/2 around (2, 0).
    std::vector<std::array<double, 3>> tube;
    const double square[9][3] = {{1, 0, 1},   {1, 1, s},  {0, 1, 1},  {-1, 1, s}, {-1, 0, 1},
                                 {-1, -1, s}, {0, -1, 1}, {1, -1, s}, {1, 0, 1}};
    for (const auto& c : square) tube.push_back({2 + c[0] / 2, c[1] / 2, c[2]});
    const Mesh& torus = tessellated(turned(tube, "0. 0. 0. 1. 1. 2. 2. 3. 3. 4. 4. 4.", "0. 4.",
                                           "approximate surface distance .00003 angle 2. 0 12 \"s\""));
    expectClosed(torus, 1);
    expectNear(torus, 1e-4, [](const V3d& p) {
        const V3d ring = unit(V3d(p.x, p.y, 0)) * 2;
        return std::pair(length(p - ring) - 0.5, unit(p - ring));
    });
}

TEST_F(Surfaces, LimitOfACube) {
    const Mesh& cube = tessellated(std::string("group ") + kCube + "ccmesh \"c\" polygon 6 vertex 24 " + kCubeFaces +
                                   "end ccmesh approximate ccmesh parametric 3 end group");
    EXPECT_EQ(cube.triangles(), 6U * 64 * 2);
    expectClosed(cube, 0);
    // A corner of n faces: (n^2 v + 4 sum of edge ends + sum of opposite corners) / (n (n + 5)) = (9 + 4 - 1) / 24.
    const float third = std::sqrt(1 / 3.0F);
    const auto corner = nearest(cube, {1, 1, 1});
    expectVector(corner.first, {.5F, .5F, .5F}, 1e-6F);
    expectVector(corner.second, {third, third, third}, 1e-5F);
    // The same of the mesh after one step, in which corners are at 5/9, edges at 3/4 and faces at 1.
    expectVector(nearest(cube, {0, 0, 1}).first, {0, 0, (16 + 4 * 3 + 4 * 5 / 9.0F) / 36}, 1e-6F);
    expectVector(nearest(cube, {0, 0, 1}).second, {0, 0, 1}, 1e-6F);
    const float edge = (16 * .75F + 4 * (1 + 10 / 9.0F) + 1.5F) / 36;
    expectVector(nearest(cube, {1, 0, 1}).first, {edge, 0, edge}, 1e-6F);
}

TEST_F(Surfaces, CreasesAndCorners) {
    // The rim of the top becomes a B-spline through (v' + 4 v + v'') / 6 of its corners, and the top stays flat.
    const std::string faces = std::string("group ") + kCube + "subdivision surface \"s\" " + kCubeFaces;
    const std::string finely = "end subdivision surface approximate subdivision surface parametric 4 \"s\" end group";
    const Mesh& rim = tessellated(faces + "crease 4 5 6 7 4 " + finely);
    expectClosed(rim, 0);
    expectVector(nearest(rim, {1, 1, 1}).first, {2 / 3.0F, 2 / 3.0F, 1}, 1e-6F);
    expectVector(nearest(rim, {.3F, .3F, 1}).second, {0, 0, 1}, 1e-5F);
    // All edges for ever: the cube as it is.
    const std::string all = faces + "crease 4 5 6 7 4 crease 0 1 2 3 0 crease 0 4 crease 1 5 crease 2 6 crease 3 7 ";
    EXPECT_NEAR(areaOf(tessellated(all + finely)), 24, 1e-5);
    // For one step: the limit of the cube whose faces are four squares each. Edges end at (1, 1, 0), faces at (1, 0, 0):
    const Mesh& soft = tessellated(faces +
                                   "crease 4 5 6 7 4 level 1 crease 0 1 2 3 0 level 1 crease 0 4 level 1 "
                                   "crease 1 5 level 1 crease 2 6 level 1 crease 3 7 level 1 " +
                                   finely);
    // (9 + 4 * 2 + 1) / 24.
    expectVector(nearest(soft, {1, 1, 1}).first, {.75F, .75F, .75F}, 1e-6F);
    // A vertex that is a corner stays.
    std::string sharp = faces;
    sharp.replace(sharp.find("v 6"), 3, "v 6 corner");
    expectVector(nearest(tessellated(sharp + finely), {1, 1, 1}).first, {1, 1, 1}, 1e-6F);
}

/// Two bicubic patches with a common border, one of them turned round, and a third one below it with its own knots.
TEST_F(Surfaces, EqualBordersHaveNoCracks) {
    std::string vectors, vertices;
    for (int j = 0; j < 7; ++j)
        for (int i = 0; i < 4; ++i) {
            vectors += fmt::format("{} {} {} ", i, j, std::sin(3.0 * i * j + i));
            vertices += fmt::format("v {} ", i + 4 * j);
        }
    std::string lower, upper;
    for (int k = 0; k < 16; ++k) lower += fmt::format("{} ", k);
    for (int k = 27; k >= 12; --k) upper += fmt::format("{} ", k);
    const std::string range = "\"b\" 0. 1. 0. 1. ";
    const Mesh& mesh = tessellated("basis \"b\" bezier 3 group " + vectors + vertices + "surface \"one\" " + range +
                                   range + lower + "surface \"two\" " + range + range + upper +
                                   "approximate surface distance .01 0 9 \"one\" approximate surface distance .002 "
                                   "0 9 \"two\" end group");
    const Edges edges = edgesOf(mesh);
    EXPECT_EQ(edges.wrong, 0);
    // A disc: V - E + F = 1, and all open edges are on the outer border.
    EXPECT_EQ(static_cast<int>(edges.places) - edges.all + static_cast<int>(mesh.triangles()), 1);
    for (std::size_t v = 0; v < mesh.vertices(); ++v) EXPECT_TRUE(isFinite(mesh.normals[v]));
    for (int i = 0; i <= 100; ++i)
        EXPECT_TRUE(shoot(rayFrom({.015F + .0297F * static_cast<float>(i), 3, 9}, {0, 0, -1}))->found) << i;
}

/// Circles of radius 2/5 and 1/5 around the middle of the parameters, as trimming curves.
std::string circles(int firstVertex) {
    const double s = std::sqrt(0.5);
    const double circle[9][3] = {{1, 0, 1},   {1, 1, s},  {0, 1, 1},  {-1, 1, s}, {-1, 0, 1},
                                 {-1, -1, s}, {0, -1, 1}, {1, -1, s}, {1, 0, 1}};
    std::string curves;
    for (const char* name : {"outer", "inner"}) {
        curves += fmt::format("curve \"{}\" rational \"q\" 0. 0. 0. 1. 1. 2. 2. 3. 3. 4. 4. 4. ", name);
        for (const auto& c : circle) curves += fmt::format("{} w {} ", firstVertex++, c[2]);
    }
    return curves;
}
std::string circleVectors() {
    std::string vectors;
    for (const double radius : {.4, .2})
        for (const auto& [x, y] :
             {std::pair(1, 0), {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {1, 0}})
            vectors += fmt::format("{} {} 0 ", .5 + radius * x, .5 + radius * y);
    return vectors;
}
std::string vertices(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += fmt::format("v {} ", i);
    return text;
}

TEST_F(Surfaces, TrimmedDisc) {
    const std::string plane = "basis \"q\" bspline 2 basis \"l\" bspline 1 group 0 0 0 2 0 0 0 2 0 2 2 0 1 0 0 1 2 0 " +
                              circleVectors() + vertices(24) + circles(6) +
                              "surface \"s\" \"l\" 0. 1. 0. 0. .5 1. 1. \"l\" 0. 1. 0. 0. 1. 1. 0 4 1 2 5 3 ";
    const std::string finely = "approximate trim distance .00001 0 12 \"s\" end group";
    // Twice as large as the parameters: radii .8 and .4.
    const double pi = std::numbers::pi;
    EXPECT_NEAR(areaOf(tessellated(plane + "trim \"outer\" 0. 4. " + finely)), .64 * pi, 1e-4);
    EXPECT_NEAR(areaOf(tessellated(plane + "hole \"outer\" 4. 0. " + finely)), 4 - .64 * pi, 1e-4);
    const Mesh& ring = tessellated(plane + "trim \"outer\" hole \"inner\" " + finely);
    EXPECT_NEAR(areaOf(ring), .48 * pi, 1e-4);
    const Edges edges = edgesOf(ring);
    EXPECT_EQ(edges.wrong, 0);
    EXPECT_EQ(static_cast<int>(edges.places) - edges.all + static_cast<int>(ring.triangles()), 0);
    EXPECT_TRUE(shoot(rayFrom({1.6F, 1, 9}, {0, 0, -1}))->found);
    EXPECT_FALSE(shoot(rayFrom({1.3F, 1, 9}, {0, 0, -1}))->found);
    // Parts of two curves, and a line that is part of the tessellation.
    const Mesh& half = tessellated(plane + "trim \"outer\" 0. 2. \"inner\" 2. 0. special \"inner\" 2. 4. " + finely,
                                   "the curves of this loop do not meet");
    EXPECT_NEAR(areaOf(half), .24 * pi, 1e-4);
}

/// A curved patch with a hole beside a whole one: their border is trimmed along, and is one line all the same.
TEST_F(Surfaces, TrimmedBordersHaveNoCracks) {
    std::string vectors;
    for (int j = 0; j < 7; ++j)
        for (int i = 0; i < 4; ++i) vectors += fmt::format("{} {} {} ", i, j, std::sin(2.0 * i * j + i));
    std::string lower, upper;
    for (int k = 0; k < 16; ++k) {
        lower += fmt::format("{} ", k);
        upper += fmt::format("{} ", k + 12);
    }
    const std::string range = "\"b\" 0. 1. 0. 1. ";
    const Mesh& mesh = tessellated("basis \"q\" bspline 2 basis \"l\" bezier 1 basis \"b\" bezier 3 group " + vectors +
                                   circleVectors() + "0 0 0 1 0 0 1 1 0 0 1 0 " + vertices(28 + 18 + 4) + circles(28) +
                                   "curve \"frame\" \"l\" 0. 1. 2. 3. 4. 46 47 48 49 46 surface \"one\" " + range +
                                   range + lower + "trim \"frame\" hole \"outer\" surface \"two\" " + range + range +
                                   upper + "approximate surface distance .003 angle 10. 0 9 end group");
    const Edges edges = edgesOf(mesh);
    EXPECT_EQ(edges.wrong, 0);
    EXPECT_EQ(static_cast<int>(edges.places) - edges.all + static_cast<int>(mesh.triangles()), 0);
}

/// Borders that end elsewhere, have other parameters, or are only nearly the same line.
TEST_F(Surfaces, BordersOfDifferentPiecesAreJoined) {
    // An arch over the line y = 0: once as the border of two pieces with other parameters, once of one, .001 away.
    const std::string lower = "0 -1 0 1 -1 0 2 -1 0 3 -1 0 4 -1 0 0 0 0 1 0 1 2 0 1 3 0 1 4 0 0 ";
    const std::string upper = "0 .001 0 2 .001 2 4 .001 0 0 1 0 2 1 0 4 1 0 ";
    const std::string surfaces = "basis \"b\" bezier 1 basis \"q\" bspline 2 basis \"p\" bezier 2 group {} " + lower +
                                 upper + "0 1 0 3 1 0 0 0 0 1 0 0 " + vertices(20) +
                                 "curve \"top\" \"b\" 0. 1. 16 17 curve \"bottom\" \"b\" 0. 1. 18 19 "
                                 "surface \"one\" \"q\" 0. 3. 0. 0. 0. 1. 2. 3. 3. 3. \"b\" 0. 1. 0. 1. "
                                 "0 1 2 3 4 5 6 7 8 9 surface \"two\" \"p\" 0. 1. 0. 1. \"b\" 0. 1. 0. 1. "
                                 "10 11 12 13 14 15 {} approximate surface distance .001 0 8 end group";
    const auto chi = [&](const std::string& merge, const std::string& rest) {
        std::string text = surfaces;
        text.replace(text.find("{}"), 2, merge);
        text.replace(text.find("{}"), 2, rest);
        const Mesh& mesh = tessellated(text);
        const Edges edges = edgesOf(mesh);
        EXPECT_EQ(edges.wrong, 0);
        return static_cast<int>(edges.places) - edges.all + static_cast<int>(mesh.triangles());
    };
    EXPECT_EQ(chi("", ""), 2);  // two discs
    EXPECT_EQ(chi("merge .3", ""), 1);
    EXPECT_EQ(chi("", "connect \"one\" \"top\" 0. 1. \"two\" \"bottom\" 0. 1."), 1);
    // The same straight line in one piece and in three, each divided likewise.
    const Mesh& flat = tessellated(
        "basis \"l\" bspline 1 group 0 0 0 1 0 0 2 0 0 5 0 0 0 1 0 1 1 0 2 1 0 5 1 0 0 2 0 5 2 0 " + vertices(10) +
        "surface \"one\" \"l\" 0. 3. 0. 0. 1. 2. 3. 3. \"l\" 0. 1. 0. 0. 1. 1. 0 1 2 3 4 5 6 7 "
        "surface \"two\" \"l\" 0. 1. 0. 0. 1. 1. \"l\" 0. 1. 0. 0. 1. 1. 4 7 8 9 "
        "approximate surface parametric 3. \"one\" approximate surface parametric 4. \"two\" end group");
    const Edges edges = edgesOf(flat);
    EXPECT_EQ(edges.wrong, 0);
    EXPECT_EQ(static_cast<int>(edges.places) - edges.all + static_cast<int>(flat.triangles()), 1);
    EXPECT_NEAR(areaOf(flat), 10, 1e-5);
}

/// (u, v, u^2), in parameters 2 to 4 along u, that moves by (0, 0, u) and then by (0, 0, v); everything follows the surface.
TEST_F(Surfaces, WhatComesWithVertices) {
    const Mesh& mesh = tessellated(
        "basis \"q\" bezier 2 basis \"l\" bezier 1 group 0 0 0 .5 0 0 1 0 1 0 1 0 .5 1 0 1 1 1 0 0 .5 0 0 1 "
        "v 0 m 0 v 1 m 6 v 2 m 7 v 3 m 0 v 4 m 6 v 5 m 7 v 7 "
        "surface \"s\" \"q\" 2. 4. 2. 4. \"l\" 0. 1. 0. 1. 0 1 2 3 4 5 derivative 1 2 "
        "motion \"l\" 2. 4. \"l\" 0. 1. 0 0 6 6 approximate surface regular parametric 5 3 end group");
    EXPECT_EQ(mesh.triangles(), 5U * 3 * 2);
    ASSERT_EQ(mesh.laterPositions.size(), 2U);
    for (std::size_t i = 0; i < mesh.vertices(); ++i) {
        const miVector& p = mesh.positions[i];
        expectVector(p, {p.x, p.y, p.x * p.x}, 1e-6F);
        expectVector(mesh.textures[i], {p.x, p.y, 0}, 1e-6F);
        expectVector(mesh.laterPositions[0][i], {p.x, p.y, p.z + p.x}, 1e-6F);
        expectVector(mesh.laterPositions[1][i], {p.x, p.y, p.z + p.x + p.y}, 1e-6F);
        // By parameters of which there are two where u runs from 0 to 1.
        const miVector* d = &mesh.derivatives[i * miDERIVATIVES];
        const miVector expected[] = {{.5F, 0, p.x}, {0, 1, 0}, {0, 0, .5F}, {0, 0, 0}, {0, 0, 0}};
        for (std::size_t k = 0; k < miDERIVATIVES; ++k) expectVector(d[k], expected[k], 1e-6F);
    }
}

/// Lines across many points: all of each line is edges, triangles still fill the square, and none is turned over.
TEST(PlaneDivisions, KeepToLinesAcrossManyPoints) {
    PlaneDivision division;
    const std::uint32_t corners[] = {division.add({0, 0}), division.add({1, 0}), division.add({1, 1}),
                                     division.add({0, 1})};
    // Multiples of the golden section fill the square evenly.
    for (int i = 1; i < 2000; ++i)
        division.add({std::fmod(i * 0.7548776662466927, 1), std::fmod(i * 0.5698402909980532, 1)});
    for (int i = 0; i < 4; ++i) division.addLine(corners[i], corners[(i + 1) % 4]);
    const std::uint32_t left = division.add({0, 0.3}), right = division.add({1, 0.71});
    division.addLine(left, right);
    division.addLine(corners[0], corners[2]);
    double area = 0, along[2] = {0, 0};
    const auto& points = division.points();
    for (const PlaneDivision::Triangle& t : division.triangles()) {
        if (std::min({t.points[0], t.points[1], t.points[2]}) < 4) continue;
        const PlanePoint &a = points[t.points[0]], &b = points[t.points[1]], &c = points[t.points[2]];
        const double twice = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
        EXPECT_GT(twice, 0);
        area += twice / 2;
        for (std::size_t i = 0; i < 3; ++i) {
            const PlanePoint &p = points[t.points[i]], &q = points[t.points[(i + 1) % 3]];
            const auto isOn = [](const PlanePoint& point, double low, double high) {
                return std::abs(point.y - low - (high - low) * point.x) < 1e-12;
            };
            if (!t.fixed[i]) continue;
            if (isOn(p, .3, .71) && isOn(q, .3, .71)) along[0] += std::abs(q.x - p.x) / 2;
            if (isOn(p, 0, 1) && isOn(q, 0, 1)) along[1] += std::abs(q.x - p.x) / 2;
        }
    }
    EXPECT_NEAR(area, 1, 1e-12);
    EXPECT_NEAR(along[0], 1, 1e-12);
    EXPECT_NEAR(along[1], 1, 1e-12);
}

}  // namespace
}  // namespace lumorender
