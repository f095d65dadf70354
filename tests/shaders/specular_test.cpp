/* Highlights over many directions and parameters, against the same models in double precision. */
#include <algorithm>
#include <cmath>
#include <numbers>

#include "gloss_scene.h"
#include "specular_models.h"

namespace {

using specular::Vec;

/* Numbers and directions of a fixed sequence. */
class Draws {
public:
    miScalar between(miScalar low, miScalar high) {
        return std::uniform_real_distribution<miScalar>(low, high)(random_);
    }
    miVector direction(miScalar lowest) {
        const miScalar z = between(lowest, 1), angle = between(0, 2 * std::numbers::pi_v<miScalar>);
        const miScalar r = std::sqrt(1 - z * z);
        return {r * std::cos(angle), r * std::sin(angle), z};
    }
    template <class T>
    T oneOf(std::initializer_list<T> values) {
        return values.begin()[random_() % values.size()];
    }

private:
    std::mt19937 random_{7};
};

/* The largest of many differences, as part of the expected value, or of a hundredth for darker ones. */
struct Deviation {
    double largest = 0;
    int cases = 0, lit = 0;

    void take(double value, double expected) {
        ++cases;
        lit += expected > 0;
        const double off = std::abs(value - expected) / std::max(std::abs(expected), 0.01);
        largest = off > largest || std::isnan(off) ? off : largest;
    }
    void expectBelow(double bound) const {
        ::testing::Test::RecordProperty("deviation", std::to_string(largest));
        EXPECT_LT(largest, bound);
        EXPECT_GE(cases, 5000);
        EXPECT_GT(lit, cases / 10);
    }
};

/* Rays and scales of the highlight, and what is seen of it. */
struct Seen {
    miRay_type type;
    miScalar scale, factor;
};
constexpr std::initializer_list<Seen> kSeen = {
    {miRAY_EYE, 0.25f, 1}, {miRAY_EYE, 0, 1},      {miRAY_EYE, -1, 1},        {miRAY_REFLECT, 0.25f, 0.25f},
    {miRAY_REFLECT, 0, 0}, {miRAY_REFRACT, -1, 0}, {miRAY_TRANSPARENT, 2, 2}, {miRAY_FINALGATHER, 1, 1}};

class Specular : public GlossTest {
protected:
    Specular() {
        facingTest = false;
        addLight();
        stage.options.trace = miFALSE;
    }

    /* The highlight of a material, of which red is 1. */
    miScalar shine(const std::string& name, const GlossWords& words, const miVector& light, const miVector& view) {
        lookFrom(view);
        lights[0].direction = light;
        return shadeAs(name, words).term6.r;
    }
    static Vec mirrorOf(const Vec& view) { return {-view.x, -view.y, view.z}; }

    Draws draw;
    Deviation deviation;
};

TEST_F(Specular, Phong) {
    for (int i = 0; i < 6000; ++i) {
        const miVector light = draw.direction(-0.3f), view = draw.direction(0.02f);
        const miScalar power = draw.oneOf({0.0f, 1.0f, 3.5f, 20.0f, 90.0f}), length = draw.oneOf({1.0f, 3.0f});
        const miVector far = {length * light.x, length * light.y, length * light.z}, r = {-view.x, -view.y, view.z};
        const Seen seen = draw.oneOf(kSeen);
        state->type = seen.type;
        const miScalar value = library::compute_phong_specular(&r, power, seen.scale, &far, state);
        deviation.take(value, seen.factor * specular::phong(r, power, far));
        const GlossWords words = GlossWords().scalar(gloss::kSecondaryScale, seen.scale).own({power});
        EXPECT_EQ(shine("lumoVexaPhong", words, far, view), light.z > 0 ? value : 0);
    }
    deviation.expectBelow(1e-4);
}

TEST_F(Specular, Blinn) {
    const miVector n = {0, 0, 1};
    for (int i = 0; i < 6000; ++i) {
        const miVector light = draw.direction(-0.3f), view = draw.direction(0.02f);
        const miScalar e = draw.oneOf({0.1f, 0.3f, 0.7f, 0.999998f, 1.0f, 1.5f}), rollOff = draw.between(0, 1);
        const Seen seen = draw.oneOf(kSeen);
        state->type = seen.type;
        lookFrom(view);
        const miScalar value =
            library::compute_blinn_specular(light.z, view.z, &light, e, rollOff, seen.scale, &n, state);
        deviation.take(value, seen.factor * specular::blinn(n, light, view, e, rollOff));
        const GlossWords words = GlossWords().scalar(gloss::kSecondaryScale, seen.scale).own({e, rollOff});
        EXPECT_EQ(shine("lumoVexaBlinn", words, light, view), light.z > 0 ? value : 0);
    }
    deviation.expectBelow(1e-3);
}

TEST_F(Specular, HairTube) {
    for (int i = 0; i < 6000; ++i) {
        const miVector a = draw.direction(-1), b = draw.direction(-1), tangent = draw.direction(-1);
        const miScalar power = draw.oneOf({0.0f, 0.5f, 3.0f, 40.0f});
        deviation.take(library::compute_hairtubeshader_specular(power, &a, &b, &tangent),
                       specular::hair(power, a, b, tangent));
    }
    deviation.expectBelow(1e-4);

    // The two ends of the fall-off; rounding must not lead past them.
    const miVector t = {0.6f, 0, 0.8f}, back = {-0.6f, 0, -0.8f}, beyond = {-0.60000002f, 0, -0.80000001f};
    EXPECT_EQ(library::compute_hairtubeshader_specular(30, &t, &t, &t), 1);
    for (const miVector& each : {back, beyond})
        EXPECT_NEAR(library::compute_hairtubeshader_specular(0.5f, &t, &each, &t), 0, 1e-3);
}

TEST_F(Specular, PhongE) {
    for (int i = 0; i < 6000; ++i) {
        const miVector light = draw.direction(-0.1f), view = draw.direction(0.02f);
        const miScalar roughness = draw.oneOf({0.0f, 0.05f, 0.4f, 1.0f, 5.0f}),
                       highlight = draw.oneOf({0.0f, 0.2f, 1.0f, 2.0f});
        const Seen seen = draw.oneOf(kSeen);
        state->type = seen.type;
        const GlossWords words =
            GlossWords().scalar(gloss::kSecondaryScale, seen.scale).own({roughness, highlight, 1, 1, 1, 1});
        const double model = specular::phongE(mirrorOf(view), light, light.z, roughness, highlight);
        deviation.take(shine("lumoVexaPhongE", words, light, view), light.z > 0 ? seen.factor * model : 0);
    }
    deviation.expectBelow(1e-3);
}

/* Widths are roughness^2 x and / sqrt(spreadX / spreadY), along u turned by the angle. */
TEST_F(Specular, Anisotropic) {
    miVector derivs[5] = {{2, 0, 0}, {0.5f, 3, 0}};
    state->derivs = derivs;
    for (int i = 0; i < 6000; ++i) {
        const miVector light = draw.direction(-0.1f), view = draw.direction(0.02f);
        const miScalar angle = draw.oneOf({0.0f, 30.0f, -135.0f}), x = draw.oneOf({1.0f, 9.0f}),
                       y = draw.oneOf({1.0f, 4.0f});
        const miScalar roughness = draw.oneOf({0.3f, 0.6f, 1.0f}), index = draw.oneOf({1.2f, 6.0f});
        const Seen seen = draw.oneOf(kSeen);
        state->type = seen.type;
        const GlossWords words =
            GlossWords().scalar(gloss::kSecondaryScale, seen.scale).own({angle, x, y, roughness, index});

        const double turn = angle * std::numbers::pi / 180, c = std::cos(turn), s = std::sin(turn);
        const auto inGrain = [&](const Vec& w) { return Vec(c * w.x + s * w.y, c * w.y - s * w.x, w.z); };
        const double ratio = std::sqrt(double(x) / y), m = double(roughness) * roughness;
        const double model = specular::anisotropic(inGrain(light), inGrain(view), m * ratio, m / ratio, index);
        deviation.take(shine("lumoVexaAnisotropic", words, light, view), seen.factor * model);
    }
    deviation.expectBelow(1e-3);
}

/* Light and eye may change places: what is seen per light that falls on the surface stays the same. */
TEST_F(Specular, AnisotropicIsReciprocal) {
    const GlossWords words = GlossWords().own({20, 7, 2, 0.5f, 3});
    for (int i = 0; i < 5000; ++i) {
        const miVector light = draw.direction(0.02f), view = draw.direction(0.02f);
        deviation.take(shine("lumoVexaAnisotropic", words, light, view) / light.z,
                       shine("lumoVexaAnisotropic", words, view, light) / view.z);
    }
    deviation.expectBelow(1e-4);
}

/* What a surface shows of white surroundings: the mean of its highlight over the directions, over pi as for diffuse
 * light. The facets of the anisotropic surface never show more than there is, even when each reflects all light. */
TEST_F(Specular, EnergyOfWhiteSurroundings) {
    constexpr int kRings = 120, kSectors = 60;
    const auto energy = [&](const std::string& name, const GlossWords& words, const miVector& view) {
        double sum = 0;
        for (int ring = 0; ring < kRings; ++ring)
            for (int sector = 0; sector < kSectors; ++sector) {
                // Rings of even solid angle.
                const double z = (ring + .5) / kRings, r = std::sqrt(1 - z * z),
                             a = 2 * M_PI * (sector + .5) / kSectors;
                const miVector light = {float(r * std::cos(a)), float(r * std::sin(a)), float(z)};
                sum += shine(name, words, light, view);
            }
        return 2 * sum / (kRings * kSectors);
    };
    struct {
        const char* name;
        GlossWords words;
        double bound; /* 0: claims none */
    } const cases[] = {
        {"lumoVexaAnisotropic", GlossWords().own({0, 4, 1, 0.5f, 1e30f}), 1.001},
        {"lumoVexaAnisotropic", GlossWords().own({45, 1, 1, 1, 1e30f}), 1.001},
        {"lumoVexaAnisotropic", GlossWords().own({0, 1, 3, 0.8f, 1.5f}), 1.001},
        {"lumoVexaPhong", GlossWords().own({20}), 0},
        {"lumoVexaPhongE", GlossWords().own({0.5f, 0.5f, 1, 1, 1, 1}), 0},
        {"lumoVexaBlinn", GlossWords().own({0.3f, 0.7f}), 0},
        {"lumoVexaHairTubeShader", GlossWords().own({0, 40, 0, 0, 0, 0, 0, 15}), 0},
    };
    int number = 0;
    for (const auto& each : cases) {
        double most = 0;
        for (const miScalar slope : {0.0f, 0.5f, 0.8f, 0.95f}) {
            const miVector view = {slope, 0, std::sqrt(1 - slope * slope)};
            most = std::max(most, energy(each.name, each.words, view));
        }
        RecordProperty("energy_" + std::to_string(number++) + each.name, std::to_string(most));
        EXPECT_GT(most, 0.01) << each.name;
        EXPECT_LE(most, each.bound > 0 ? each.bound : INFINITY) << each.name;
    }
}

/* What looks like a mistake and is meant, where the grids above are too coarse to see it. */
TEST_F(Specular, KeepsItsOddities) {
    const miVector up = {0, 0, 1}, grazing = {1, 0, 1e-6f}, slant = {0.6f, 0, 0.8f};
    state->type = miRAY_EYE;
    lookFrom(up);

    // A highlight has a floor up to a right angle, and none behind it.
    EXPECT_EQ(library::compute_phong_specular(&up, 1000, 1, &slant, state), 4.54e-5f);
    EXPECT_EQ(library::compute_phong_specular(&up, 1000, 1, &grazing, state), 4.54e-5f);
    EXPECT_EQ(library::compute_phong_specular(&up, 0, 1, &grazing, state), 1);
    EXPECT_EQ(library::compute_phong_specular(&up, 20, 1, &state->dir, state), 0);

    // e = 1, and just below it: D = 100001 / (nh^2 + 100000), with nh^2 = .9 for this light. Here g = 1, and F = 1.
    const double d = 100001 / 100000.9;
    for (const miScalar e : {1.0f, 0.999998f})
        EXPECT_NEAR(library::compute_blinn_specular(0.8f, 1, &slant, e, 1, 1, &up, state), d * d, 4.8e-7) << e;

    // The middle of a highlight of next to no roughness: q is that roughness, and 0 rather than 1 is seen.
    EXPECT_EQ(shine("lumoVexaPhongE", GlossWords().own({5e-6f, 1, 1, 1, 1, 1}), up, up), 0);
    EXPECT_NEAR(shine("lumoVexaPhongE", GlossWords().own({2e-5f, 1, 1, 1, 1, 1}), up, up), 1, 5e-3);
}

/* At the peak a highlight is 1 times the share head on, however narrow; rounding leads past it. PhongE's then has an
 * end before it begins. */
TEST_F(Specular, WithoutWidth) {
    const miVector up = {0, 0, 1}, above = {0, 0, 1.0000001f}, slant = {0.6f, 0, 0.8f};
    state->type = miRAY_EYE;
    lookFrom(up);
    for (const miScalar e : {0.0f, 1e-4f, 3.5e-4f, 5e-4f})
        for (const miVector& n : {up, above})
            EXPECT_NEAR(library::compute_blinn_specular(1, 1, &up, e, 0.7f, 1, &n, state), 0.7f, 1e-6f) << e << n.z;
    EXPECT_EQ(library::compute_blinn_specular(0.8f, 1, &slant, 0, 0.7f, 1, &up, state), 0);

    const GlossWords none = GlossWords().own({0.5f, 0, 1, 1, 1, 1});
    EXPECT_EQ(shine("lumoVexaPhongE", none, {-0.6f, 0, 0.8000001f}, {0.6f, 0, 0.8000001f}), 0);
}

/* Of an area light the mirror finds the best direction, also at the edge of one that lies wholly behind the surface. */
TEST_F(Specular, OfAreaLightsIsInFrontOnly) {
    const miVector above[4] = {{3, 1, -4}, {1, 1, -4}, {1, -1, -4}, {3, -1, -4}};
    const miVector below[4] = {{3, 1, -6}, {3, -1, -6}, {1, -1, -6}, {1, 1, -6}};
    const GlossWords phong = GlossWords().own({0}), thin = GlossWords(phong).scalar(26, 0.5f);
    facingTest = true;
    for (const bool emitsDiffuse : {true, false}) {
        lights[0].emitsDiffuse = emitsDiffuse;
        lights[0].corners = above;
        EXPECT_GT(shine("lumoVexaPhong", thin, {0.8f, 0, 0.6f}, {-0.8f, 0, 0.6f}), 0.5f);
        lights[0].corners = below;
        EXPECT_EQ(shine("lumoVexaPhong", thin, {0.8f, 0, -0.6f}, {-0.8f, 0, 0.6f}), 0);
        record[9] = 1;
        EXPECT_EQ(shine("lumoVexaPhong", phong, {0.8f, 0, -0.6f}, {-0.8f, 0, 0.6f}), 0);
        record[9] = 0;
    }
}

/* Back-lit surfaces have none; the tint reaches all four channels; PhongE's has two colors. */
TEST_F(Specular, IsTintedAndOnlyInFront) {
    const miVector up = {0, 0, 1}, slant = {0.6f, 0, 0.8f}, mirror = {-0.6f, 0, 0.8f}, behind = {-0.8f, 0, -0.6f};
    usePasses({7, 8});
    GlossWords words = GlossWords().color(gloss::kSpecularColor, 0.5f, 0.25f, 2);
    words.scalar(gloss::kSpecularColor + 3, 0.5f);
    shine("lumoVexaPhong", words.own({0}), mirror, slant);
    EXPECT_COLOR(result.term6, 0.5f, 0.25f, 2, 0.5f);
    EXPECT_FLOAT_EQ(pass(7).b, 2);
    EXPECT_FLOAT_EQ(pass(8).b, 2);
    shine("lumoVexaPhongE", words.own({1, 2, 0.5f, 2, 1, 3}), mirror, slant);
    EXPECT_COLOR(result.term6, 0.25f, 0.5f, 2, 1.5f);
    for (const char* name :
         {"lumoVexaPhong", "lumoVexaBlinn", "lumoVexaPhongE", "lumoVexaAnisotropic", "lumoVexaHairTubeShader"}) {
        shine(name, words.own({1, 1, 1, 1, 1, 1}), behind, up);
        EXPECT_COLOR(result.term6, 0, 0, 0, 0);
    }
}

/* A tube along x, lit and seen at right angles to it, but for the shifts: tilted by s, the tangent has the cosine
 * s / sqrt(1 + s^2) with light from above and with its negative with the eye's ray. */
TEST_F(Specular, TubesHaveTwo) {
    miVector derivs[5] = {{1, 0, 0}, {0, 1, 0}}, place[1] = {{0.75f, 0.25f, 0}};
    state->derivs = derivs;
    const miVector up = {0, 0, 1};
    const auto band = [](double power, double shift) {
        const double x = shift / std::sqrt(1 + shift * shift);
        return std::pow((1 - x) * (1 - x) * (1 + 2 * x), power);
    };
    GlossWords words = GlossWords().color(gloss::kSpecularColor, 1, 0, 0).own({0, 8, 0.2f, 0, 1, 0, 1, 3, 0.5f});
    shine("lumoVexaHairTubeShader", words, up, up);
    EXPECT_NEAR(result.term6.r, band(8, .2), 1e-5);
    EXPECT_NEAR(result.term6.g, band(3, .5), 1e-5);

    // At u = .75 the last half of the tube is half gone, what lies on it and what is mirrored alike; v = .25 is all
    // there.
    words.color(81, 0.5f, 1, 3).scalar(85, 0.5f).scalar(gloss::kDiffuse, 1);
    for (const miInteger direction : {0, 1}) {
        state->tex_list = place;
        words.integer(gloss::kOwn, direction);
        shine("lumoVexaHairTubeShader", words, up, up);
        const miScalar here = direction ? 1 : 0.5f, along = direction ? 0.25f : 0.75f;
        EXPECT_FLOAT_EQ(result.transparency.r, 1 - here);
        EXPECT_NEAR(result.term6.r, here * band(8, .2), 1e-5);
        EXPECT_FLOAT_EQ(result.term3.r, 1 - 0.5f * along) << "towards the tip's color";
        EXPECT_FLOAT_EQ(result.term3.b, 1 + 2 * along);
    }
}

}  // namespace
