// What shaders are told about a hit.
#include "traced_scene.h"

namespace lumorender {
namespace {

class Surface : public TracedScene {};

constexpr const char* kLeaning = "group 0 0 0 1 0 0 0 1 0 3 0 3 v 0 n 3 v 1 n 3 v 2 n 3 c 0 1 2 end group";
/// Texture coordinates of a parallelogram: u along (1 0), v along (.5 1).
constexpr const char* kSheared =
    "group 0 0 0 1 0 0 1.5 1 0 .5 1 0 1 1 0 0 1 0 "
    "v 0 t 0 v 1 t 1 v 2 t 4 v 3 t 5 c 0 1 2 3 end group";
/// Bump bases are object space's (0 0 1 + x) and (0 2 0), derivatives (1 x 0) to (5 x 0).
constexpr const char* kGiven =
    "group 0 0 0 1 0 0 0 1 0  1 0 0 2 0 0 3 0 0 4 0 0 5 0 0  1 1 0 2 1 0 3 1 0 4 1 0 5 1 0  0 0 1 0 0 2 0 2 0 "
    "v 0 d 3 4 5 6 7 t 0 13 15 v 1 d 8 9 10 11 12 t 2 14 15 v 2 d 3 4 5 6 7 t 1 13 15 c 0 1 2 end group";
constexpr const char* kThreeSpaces =
    "group 0 0 0 1 0 0 0 1 0  2 0 0 1 1 0  3 0 0 2 2 0 "
    "v 0 t 0 t 1 t 3 v 1 t 1 t 3 t 5 v 2 t 2 t 4 t 6 c 0 1 2 end group";
/// x goes to -z twice as large, z goes to x, then everything to (10 20 30).
constexpr const char* kTurned = "transform 0 0 1 0 0 1 0 0 -.5 0 0 0 15 -20 -10 1";

TEST_F(Surface, IsDescribedInTheState) {
    const struct {
        std::string geometry, transform;
        Ray ray;
        const char* place;     ///< dist, point, normal, geometric normal, dot_nd, side
        const char* textures;  ///< coordinates, du dv, bump basis; of each texture space
    } cases[] = {
        {kSquare, kTurned, rayFrom({13, 20.25F, 29}, {-1, 0, 0}), "3 10 20.25 29 1 0 0 1 0 0 -1 front",
         "0.5 0.25 0 | 0 0 -2 0 1 0 | 1 0 0 0 1 0"},
        // Almost along the surface: the front is hit, though the leaning normals look away from the ray.
        {kLeaning, "", rayFrom({-.75F, .25F, .5F}, {.89442719F, 0, -.44721360F}),
         "1.118 0.25 0.25 0 0.70711 0 0.70711 0 0 1 0.31623 front", ""},
        {kSheared, at(0, 0, 0, 4, 4, 4), down(2, .4F), "10 2 0.4 0 0 0 1 0 0 1 -1 front",
         "0.45 0.1 0 | 4 0 0 2 4 0 | 1 0 0 0.44721 0.89443 0"},
        {kGiven, at(0, 0, 0, 2, 2, 2), down(.5F, .5F), "10 0.5 0.5 0 0 0 1 0 0 1 -1 front",
         "0.25 0.25 0 | 2 0.5 0 4 0.5 0 6 0.5 0 8 0.5 0 10 0.5 0 | 0 0 1.25 0 2 0"},
        {kThreeSpaces, "", down(.25F, .5F), "10 0.25 0.5 0 0 0 1 0 0 1 -1 front",
         "0.25 0.5 0 | 1 0 0 0 1 0 | 1 0 0 0 1 0 | 1.25 0.5 0 | 1 0 0 0 1 0 | 2.25 1 0 | 1 0 0 0 1 0"},
    };
    for (const auto& c : cases) {
        build(object("it", c.geometry) + root("one it " + c.transform));
        const auto hit = shoot(c.ray);
        const miState& s = hit->state;
        EXPECT_EQ(asText(s.dist, s.point, s.normal, s.normal_geom, s.dot_nd, s.inv_normal ? "back" : "front"), c.place);
        EXPECT_EQ(asText(s.bary[0] + s.bary[1] + s.bary[2], nameOf(s.instance)), "1 one");
        const HitListSizes sizes = geometry->listSizes(geometry->instances()[0]);
        EXPECT_EQ(asText(s.tex_list != nullptr, s.bump_x_list != nullptr, s.derivs != nullptr, sizes.derivatives),
                  *c.textures ? "true true true true" : "false false false false");
        std::string text;
        for (std::uint32_t i = 0; i < sizes.textures; ++i) {
            text += (i ? asText(" |", s.tex_list[i]) : asText(s.tex_list[i]));
            if (i == 0) text += asText(" |", std::vector(s.derivs, s.derivs + (s.derivs[2].x != 0 ? 5 : 2)));
            text += asText(" |", s.bump_x_list[i], s.bump_y_list[i]);
        }
        EXPECT_EQ(text, c.textures);
    }
    // Not turned towards the ray, as shadow rays want it; and what the whole scene covers.
    build(object("it", kSquare) + root(std::string("one it ") + kTurned));
    const miState s = shoot(rayFrom({8, 20.5F, 29}, {1, 0, 0}), false)->state;
    miVector low, high;
    geometry->bounds(low, high);
    EXPECT_EQ(asText(s.normal, s.normal_geom, s.dot_nd, s.inv_normal, low, high), "1 0 0 1 0 0 1 0 10 20 28 10 21 30");

    // Where texture coordinates say nothing, any two tangents at right angles will do.
    build(object("it", "group 0 0 0 1 0 0 0 1 0 .5 .5 0 v 0 t 3 v 1 t 3 v 2 t 3 c 0 1 2 end group") + root("one it"));
    const auto odd = shoot(down(.25F, .5F));
    const miVector &u = odd->state.derivs[0], &v = odd->state.derivs[1];
    EXPECT_EQ(asText(u.x * u.x + u.y * u.y + u.z * u.z, u.x * v.x + u.y * v.y + u.z * v.z, u.x * v.y - u.y * v.x),
              "1 0 1");
}

TEST_F(Surface, HasTheMaterialOfPolygonLabelOrInstance) {
    const std::string rows = "group 0 0 0 1 0 0 1 1 0 0 1 0  2 0 0 2 1 0  3 0 0 3 1 0 v 0 v 1 v 2 v 3 v 4 v 5 v 6 v 7 ";
    build("material own end material material a end material material b end material " +
          object("tags", "tagged on " + rows + "c 0 0 1 2 3 c 1 1 4 5 2 c 2 4 6 7 5 end group") +
          object("plain", rows + "c 0 1 2 3 c own 1 4 5 2 end group") +
          group("inner", "listed tags material [a, b]\nlisted_plain plain material [a, b]" + at(0, 2, 0)) +
          group("over", "loses plain material b") +
          root("top inner material own\noverriding over override material a" + at(0, 4, 0) + "\nbare plain" +
               at(0, 6, 0) + "\ninherits over material own" + at(0, 8, 0)));
    std::string text;
    for (float y = .5F; y < 10; y += 2, text += "; ")
        for (float x = .5F; x < 3; ++x) text += nameOf(shoot(down(x, y))->state.material) + " ";
    // A label beyond the list takes the first; override beats the polygon's own.
    EXPECT_EQ(text, "a b a ; a own - ; a a - ; - own - ; b own - ; ");
}

TEST_F(Surface, IsWhereItIsAtTheTimeOfTheRay) {
    build(object("it", kSquare) +
              object("soft",
                     "group 0 0 0 1 0 0 1 1 0 0 1 0 0 0 2 0 0 -1 v 0 m 4 m 5 v 1 m 4 m 5 v 2 m 4 m 5 v 3 m 4 m 5 "
                     "c 0 1 2 3 end group") +
              root("lifted it motion" + at(0, 0, 2) + "\nbouncing soft" + at(3, 0, 0)),
          "shutter .5 motion on");
    std::string text;
    for (const float x : {.5F, 3.5F})  // up by 2; up by 2 in the first half, down by 1 in the second
        for (float time = 0; time <= 1; time += .25F) text += asText(shoot(down(x, .5F, time))->state.dist, "");
    EXPECT_EQ(text, "10 9.5 9 8.5 8 10 9 8 8.5 9 ");

    // From facing z to lying half way towards x: at half time the matrix is the mean of both, not the mean rotation. The
    // x axis ends half way between (1 0 0) and (c 0 -c), c = .70711: (.85355 0 -.35355); the normal is at right angles.
    build(object("it", kSquare) + root("one it motion transform .70710678 0 .70710678 0 0 1 0 0 -.70710678 0 "
                                       ".70710678 0 0 0 0 1"),
          "shutter 1");
    const miState s = shoot(down(.25F, .5F, .5F))->state;
    EXPECT_EQ(asText(s.normal, s.dist, s.derivs[0]), "0.38268 0 0.92388 10.104 0.85355 0 -0.35355");
}

}  // namespace
}  // namespace lumorender
