// Shadows of glass in the three shadow modes: tint, angle and depth, against the formulas, in the picture and its
// passes.
#include "pass_scene.h"
#include "pixels.h"

namespace rendertest {
namespace {

constexpr double kThick = 1.5;
const char* const kModes[] = {"on", "sort", "segments"};

struct Tint {
    double r, g, b;
    std::string text() const { return fmt::format("{} {} {}", r, g, b); }
};

struct GlassShadow {
    Tint transparency{.8, .5, .2};
    double attenuation = 0, depth = 0;
    std::string text() const {
        return fmt::format("\"transparency\" {}, \"shadowAttenuation\" {}, \"transparencyDepth\" {}",
                           transparency.text(), attenuation, depth);
    }
};

/// What a slab leaves of one color: at the face where the ray enters it is the tint, less at an angle of this cosine;
/// at the other one the tint for a way inside of `depth` or more, and in proportion less for a shorter one.
double leftBySlab(double t, const GlassShadow& glass, double cosine, bool segmented) {
    const double tint = t * std::max(0., 1 - (1 - cosine) * glass.attenuation);
    if (!segmented || glass.depth == 0) return tint * tint;
    const double k = std::min(1., kThick / cosine / glass.depth);
    return tint * std::min(1., tint * k + 1 - k);
}

const std::string kSun = "\"lumoVexaDirectionalLight\" ( \"useRayTraceShadows\" on ) direction 0 0 -1";
const V3 kBulb{2, 1, 4};

std::string bulb(const std::string& more = {}) {
    return "\"lumoVexaPointLight\" ( \"useRayTraceShadows\" on " + more + " ) origin 2 1 4";
}

/// Cosine of the light from the bulb with the axis.
double fromBulb(int x, int y) { return unit(kBulb - meeting(x, y, -5)).z; }

class ShadowModes : public RenderTest {
protected:
    /// A white wall at z = -5 in this light.
    static SceneText lit(const std::string& light, const std::string& mode, const std::string& surface = {}) {
        SceneText scene = passScene({{"diffuse", 5}, {"unshadowed", 6, 0x1}, {"blocked", 12}});
        scene.options += " shadow " + mode;
        scene.elements = "light \"l\" " + light + " end light\ninstance \"light\" \"l\" end instance\n" +
                         group("white", "\"lumoVexaLambert\" ( \"color\" 1 1 1, \"diffuse\" 1 " + surface + " )") +
                         wall("surface", -5, "white");
        scene.members = "\"light\" \"surface\"";
        return scene;
    }

    /// Out of the camera's sight: the face at z - 1.5 leads down, the one at z up.
    static void addSlab(SceneText& scene, const std::string& name, double z, const std::string& shadow) {
        scene.elements += group(name, shining(0), shadow) +
                          wall(name + "_low", kThick - z, name, 1000, std::string("visible off ") + kTurned) +
                          wall(name + "_high", z, name, 1000, "visible off");
        scene.members += fmt::format(" \"{0}_low\" \"{0}_high\"", name);
    }

    static std::string shadow(const GlassShadow& glass) { return "\"lumoVexaShadow\" ( " + glass.text() + " )"; }

    /// `left(channel's tint, x, y)` of the light is left. Picture and passes agree.
    template <class Cosine, class Left>
    void expectLight(const SceneText& scene, const Tint& tint, Cosine cosine, Left left) {
        const Picture image = picture(scene.text());
        const struct {
            const char* channel;
            double tint;
        } channels[] = {{"R", tint.r}, {"G", tint.g}, {"B", tint.b}};
        for (const auto& [channel, t] : channels) {
            const auto arrives = [&, t = t](int x, int y) { return cosine(x, y) * left(t, x, y); };
            expectPixels(image, channel, arrives, 2e-6);
            expectPixels(image, fmt::format("diffuse.{}", channel), arrives, 2e-6);
            expectPixels(image, fmt::format("unshadowed.{}", channel), cosine, 2e-6);
            expectPixels(
                image, fmt::format("blocked.{}", channel), [&](int x, int y) { return cosine(x, y) - arrives(x, y); },
                2e-6);
        }
    }
};

constexpr auto kStraight = [](int, int) { return 1.; };

TEST_F(ShadowModes, GlassTintsByTheWayInside) {
    // The way is 1.5: a quarter, half, all and twice the depth. Without a depth, and in the other modes, the tint is
    // full.
    for (const double depth : {6., 3., 1.5, .75, 0.}) {
        SCOPED_TRACE(depth);
        const GlassShadow glass{.depth = depth};
        SceneText scene = lit(kSun, "segments");
        addSlab(scene, "glass", -1.5, shadow(glass));
        expectLight(scene, glass.transparency, kStraight,
                    [&](double t, int, int) { return leftBySlab(t, glass, 1, true); });
    }
    for (const char* mode : {"on", "sort"}) {
        const GlassShadow glass{.depth = 6};
        SceneText scene = lit(kSun, mode);
        addSlab(scene, "glass", -1.5, shadow(glass));
        expectLight(scene, glass.transparency, kStraight, [](double t, int, int) { return t * t; });
    }
}

TEST_F(ShadowModes, GlassTintsByTheAngle) {
    const GlassShadow cases[] = {
        {.attenuation = .5},
        {.attenuation = 1.5, .depth = 4},
        {.transparency = {1.4, 1, 0}, .attenuation = .1, .depth = 1},  // no more than all is let through
    };
    for (const char* mode : kModes)
        for (const GlassShadow& glass : cases) {
            const bool segmented = mode == std::string("segments");
            if (!segmented && glass.depth > 0) continue;
            SCOPED_TRACE(fmt::format("{} {}", mode, glass.text()));
            SceneText scene = lit(bulb(), mode);
            addSlab(scene, "glass", -1.5, shadow(glass));
            expectLight(scene, glass.transparency, fromBulb,
                        [&](double t, int x, int y) { return leftBySlab(t, glass, fromBulb(x, y), segmented); });
        }
}

// Two slabs and a sheet, in both orders. The light is soft for the mean of equal shadows to be the same shadow.
TEST_F(ShadowModes, StacksMultiply) {
    const GlassShadow one{.transparency = {.9, .5, .25}}, other{.transparency = {.5, .8, 1}};
    for (const std::string mode : kModes)
        for (const bool swapped : {false, true}) {
            SCOPED_TRACE(mode + (swapped ? " swapped" : ""));
            SceneText scene = lit(bulb(", \"lightRadius\" .5, \"shadowRays\" 16"), mode);
            addSlab(scene, "one", swapped ? 2 : -3, shadow(one));
            addSlab(scene, "other", swapped ? -3 : 2, shadow(other));
            scene.elements += group("sheet_m", shining(0), shadow({.transparency = {.5, .5, .5}})) +
                              wall("sheet", -.5, "sheet_m", 1000, "visible off");
            scene.members += " \"sheet\"";
            // .9^2 .5^2 .5, .5^2 .8^2 .5, .25^2 1^2 .5
            const Tint product{.10125, .08, .03125};
            expectLight(scene, product, fromBulb, [](double t, int, int) { return t; });
        }
}

TEST_F(ShadowModes, MaterialsCastTheirOwnShadow) {
    for (const std::string mode : kModes)
        for (const bool hidden : {false, true}) {
            SCOPED_TRACE(mode + (hidden ? " hidden" : ""));
            const GlassShadow glass{.attenuation = .5, .depth = 4};
            SceneText scene = lit(bulb(), mode);
            scene.elements += "shader \"cast\" \"lumoVexaLambert\" ( " + glass.text() +
                              (hidden ? ", \"hideSource\" on" : "") + " )\n";
            addSlab(scene, "glass", -1.5, "= \"cast\"");
            expectLight(scene, glass.transparency, fromBulb, [&](double t, int x, int y) {
                return hidden ? 1 : leftBySlab(t, glass, fromBulb(x, y), mode == "segments");
            });
        }
}

// Opaque things leave nothing but the shadow's color, wherever they stand in a row with glass.
TEST_F(ShadowModes, OpaqueObjectsEndTheRow) {
    for (const std::string mode : kModes)
        for (const double place : {-4., 2.}) {
            SCOPED_TRACE(fmt::format("{} {}", mode, place));
            SceneText scene = lit(bulb(", \"shadowColor\" .25 .25 .25"), mode);
            addSlab(scene, "glass", -1.5, shadow({}));
            scene.elements += group("block_m", shining(0)) + wall("block", place, "block_m", 1000, "visible off");
            scene.members += " \"block\"";
            expectLight(scene, {.25, .25, .25}, fromBulb, [](double t, int, int) { return t; });
        }
}

}  // namespace
}  // namespace rendertest
