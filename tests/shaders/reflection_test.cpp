/* What mirrors send out, and what they take back: directions, limits, surroundings in place of rays, passes, bumps; and
 * the media that refracted rays travel in. */
#include <algorithm>
#include <cmath>

#include "gloss_scene.h"
#include "specular_models.h"

namespace {

using twin::renderer;

class Mirror : public GlossTest {
protected:
    std::vector<miVector> rays, looks; /* reflected rays; directions in which the environment was asked */
    miTag hit = 5;
    bool hasEnvironment = false;
    GlossWords half = GlossWords().scalar(gloss::kReflectivity, 0.5f).color(gloss::kReflectedColor, 1, 0.5f, 0);

    Mirror() {
        renderer().tracing.reflection = [this](miColor* color, miState*, const miVector* dir) {
            rays.push_back(*dir);
            for (FrameBufferInfo& each : entries()) each.slots[1].color = {0.4f, 0.2f, 0.1f, 1};
            child = stage.child(miRAY_REFLECT);
            child.instance = hit;
            state->child = &child;
            *color = {0.8f, 0.4f, 0.2f, 1};
            return miTRUE;
        };
        renderer().tracing.environment = [this](miColor* color, miState*, const miVector* dir) {
            looks.push_back(*dir);
            if (hasEnvironment) *color = {0.2f, 0.4f, 0.8f, 1};
            return static_cast<miBoolean>(hasEnvironment);
        };
        lookFrom({0.6f, 0, 0.8f});
    }

    miColor mirror(const GlossWords& words, const std::string& name = "lumoVexaPhong") {
        rays.clear();
        looks.clear();
        return shadeAs(name, words).term8;
    }

private:
    miState child{};
};

#define EXPECT_VECTOR(actual, X, Y, Z)     \
    do {                                   \
        const miVector vector = (actual);  \
        EXPECT_NEAR(vector.x, (X), 1e-6f); \
        EXPECT_NEAR(vector.y, (Y), 1e-6f); \
        EXPECT_NEAR(vector.z, (Z), 1e-6f); \
    } while (false)

TEST_F(Mirror, OfEveryMaterialIsTinted) {
    for (const char* name :
         {"lumoVexaPhong", "lumoVexaBlinn", "lumoVexaPhongE", "lumoVexaAnisotropic", "lumoVexaHairTubeShader"}) {
        EXPECT_COLOR(mirror(half, name), 0.4f, 0.1f, 0, 0.5f);
        ASSERT_EQ(rays.size(), 1u) << name;
        EXPECT_VECTOR(rays[0], -0.6f, 0, 0.8f);
        for (const GlossWords& dark : {GlossWords(half).scalar(gloss::kReflectivity, 0),
                                       GlossWords(half).color(gloss::kReflectedColor, 9e-6f, 0, 9e-6f)})
            EXPECT_COLOR(mirror(dark, name), 0, 0, 0, 0);
        EXPECT_TRUE(rays.empty()) << name;
    }
    // Rougher surfaces mirror less, when they are asked to: 1 - .25.
    const GlossWords rough = GlossWords(half).own({0, 1, 1, 0.25f, 6}).integer(gloss::kOwn + 5, 1);
    EXPECT_COLOR(mirror(rough, "lumoVexaAnisotropic"), 0.6f, 0.15f, 0, 0.75f);
}

/* No ray: nothing, but for the environment, and before that a picture on the reflected color. */
TEST_F(Mirror, EndsAtItsLimits) {
    struct {
        int level, limit, depth, traceDepth;
        miBoolean trace;
        bool traces;
    } const cases[] = {{2, 3, 9, 4, 1, true},  {2, 2, 9, 4, 1, false}, {2, 3, 2, 4, 1, false}, {2, 3, 9, 2, 1, false},
                       {2, 3, 9, 4, 0, false}, {0, 0, 9, 4, 1, false}, {-1, 0, 9, 4, 1, true}};
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        state->reflection_level = each.level;
        stage.options.reflection_depth = each.depth;
        stage.options.trace_depth = each.traceDepth;
        stage.options.trace = each.trace;
        const GlossWords words = GlossWords(half).integer(gloss::kLimit, each.limit);
        hasEnvironment = false;
        EXPECT_FLOAT_EQ(mirror(words).r, each.traces ? 0.4f : 0);
        EXPECT_EQ(rays.size(), each.traces ? 1u : 0u);
        hasEnvironment = true;
        EXPECT_FLOAT_EQ(mirror(words).r, each.traces ? 0.4f : 0.1f);
        if (each.traces) continue;
        ASSERT_EQ(looks.size(), 1u);
        EXPECT_VECTOR(looks[0], -0.6f, 0, 0.8f);
        twin::ShaderInstance<GlossWords> mapped(words);
        miColor map = {0.25f, 0.5f, 1, 1};
        mapped.connect(&mapped->words[gloss::kReflectedColor], &map);
        EXPECT_COLOR(shadeAs("lumoVexaPhong", mapped).term8, 0.125f, 0.25f, 0.5f, 0.5f);
    }
}

/* Passes of what is seen come in by color x reflectivity; surroundings are in the beauty passes, with a ray or without,
 * at every level. */
TEST_F(Mirror, HandsPassesUp) {
    usePasses({0, 5, 19, 34});
    const auto passesOf = [&](const GlossWords& words) {
        for (FrameBufferInfo& each : entries())
            for (int level = 0; level < 6; ++level) each.slots[level].contribution = {};
        mirror(words);
    };
    passesOf(half);
    EXPECT_COLOR(pass(0), 0.2f, 0.05f, 0, 2);
    EXPECT_COLOR(pass(5), 0.2f, 0.05f, 0, 1);
    EXPECT_COLOR(pass(19), 0.2f + 0.4f, 0.05f + 0.1f, 0, 2);
    hit = miNULLTAG;
    passesOf(half);
    EXPECT_FLOAT_EQ(pass(0).r, 0.4f);
    EXPECT_FLOAT_EQ(pass(34).g, 0.1f);
    EXPECT_FLOAT_EQ(pass(5).r, 0.2f);

    hasEnvironment = true;
    for (const int level : {0, 3, 4}) {
        state->reflection_level = level;
        passesOf(GlossWords(half).integer(gloss::kLimit, 0));
        EXPECT_COLOR(pass(0), 0.1f, 0.1f, 0, 2);
        EXPECT_COLOR(pass(34), 0.1f, 0.1f, 0, 2);
        EXPECT_FLOAT_EQ(pass(5).r, 0);
        EXPECT_FLOAT_EQ(pass(19).r, 0.1f);
    }

    // A buffer that shows no reflections shows no surroundings in a mirror; a closed material hands nothing up.
    state->reflection_level = 0;
    entry(0).maxReflectionLevel = 0;
    passesOf(GlossWords(half).integer(gloss::kLimit, 0));
    EXPECT_FLOAT_EQ(pass(0).r, 0);
    EXPECT_FLOAT_EQ(pass(34).r, 0.1f);
    passesOf(GlossWords(half).integer(0, 0));
    EXPECT_FLOAT_EQ(pass(5).r, 0);
}

/* With all its rays, a blurred mirror looks where a light of the same highlight would be seen: as many rays lie within
 * an angle as there is highlight within it. Rays are spread evenly over the distribution, so that few are enough. */
TEST_F(Mirror, BlursAsItsHighlight) {
    lookFrom({0, 0, 1});
    const int rayCount = 1000;
    /* Part of the rays for which a number is below a bound. */
    const auto shareOf = [&](const char* name, const GlossWords& words, auto number, double bound) {
        mirror(GlossWords(words).integer(gloss::kRays, rayCount), name);
        EXPECT_EQ(rays.size(), unsigned(rayCount));
        const auto isBelow = [&](const miVector& each) { return number(each) < bound; };
        return static_cast<double>(std::count_if(rays.begin(), rays.end(), isBelow)) / rayCount;
    };
    /* Part of a highlight, seen head on, below an angle from the mirrored ray. */
    const auto within = [](auto highlight, double bound) {
        double part = 0, all = 0;
        for (int i = 0; i < 20000; ++i) {
            const double angle = M_PI / 2 * (i + .5) / 20000, weight = highlight(std::cos(angle)) * std::sin(angle);
            all += weight;
            part += angle < bound ? weight : 0;
        }
        return part / all;
    };
    const auto angle = [](const miVector& ray) { return std::acos(std::min(double(ray.z), 1.)); };
    const auto facetAngle = [](const miVector& ray) { return std::acos(std::min(double(ray.z), 1.)) / 2; };
    const GlossWords blurred = GlossWords(half).scalar(gloss::kBlur, 1);
    for (const double bound : {.1, .25, .5}) {
        SCOPED_TRACE(bound);
        const GlossWords phong = GlossWords(blurred).own({20}),
                         soft = GlossWords(blurred).own({0.3f, 0.5f, 1, 1, 1, 1});
        EXPECT_NEAR(shareOf("lumoVexaPhong", phong, angle, bound),
                    within([](double c) { return std::pow(c, 20); }, bound), .004);
        const auto softShape = [](double c) {
            return specular::phongE({0, 0, 1}, {std::sqrt(1 - c * c), 0, c}, 1, .3, .5);
        };
        EXPECT_NEAR(shareOf("lumoVexaPhongE", soft, angle, bound), within(softShape, bound), .004);
        // Facets count by the area that they show to above. Those steeper than 45 degrees mirror down, and the surface
        // sends their rays up again.
        const auto facets = [](double c) { return c * std::pow(.09 / (1 - .91 * c * c), 2); };
        EXPECT_NEAR(shareOf("lumoVexaBlinn", GlossWords(blurred).own({0.3f, 0.7f}), facetAngle, bound),
                    within(facets, bound) + 1 - within(facets, M_PI / 2 - bound), .004);
        // Half as blurred: half the angles.
        EXPECT_NEAR(shareOf("lumoVexaPhong", GlossWords(phong).scalar(gloss::kBlur, 0.5f), angle, bound / 2),
                    within([](double c) { return std::pow(c, 20); }, bound), .004);
        // Disc of radius .5 at distance 1.
        EXPECT_NEAR(shareOf("lumoVexaHairTubeShader", GlossWords(half).scalar(gloss::kBlur, 0.5f), angle, bound),
                    std::min(1., std::pow(std::tan(bound) / .5, 2)), .004);
    }
    miVector derivs[5] = {{1, 0, 0}, {0, 1, 0}};
    state->derivs = derivs;
    // Slopes of the brushed surface, .04 x 2 wide along x and .04 / 2 along y: half of them are within that ellipse.
    const auto ellipse = [](const miVector& r) { return std::hypot(r.x / .08, r.y / .02) / (1 + r.z); };
    EXPECT_NEAR(shareOf("lumoVexaAnisotropic", GlossWords(blurred).own({0, 4, 1, 0.2f, 6}), ellipse, 1), .5, .004);
}

TEST_F(Mirror, BlursWithItsRays) {
    usePasses({5});
    const GlossWords blurred = GlossWords(half).scalar(gloss::kBlur, 1).own({2}).integer(gloss::kRays, 16);
    EXPECT_FLOAT_EQ(mirror(blurred).r, 0.4f) << "the mean of the rays";
    EXPECT_EQ(rays.size(), 16u);
    EXPECT_NEAR(pass(5).r, 0.2f, 1e-6f) << "and of their passes";
    for (const miVector& each : rays) EXPECT_GT(each.z, 0) << "none into the surface";
    state->reflection_level = 1;
    mirror(blurred);
    EXPECT_EQ(rays.size(), 1u) << "of mirrors in mirrors";
    state->reflection_level = 0;
    mirror(GlossWords(blurred).scalar(gloss::kBlur, 0));
    EXPECT_EQ(rays.size(), 1u);
}

/* A bump tilts everything that the surface does, and leaves the state as it was. The normal is (.6 0 .8) here. */
TEST_F(Mirror, BumpsTurnAllTerms) {
    lookFrom({0, 0, 1});
    addLight();
    std::vector<miVector> refracted;
    miVector gathered{};
    renderer().tracing.refraction = [&](miColor*, miState*, const miVector* dir) {
        return refracted.push_back(*dir), 1;
    };
    renderer().lighting.averageRadiance = [&](miColor*, miState* at, miUchar, miIrrad_options*) {
        gathered = at->normal;
        return miTRUE;
    };
    stage.options.finalgather = 1;
    miVector bump = {0.6f, 0, 0.8f};
    GlossWords words = GlossWords(half).scalar(gloss::kDiffuse, 1).own({1}).color(7, 0.5f, 0.5f, 0.5f);
    words.integer(14, 1).scalar(15, 1).integer(48, 9).color(43, 1, 1, 1);
    twin::ShaderInstance<GlossWords> shader(words);
    shader.connect(&shader->words[gloss::kNormalCamera], &bump);
    shadeAs("lumoVexaPhong", shader);
    EXPECT_FLOAT_EQ(result.term3.r, 0.8f);  // diffuse
    // 2 (n . v) n - v = 1.6 n - v = (.96 0 .28): the mirrored ray, and the highlight of power 1 for light from above.
    EXPECT_NEAR(result.term6.r, 0.28f, 1e-6f);
    ASSERT_EQ(rays.size(), 1u);
    EXPECT_VECTOR(rays[0], 0.96f, 0, 0.28f);
    EXPECT_VECTOR(gathered, 0.6f, 0, 0.8f);
    ASSERT_EQ(refracted.size(), 1u);
    EXPECT_VECTOR(refracted[0], 0, 0, -1);
    EXPECT_EQ(state->normal.z, 1);
    EXPECT_EQ(state->dot_nd, -1);

    // A steep bump mirrors into the surface, (.96 0 -.28): the true surface sends the ray back.
    bump = {0.8f, 0, 0.6f};
    state->normal_geom = {0, 0, 1};
    rays.clear();
    shadeAs("lumoVexaPhong", shader);
    ASSERT_EQ(rays.size(), 1u);
    EXPECT_VECTOR(rays[0], 0.96f, 0, 0.28f);
}

/* The ray's way through solids, as its states tell it: each hit crosses one boundary of a solid 1, 2 ..., entering (+)
 * or leaving (-). The last one is asked for the indices on both sides. Solid k has the index 1 + k / 10. */
class Media : public GlossTest {
protected:
    std::pair<miScalar, miScalar> last(const std::vector<int>& way, int mirroredAt = -1) {
        std::pair<miScalar, miScalar> indices;
        states.assign(way.size() + 1, *state);
        hitNumber(0, way, mirroredAt, indices);
        EXPECT_EQ(states[0].ior, state->ior) << "as it was";
        return indices;
    }

private:
    void hitNumber(std::size_t i, const std::vector<int>& way, int mirroredAt, std::pair<miScalar, miScalar>& indices) {
        miState& here = states[i];
        here.material = static_cast<miTag>(std::abs(way[i]));
        here.inv_normal = way[i] < 0;
        here.dir = {0, 0, -1};
        const bool mirrors = static_cast<int>(i) == mirroredAt;
        const auto next = [&, mirrors](miColor*, miState* from, const miVector*) {
            indices = {from->ior_in, from->ior};
            if (i + 1 == way.size()) return miTRUE;
            miState& ray = states[i + 1] = *from;
            ray.parent = from;
            ray.type = mirrors ? miRAY_REFLECT : miRAY_REFRACT;
            ++(mirrors ? ray.reflection_level : ray.refraction_level);
            hitNumber(i + 1, way, mirroredAt, indices);
            return miTRUE;
        };
        if (mirrors) {
            next(nullptr, &here, nullptr);
            return;
        }
        renderer().tracing.refraction = next;
        RefractionSettings settings{};
        settings.refractions = miTRUE;
        settings.refractiveIndex = 1 + 0.1f * static_cast<miScalar>(here.material);
        settings.refractionLimit = 100;
        settings.transparency = kWhite;
        miColor color;
        library::compute_refraction(&color, &here, &settings, nullptr, 0, nullptr);
    }

    static constexpr miColor kWhite = {1, 1, 1, 1};
    std::vector<miState> states;
};

TEST_F(Media, AreKnownFromTheWay) {
    stage.options.trace_depth = stage.options.refraction_depth = 100;
    struct {
        const char* what;
        std::vector<int> way;
        float from, to;
        int mirroredAt = -1;
    } const cases[] = {
        {"into a solid", {1}, 1, 1.1f},
        {"out of it", {1, -1}, 1.1f, 1},
        {"out, when the way began inside", {-1}, 1.1f, 1},
        {"into a solid in it", {1, 2}, 1.1f, 1.2f},
        {"out of that", {1, 2, -2}, 1.2f, 1.1f},
        {"out of both", {1, 2, -2, -1}, 1.1f, 1},
        {"out of one of its own kind", {1, 1, -1}, 1.1f, 1.1f},
        {"out of both of a kind", {1, 1, -1, -1}, 1.1f, 1},
        {"a second solid behind", {1, -1, 2, -2}, 1.2f, 1},
        {"out of a glass that its liquid reaches into", {1, 2, -1}, 1.2f, 1.2f},
        {"back into the glass", {1, 2, -1, 1}, 1.2f, 1.1f},
        {"out of the liquid within the glass", {1, 2, -1, 1, -2}, 1.1f, 1.1f},
        {"out of it all", {1, 2, -1, 1, -2, -1}, 1.1f, 1},
        {"after a mirror on its outside", {1, 2, -2}, 1.2f, 1, 0},
        {"after a mirror on its inside", {1, -1, -1}, 1.1f, 1, 1},
    };
    for (const auto& each : cases) {
        const auto [from, to] = last(each.way, each.mirroredAt);
        EXPECT_FLOAT_EQ(from, each.from) << each.what;
        EXPECT_FLOAT_EQ(to, each.to) << each.what;
    }
}

}  // namespace
