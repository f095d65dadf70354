/* The area light: corners, the dark side, and soft shadows against integrals over its shapes. */
#include <algorithm>
#include <functional>
#include <limits>

#include "lights_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

/* Three units above the point; its space is moved there. The point's normal is up. */
class AreaLightShader : public LightShaderTest {
protected:
    AreaLightShader() {
        shader->color = {0.8f, 0.6f, 0.4f, 0.5f};
        shader->useRayTraceShadows = 1;
        shader->shadowRays = 64;
    }

    void TearDown() override {
        leave();
        LightShaderTest::TearDown();
    }

    /* Instance init with the light's state, and its end. */
    void enter() {
        leave();
        light.shader = &shader.function();
        miBoolean unused = 0;
        entry.init(&light, shader.parameters(), &unused);
        entered = true;
    }
    void leave() {
        light.shader = &shader.function();
        if (entered) entry.exit(&light, shader.parameters());
        entered = false;
    }
    miBoolean call() {
        if (!entered) enter();
        return LightShaderTest::call("lumoVexaAreaLight", shader);
    }

    void answerRectangle(const miVector& u, const miVector& v) {
        renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_RECTANGLE));
        renderer().queries.answer(miQ_LIGHT_AREA_R_EDGE_U, u);
        renderer().queries.answer(miQ_LIGHT_AREA_R_EDGE_V, v);
    }
    void answerDisc(const miVector& normal, miScalar radius) {
        renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_DISC));
        renderer().queries.answer(miQ_LIGHT_AREA_D_NORMAL, normal);
        renderer().queries.answer(miQ_LIGHT_AREA_D_RADIUS, radius);
    }
    void answerSphere(miScalar radius) {
        renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_SPHERE));
        renderer().queries.answer(miQ_LIGHT_AREA_S_RADIUS, radius);
    }
    void answerCylinder(const miVector& axis, miScalar radius) {
        renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_CYLINDER));
        renderer().queries.answer(miQ_LIGHT_AREA_C_AXIS, axis);
        renderer().queries.answer(miQ_LIGHT_AREA_C_RADIUS, radius);
    }

    /* Irradiance factor by the corners that the light leaves, over the textbook's form factor: 10 pi. */
    double formFactor() {
        const auto* corners = static_cast<const miVector*>(data().corners);
        return static_cast<double>(library::arealight_lambertian_reflect(&light.point, &light.normal, corners)) /
               (10 * 180 * kDegree);
    }

    twin::ShaderInstance<PointParameters> shader;
    twin::ShaderEntry<PointParameters, miColor> entry{"lumoVexaAreaLight"};
    bool entered = false;
};

/* Of a rectangle 2a x 2b above the point at distance 1: four times that of a quarter,
 * 1 / (2 pi) (a / A atan(b / A) + b / B atan(a / B)) with A = sqrt(1 + a^2), B = sqrt(1 + b^2). */
double formFactorOf(double a, double b) {
    const double A = std::sqrt(1 + a * a), B = std::sqrt(1 + b * b);
    return 4 / (360 * kDegree) * (a / A * std::atan(b / A) + b / B * std::atan(a / B));
}

TEST_F(AreaLightShader, OfARectangleLeavesCornersForTheClosedForm) {
    shader->useRayTraceShadows = 0;
    for (const auto& [a, b] : {std::pair(1.0, 1.0), std::pair(0.5, 3.0), std::pair(0.01, 0.02)}) {
        const miScalar width = static_cast<miScalar>(6 * a), depth = static_cast<miScalar>(6 * b);
        answerRectangle({width, 0, 0}, {0, 0, depth});  // x cross z points down
        enter();
        EXPECT_EQ(call(), miTRUE);
        EXPECT_COLOR(result, 0.8f, 0.6f, 0.4f, 0.5f);
        EXPECT_EQ(data().corners, record + 36) << "in the record, so that they outlive the call";
        EXPECT_NEAR(formFactor(), formFactorOf(a, b), 1e-4 * formFactorOf(a, b));
        // Nothing from its dark side.
        answerRectangle({0, 0, depth}, {width, 0, 0});
        enter();
        EXPECT_EQ(call(), miFALSE);
        // Unless its space turns it over by mirroring.
        renderer().spaces.light.m[5] = -1, renderer().spaces.light.m[13] = 3;
        EXPECT_EQ(call(), miTRUE);
        EXPECT_NEAR(formFactor(), formFactorOf(a, b), 1e-4 * formFactorOf(a, b));
        renderer().spaces.light.m[5] = 1, renderer().spaces.light.m[13] = -3;
    }

    // The light space mirrors x: edges and normal go along, and the corners still turn the right way.
    answerRectangle({6, 0, 0}, {0, 0, 6});
    renderer().spaces.light.m[0] = -1;
    enter();
    EXPECT_EQ(call(), miTRUE);
    EXPECT_NEAR(formFactor(), formFactorOf(1, 1), 1e-4);

    // Without a shape it is the square from -1 to 1 that looks along -z; here twice as large, two away.
    renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_NONE));
    place({0, 0, 0}, {0, 0, -2});
    light.normal = {0, 0, 1};
    renderer().spaces.light = twin::Matrix::scale(0.5f, 0.5f, 0.5f);
    enter();
    EXPECT_EQ(call(), miTRUE);
    EXPECT_NEAR(formFactor(), formFactorOf(1, 1), 1e-4);
    place({0, 0, 0}, {0, 0, 2});
    EXPECT_EQ(call(), miFALSE);

    for (const bool sphere : {true, false}) {
        sphere ? answerSphere(1) : answerDisc({0, 0, 1}, 1);
        enter();
        data().corners = this;
        EXPECT_EQ(call(), miTRUE);
        EXPECT_EQ(data().corners, nullptr);
    }
}

TEST_F(AreaLightShader, TellsWhenItCannotKnowItsShape) {
    const char* const text = "vexa_arealight(): Cannot access shape data!";
    const auto expectPoint = [&](int messages, const char* what) {
        enter();
        EXPECT_EQ(renderer().messageCount("warning", text), messages) << what;
        renderer().tracing.shadow = [](miColor*, miState* called) { return called->dist == 3 ? miTRUE : miFALSE; };
        EXPECT_EQ(call(), miTRUE) << what;
        EXPECT_EQ(data().corners, nullptr) << what;
        EXPECT_FLOAT_EQ(result.r, 0.8f) << what;
    };
    expectPoint(1, "no answer");
    renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_OBJECT));
    expectPoint(2, "an object");
    renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_RECTANGLE));
    expectPoint(3, "a rectangle without edges");

    // Renderers that initialise shaders before they know whose they are: the shape is asked for at each call. So it is
    // where two lights share a shader.
    const miTag tag = light.light_instance;
    light.light_instance = miNULLTAG;
    enter();
    EXPECT_EQ(renderer().messageCount("warning", text), 3);
    for (const miTag each : {tag, renderer().database.addInstance(miNULLTAG)}) {
        light.light_instance = each;
        answerRectangle({2, 0, 0}, {0, 0, 2});
        EXPECT_EQ(call(), miTRUE);
        EXPECT_NE(data().corners, nullptr);
    }
    EXPECT_EQ(renderer().messageCount("warning", text), 3);
    // Then it is told once, and not at each call.
    renderer().queries.answer(miQ_LIGHT_AREA, static_cast<miInteger>(miLIGHT_OBJECT));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(call(), miTRUE);
    EXPECT_EQ(renderer().messageCount("warning", text), 4);
}

/* ---- Soft shadows. A curtain hangs at height 1 and hides what lies before the line x + tilt (z + 5) = edge. */

struct Curtain {
    double edge, tilt;

    /* Whether it stands between the point at (0, 0, -5) and a place on the light. */
    bool hides(double x, double y, double z) const { return (x + tilt * (z + 5)) / y < edge; }
};

struct ShapeCase {
    const char* name;
    std::function<void()> answer;
    std::function<double(const Curtain&)> hidden; /* share of the light */
};

constexpr int kSteps = 2000;
constexpr miColor kNothing = {0, 0, 0, 0};

/* Mean of a function over the middles of steps from 0 to 1. */
double mean(const std::function<double(double)>& f) {
    double sum = 0;
    for (int i = 0; i < kSteps; ++i) sum += f((i + 0.5) / kSteps) / kSteps;
    return sum;
}

/* Share of the interval from -1 to 1 below x. */
double below(double x) { return std::clamp((x + 1) / 2, 0.0, 1.0); }

class AreaShadow : public AreaLightShader {
protected:
    AreaShadow() {
        renderer().tracing.shadow = [this](miColor* ray, miState* called) {
            ++rays;
            const bool blocked = curtain.hides(static_cast<double>(called->org.x), static_cast<double>(called->org.y),
                                               static_cast<double>(called->org.z));
            *ray = blocked ? miColor{0, 0, 0, 0} : miColor{1, 1, 1, 1};
            return blocked ? miFALSE : miTRUE;
        };
    }

    /* The measured share, over many pixels: root of the mean square of its error. */
    double error(double expected, miInteger samples) {
        shader->shadowRays = samples;
        double squared = 0;
        constexpr int kPixels = 256;
        for (int k = 0; k < kPixels; ++k) {
            light.raster_x = static_cast<miScalar>(k);
            EXPECT_EQ(call(), miTRUE);
            squared += std::pow(static_cast<double>(data().blocked) - expected, 2) / kPixels;
        }
        return std::sqrt(squared);
    }

    Curtain curtain{0.1, 0.5};
    int rays = 0;
};

TEST_F(AreaShadow, ConvergesToTheIntegralOverTheShape) {
    // All by integration over the middles of strips of the light, seen from the point: of equal area on rectangle and
    // disc, rings of equal solid angle on the sphere, of equal angle on the cylinder. The other direction is exact.
    const ShapeCase cases[] = {
        {"rectangle", [&] { answerRectangle({2, 0, 0}, {0, 0, 2}); },
         [](const Curtain& c) { return mean([&](double s) { return below(3 * c.edge - c.tilt * (2 * s - 1)); }); }},
        // A disc of radius 1 hides what lies beyond a line at distance d: (acos d - d sqrt(1 - d^2)) / pi
        {"disc", [&] { answerDisc({0, -1, 0}, 1); },
         [](const Curtain& c) {
             const double d = 3 * c.edge / std::hypot(1, c.tilt);
             return 1 - (std::acos(d) - d * std::sqrt(1 - d * d)) / (180 * kDegree);
         }},
        // Directions at the angle t from the straight one: tan t cos(phi) sqrt(1 + tilt^2) < edge
        {"sphere", [&] { answerSphere(1); },
         [](const Curtain& c) {
             const double least = std::sqrt(8.0) / 3;  // cosine at the rim of a sphere of radius 1 at distance 3
             return mean([&](double s) {
                 const double cosine = 1 - s * (1 - least), tangent = std::sqrt(1 - cosine * cosine) / cosine;
                 const double at = std::clamp(c.edge / tangent / std::hypot(1, c.tilt), -1.0, 1.0);
                 return 1 - std::acos(at) / (180 * kDegree);
             });
         }},
        // Along z, radius .5, from z = -6 to -4. At the angle t the near side is 3 cos t - sqrt(.25 - 9 sin^2 t) away.
        {"cylinder", [&] { answerCylinder({0, 0, 2}, 0.5f); },
         [](const Curtain& c) {
             return mean([&](double s) {
                 const double t = (2 * s - 1) * std::asin(0.5 / 3), sine = std::sin(t);
                 const double way = 3 * std::cos(t) - std::sqrt(0.25 - 9 * sine * sine);
                 const double x = way * sine, y = way * std::cos(t);
                 return below((c.edge * y - x) / c.tilt);
             });
         }},
    };
    for (const ShapeCase& shape : cases) {
        shape.answer();
        enter();
        const double expected = shape.hidden(curtain), few = error(expected, 64), many = error(expected, 1024);
        const double random = std::sqrt(expected * (1 - expected) / 64);  // of 64 independent rays
        RecordProperty(shape.name, std::to_string(few) + " at 64, " + std::to_string(many) + " at 1024");
        // An edge across the samples: n^(-3/4), so an eighth at 16 times as many; independent rays a quarter.
        EXPECT_LT(few, 0.4 * random) << shape.name;
        EXPECT_LT(many, few / 6) << shape.name;
    }
    EXPECT_EQ(rays, 4 * 256 * (64 + 1024));
}

TEST_F(AreaShadow, RaysLeaveTheSurfaceThatThePointSees) {
    // Spaces that turn, stretch and shift take the shape along.
    const miMatrix turned = {0, 0.5f, 0, 0, -0.5f, 0, 0, 0, 0, 0, 1, 0, 1.5f, 0, 5, 1};
    std::copy_n(turned, 16, renderer().spaces.light.m);
    renderer().queries.answer(miQ_LIGHT_ORIGIN, miVector{0.25f, 0, 0});
    const auto local = [&](const miVector& p) { return twin::transformPoint(p, turned); };
    std::function<void(const miVector&)> expect;
    miVector sum = {0, 0, 0};
    renderer().tracing.shadow = [&](miColor*, miState* called) {
        const miVector& o = called->org;
        const miScalar d = static_cast<miScalar>(called->dist);
        EXPECT_NEAR(o.x + called->dir.x * d, called->point.x, 1e-5);
        EXPECT_NEAR(o.y + called->dir.y * d, called->point.y, 1e-5);
        const miVector p = local(o);
        expect({p.x - 0.25f, p.y, p.z});
        sum = {sum.x + p.x - 0.25f, sum.y + p.y, sum.z + p.z};
        return miTRUE;
    };
    const auto run = [&](miScalar middle) {
        sum = {0, 0, 0};
        enter();
        EXPECT_EQ(call(), miTRUE);
        for (const miScalar each : {sum.x, sum.y, sum.z}) EXPECT_LE(std::fabs(each / 64), middle);
    };
    miVector from = local(light.point);
    from.x -= 0.25f;
    answerRectangle({0.5f, 0, 0}, {0, 0, 1});
    if (call() == miFALSE) answerRectangle({0, 0, 1}, {0.5f, 0, 0});
    expect = [](const miVector& p) {
        EXPECT_NEAR(p.y, 0, 1e-6);
        EXPECT_LE(std::fabs(p.x), 0.25f + 1e-6f);
        EXPECT_LE(std::fabs(p.z), 0.5f + 1e-6f);
    };
    run(0.02f);
    expect = [&](const miVector& p) {
        EXPECT_NEAR(p.x * p.x + p.y * p.y + p.z * p.z, 0.25f, 1e-5);
        EXPECT_GE((from.x - p.x) * p.x + (from.y - p.y) * p.y + (from.z - p.z) * p.z, -1e-5);
    };
    answerSphere(-0.5f), run(1);
    expect = [&](const miVector& p) {
        EXPECT_NEAR(p.x * p.x + p.z * p.z, 0.25f, 1e-5);
        EXPECT_LE(std::fabs(p.y), 1 + 1e-6f);
        EXPECT_GE((from.x - p.x) * p.x + (from.z - p.z) * p.z, -1e-5);
    };
    answerCylinder({0, 2, 0}, 0.5f), run(1);

    // From inside, all of the surface.
    expect = [](const miVector& p) { EXPECT_NEAR(p.x * p.x + p.y * p.y + p.z * p.z, 2500, 1e-1); };
    answerSphere(50), run(1);
    expect = [](const miVector& p) { EXPECT_NEAR(p.x * p.x + p.z * p.z, 2500, 1e-1); };
    answerCylinder({0, 2, 0}, 50), run(1);
}

TEST_F(AreaShadow, GivesPassesTheirOwn) {
    // The curtain is left out of the second pass; the third takes no shadows, the fourth what was blocked.
    setEntries({kShadowed, kShadowed, 0, kShadowed | kInverted});
    publish();
    const miTag object = maskedInstance("D");
    answerRectangle({2, 0, 0}, {0, 0, 2});
    shader->shadowColor = {0.1f, 0.2f, 0.3f, 0};
    int blocked = 0;
    renderer().tracing.shadow = [&](miColor* ray, miState* called) {
        ++rays;
        if (!curtain.hides(static_cast<double>(called->org.x), static_cast<double>(called->org.y),
                           static_cast<double>(called->org.z)))
            return miTRUE;
        ++blocked;
        *ray = kNothing;
        miState shadow = *called;
        shadow.instance = object;
        return library::applyShadowTransparencyToFrameBuffers(count(), &published(0), &kNothing, 0, &shadow);
    };
    for (const miInteger samples : {0, 1, 64, 1}) {
        shader->shadowRays = samples;
        light.raster_x += 1;
        blocked = rays = 0;
        EXPECT_EQ(call(), miTRUE);
        EXPECT_EQ(rays, samples);
        const miScalar t = samples ? 1 - static_cast<miScalar>(blocked) / static_cast<miScalar>(samples) : 1;
        // t x .8 + (1 - t) x .1; the curtain leaves the second pass alone, so the light counts as not blocked.
        EXPECT_FLOAT_EQ(published(0).lightValue.r, 0.1f + 0.7f * t);
        EXPECT_FLOAT_EQ(result.r, 0.1f + 0.7f * t);
        EXPECT_FLOAT_EQ(published(1).lightValue.r, 0.8f);
        EXPECT_FLOAT_EQ(published(2).lightValue.r, 0.8f);
        EXPECT_NEAR(published(3).lightValue.r, 0.7 * (1 - static_cast<double>(t)), 1e-6);
        EXPECT_NEAR(data().blocked, 1 - t, 1e-6);
        if (samples == 64) {
            EXPECT_GT(blocked, 30);
            EXPECT_LT(blocked, 60);
        }
    }
}

TEST_F(AreaShadow, SurvivesAnyShape) {
    const miScalar inf = std::numeric_limits<miScalar>::infinity();
    setEntries({kShadowed});
    publish();
    renderer().tracing.shadow = [&](miColor*, miState* called) {
        EXPECT_TRUE(std::isfinite(called->dist));
        return called->dir.x > 0.1f ? miTRUE : miFALSE;
    };
    shader->shadowRays = 8;
    const auto expectFinite = [&](const char* what, miScalar number) {
        for (const bool flat : {false, true}) {
            renderer().spaces.light = flat ? twin::Matrix::scale(1, 0, number) : twin::Matrix::translation(0, -3, 5);
            enter();
            call();
            EXPECT_TRUE(isFinite(result)) << what << " " << number;
            EXPECT_TRUE(isFinite(published(0).lightValue)) << what << " " << number;
        }
    };
    for (const miScalar number : {0.0f, std::nanf(""), inf, -inf, 1e30f, 1e-30f, -1.0f}) {
        answerRectangle({number, 0, 0}, {0, 0, 1}), expectFinite("edge", number);
        answerRectangle({number, number, number}, {number, number, number}), expectFinite("edges", number);
        answerDisc({0, -1, 0}, number), expectFinite("disc", number);
        answerDisc({number, 0, number}, 1), expectFinite("normal", number);
        answerSphere(number), expectFinite("sphere", number);
        answerCylinder({0, 0, 1}, number), expectFinite("cylinder", number);
        answerCylinder({0, number, 0}, 1), expectFinite("axis", number);
    }
    // The light in the point.
    answerSphere(0);
    place({0, 0, -5}, {0, 0, -5});
    enter();
    call();
    EXPECT_TRUE(isFinite(result));
}

}  // namespace
