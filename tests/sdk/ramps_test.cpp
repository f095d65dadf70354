/* Ramps: reading them from parameters, and look-ups against the search step by step and the formulas in double. */
#include <cmath>
#include <random>

#include "scene.h"

namespace library {
LIBRARY_FUNCTION(ramp_constructor)
LIBRARY_FUNCTION(ramp_destructor)
LIBRARY_FUNCTION(ramp_get_interp_float)
LIBRARY_FUNCTION(ramp_get_interp_color)
}  // namespace library

namespace {

using twin::renderer;

/* Channel 0 to 2 of the value at t, and whether alpha is that of an entry (its number) or left alone (-1). */
class ReferenceRamp {
public:
    ReferenceRamp(const LumoRamp& ramp, float t) : ramp_(ramp), t_(t) {
        for (int i = 1; i < ramp.count; ++i) t > p(i) ? passBelow(i) : passAbove(i);
        const bool spline = ramp.interpolations[lower_] == 3;
        if (spline && !(t > p(lower_)))
            whole_ = lower_;
        else if (spline && t >= p(upper_))
            whole_ = upper_;
    }

    int wholeEntry() const { return whole_; }

    double value(int channel) const {
        if (whole_ >= 0) return y(whole_, channel);
        if (ramp_.interpolations[lower_] == 3) return cubic(channel);
        const double w = weight();
        return (1 - w) * y(lower_, channel) + w * y(upper_, channel);
    }

private:
    void passBelow(int i) {
        if (p(i) > p(lower_) || p(lower_) > t_) lower_ = i;
        if (p(i) > p(upper_)) upper_ = i;
    }
    void passAbove(int i) {
        if (p(upper_) > p(i) || t_ > p(upper_)) upper_ = i;
        if (p(lower_) > p(i)) lower_ = i;
    }

    double weight() const {
        const int code = ramp_.interpolations[lower_];
        if (code == 0 || t_ <= p(lower_)) return 0;
        if (t_ >= p(upper_)) return 1;
        const double u = (t_ - p(lower_)) / (p(upper_) - p(lower_));
        return code == 1 ? u : code == 2 ? 0.5 * std::cos((u + 1) * M_PI) + 0.5 : 0;
    }

    /* Hermite basis instead of powers; the entries are too far apart for the guards of the slopes to matter. */
    double cubic(int channel) const {
        int before = lower_, after = upper_;
        for (int i = 0; i < ramp_.count; ++i) {
            if (p(i) < p(lower_) && (before == lower_ || p(i) > p(before))) before = i;
            if (p(i) > p(upper_) && (after == upper_ || p(i) < p(after))) after = i;
        }
        const double h = p(upper_) - p(lower_), u = (t_ - p(lower_)) / h;
        const double left = before == lower_ ? h : p(lower_) - p(before);
        const double right = after == upper_ ? h : p(after) - p(upper_);
        const double slope1 = (y(upper_, channel) - y(before, channel)) / (left + h);
        const double slope2 = (y(after, channel) - y(lower_, channel)) / (right + h);
        return (1 + 2 * u) * (1 - u) * (1 - u) * y(lower_, channel) + u * u * (3 - 2 * u) * y(upper_, channel) +
               h * u * (1 - u) * (1 - u) * slope1 - h * u * u * (1 - u) * slope2;
    }

    double p(int i) const { return ramp_.positions[i]; }
    double y(int i, int channel) const { return ramp_.kind ? (&ramp_.values[i].r)[channel] : (&ramp_.values[0].r)[i]; }

    const LumoRamp& ramp_;
    double t_;
    int lower_ = 0, upper_ = 0, whole_ = -1;
};

/* Positions on a coarse grid in any order, so that many are equal to each other and to t. */
class RampSource {
public:
    LumoRamp next(miUint kind) {
        LumoRamp ramp;
        std::fill_n(reinterpret_cast<float*>(&ramp), sizeof ramp / 4, NAN);
        ramp.kind = kind;
        ramp.count = below(20) == 0 ? 50 : 1 + below(9);
        const bool sorted = below(3) == 0;
        int grid = -4;
        for (int i = 0; i < ramp.count; ++i) {
            grid = sorted ? grid + below(4) : below(17);
            ramp.positions[i] = static_cast<float>(grid) / 16;
            ramp.interpolations[i] = below(10) ? below(4) : 7;
            if (kind)
                ramp.values[i] = {unit(), unit(), unit(), unit()};
            else
                (&ramp.values[0].r)[i] = unit();
        }
        return ramp;
    }

    float position() { return below(2) ? static_cast<float>(below(21) - 2) / 16 : 1.4f * unit() - 0.2f; }

    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
    float unit() { return static_cast<float>(random_() >> 8) * 0x1p-24f; }

private:
    std::mt19937 random_{5};
};

TEST(Ramp, ScalarLookUpsAgreeWithTheStepByStepSearch) {
    RampSource source;
    for (int n = 0; n < 20000; ++n) {
        const LumoRamp ramp = source.next(0);
        for (int k = 0; k < 3; ++k) {
            const float t = source.position();
            ASSERT_NEAR(library::ramp_get_interp_float(&ramp, t), ReferenceRamp(ramp, t).value(0), 3e-6)
                << "ramp " << n << " with " << ramp.count << " entries at " << t;
        }
        miColor color = {1, 2, 3, 4};
        library::ramp_get_interp_color(&ramp, 0.5f, &color);
        ASSERT_EQ(color.r + color.g + color.b + color.a, 0) << "not a color ramp";
    }
}

TEST(Ramp, ColorLookUpsTakeAlphaFromWholeEntriesOnly) {
    RampSource source;
    for (int n = 0; n < 20000; ++n) {
        const LumoRamp ramp = source.next(1u << (n % 32));
        const float t = source.position();
        const ReferenceRamp expected(ramp, t);
        miColor color = {9, 9, 9, 9};
        library::ramp_get_interp_color(&ramp, t, &color);
        for (int channel = 0; channel < 3; ++channel)
            ASSERT_NEAR((&color.r)[channel], expected.value(channel), 3e-6) << "ramp " << n << " at " << t;
        ASSERT_EQ(color.a, expected.wholeEntry() < 0 ? 9 : ramp.values[expected.wholeEntry()].a);
        ASSERT_EQ(library::ramp_get_interp_float(&ramp, t), 0) << "not a scalar ramp";
    }
}

/* An entry at t that comes before all entries below it takes both sides; the summary "greatest position below" would
 * give the value of the entry that holds. */
TEST(Ramp, AnEntryAtTheLookedUpPositionCanDriveOutTheOneBelow) {
    LumoRamp ramp = {0, 3, {0.5f, 0, 1}, {}, {0, 0, 0}};
    float* values = &ramp.values[0].r;
    values[0] = 5, values[1] = 3, values[2] = 7;
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 0.5f), 5);
    std::swap(ramp.positions[0], ramp.positions[1]);
    std::swap(values[0], values[1]);
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 0.5f), 3);
}

TEST(Ramp, ExtremePositionsAndNoNumbers) {
    LumoRamp ramp = {0, 3, {-INFINITY, 0, INFINITY}, {}, {1, 1, 1}};
    float* values = &ramp.values[0].r;
    values[0] = 2, values[1] = 3, values[2] = 4;
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 5), 3);
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, -INFINITY), 2);
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, INFINITY), 4);
    EXPECT_TRUE(std::isnan(library::ramp_get_interp_float(&ramp, NAN)));
    ramp.interpolations[0] = 0;
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, NAN), 2);

    // A position that is no number is passed over, unless it comes first.
    ramp.positions[1] = NAN;
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 5), 2);
    ramp.positions[0] = NAN;
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 5), 2);

    // Splines stay finite between entries that all but coincide.
    LumoRamp close = {0, 2, {0, 1e-30f}, {}, {3, 3}};
    (&close.values[0].r)[1] = 1;
    EXPECT_TRUE(std::isfinite(library::ramp_get_interp_float(&close, 1e-31f)));

    for (const int count : {0, -1}) {
        ramp.count = count;
        EXPECT_EQ(library::ramp_get_interp_float(&ramp, 0), 0);
    }
}

struct ScalarRampBlock {
    miScalar before;
    miInteger i_height, n_height;
    RampScalarEntry height[64];
};

struct ColorRampBlock {
    miInteger i_tint, n_tint;
    RampColorEntry tint[3];
};

class RampConstructor : public twin::LibraryTest {
protected:
    LumoRamp ramp{};
};

TEST_F(RampConstructor, ReadsEntriesFromTheStartAndEvaluatesConnectedWords) {
    ScalarRampBlock block{};
    block.i_height = 2;
    block.n_height = 3;
    for (int i = 0; i < 64; ++i) block.height[i] = {static_cast<float>(i), 100.0f + static_cast<float>(i), i % 4};
    twin::ShaderInstance<ScalarRampBlock> shader(block);
    stage.run(shader);
    miScalar position = 40, value = 50;
    miInteger interpolation = 2;
    shader.connect(&shader->height[3].position, &position);
    shader.connect(&shader->height[3].value, &value);
    shader.connect(&shader->height[4].interpolation, &interpolation);

    library::ramp_constructor(&ramp, state, &shader->i_height, 0);
    const float* values = &ramp.values[0].r;
    EXPECT_EQ(ramp.kind, 0u);
    ASSERT_EQ(ramp.count, 3);
    EXPECT_EQ(ramp.positions[0], 2);
    EXPECT_EQ(values[0], 102);
    EXPECT_EQ(ramp.interpolations[0], 2);
    EXPECT_EQ(ramp.positions[1], 40);
    EXPECT_EQ(values[1], 50);
    EXPECT_EQ(ramp.interpolations[1], 3);
    EXPECT_EQ(ramp.positions[2], 4);
    EXPECT_EQ(ramp.interpolations[2], 2);
    EXPECT_EQ(renderer().evaluation.evaluations, 3) << "what is not connected is read in place";

    // More entries than a ramp holds, and none.
    shader->i_height = 0;
    shader->n_height = 60;
    library::ramp_constructor(&ramp, state, &shader->i_height, 0);
    EXPECT_EQ(ramp.count, 50);
    EXPECT_EQ(ramp.positions[49], 49);
    library::ramp_destructor(&ramp);
    EXPECT_EQ(ramp.count, 0);
    shader->n_height = 0;
    library::ramp_constructor(&ramp, state, &shader->i_height, 0);
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 1), 0);
    ramp.count = 3;
    library::ramp_constructor(&ramp, state, nullptr, 1);
    EXPECT_EQ(ramp.count, 0);
    EXPECT_EQ(ramp.kind, 1u);
}

TEST_F(RampConstructor, ReadsColors) {
    twin::ShaderInstance<ColorRampBlock> shader({0, 2, {{0.25f, {1, 2, 3, 4}, 1}, {0.75f, {5, 6, 7, 8}, 3}, {}}});
    stage.run(shader);
    miColor tint = {9, 10, 11, 12};
    shader.connect(&shader->tint[1].value, &tint);
    library::ramp_constructor(&ramp, state, &shader->i_tint, 1);
    ASSERT_EQ(ramp.count, 2);
    EXPECT_EQ(ramp.values[0].b, 3);
    EXPECT_EQ(ramp.values[1].a, 12);
    EXPECT_EQ(ramp.positions[1], 0.75f);
    EXPECT_EQ(ramp.interpolations[1], 3);
}

}  // namespace
