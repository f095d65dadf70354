/* Ramps: reading them from parameters, and look-ups against the search step by step and the formulas in double. */
#include <algorithm>
#include <cmath>
#include <random>

#include "scene.h"

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

/* Scalar ramps (kind 0) and color ramps; positions on a coarse grid in any order, so that many are equal to each other
 * and to the one that is looked up. */
TEST(Ramp, LookUpsAgreeWithTheStepByStepSearch) {
    std::mt19937 random(5);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const auto unit = [&] { return static_cast<float>(random() >> 8) * 0x1p-24f; };
    for (int n = 0; n < 30000; ++n) {
        LumoRamp ramp;
        std::fill_n(reinterpret_cast<float*>(&ramp), sizeof ramp / 4, NAN);
        ramp.kind = n % 2 ? 1u << (n % 32) : 0;
        ramp.count = below(20) == 0 ? 50 : 1 + below(9);
        const bool sorted = below(3) == 0;
        int grid = -4;
        for (int i = 0; i < ramp.count; ++i) {
            grid = sorted ? grid + below(4) : below(17);
            ramp.positions[i] = static_cast<float>(grid) / 16;
            ramp.interpolations[i] = below(10) ? below(4) : 7;
            if (ramp.kind)
                ramp.values[i] = {unit(), unit(), unit(), unit()};
            else
                (&ramp.values[0].r)[i] = unit();
        }
        for (int k = 0; k < 3; ++k) {
            const float t = below(2) ? static_cast<float>(below(21) - 2) / 16 : 1.4f * unit() - 0.2f;
            const ReferenceRamp expected(ramp, t);
            SCOPED_TRACE(testing::Message() << "ramp " << n << " at " << t);
            miColor color = {9, 9, 9, 9};
            library::ramp_get_interp_color(&ramp, t, &color);
            ASSERT_NEAR(library::ramp_get_interp_float(&ramp, t), ramp.kind ? 0 : expected.value(0), 3e-6);
            for (int channel = 0; channel < 3; ++channel)
                ASSERT_NEAR((&color.r)[channel], ramp.kind ? expected.value(channel) : 0, 3e-6);
            const int whole = expected.wholeEntry();
            ASSERT_EQ(color.a, !ramp.kind ? 0 : whole < 0 ? 9 : ramp.values[whole].a);
        }
    }
}

TEST(Ramp, ExtremePositionsAndNoNumbers) {
    // An entry at t that comes before all entries below it takes both sides.
    LumoRamp ramp = {0, 3, {0.5f, 0, 1}, {{5, 3, 7, 0}}, {0, 0, 0}};
    EXPECT_EQ(library::ramp_get_interp_float(&ramp, 0.5f), 5);

    ramp = {0, 3, {-INFINITY, 0, INFINITY}, {{2, 3, 4, 0}}, {1, 1, 1}};
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
    LumoRamp close = {0, 2, {0, 1e-30f}, {{3, 1, 0, 0}}, {3, 3}};
    EXPECT_TRUE(std::isfinite(library::ramp_get_interp_float(&close, 1e-31f)));

    miColor color = {9, 9, 9, 9};
    for (const int count : {0, -1}) {
        ramp.count = count;
        EXPECT_EQ(library::ramp_get_interp_float(&ramp, 0), 0);
    }
    ramp.kind = 1;
    library::ramp_get_interp_color(&ramp, 0.5f, &color);
    EXPECT_EQ(color.g + color.a, 0) << "nothing to look up";
}

struct RampBlocks {
    miScalar before;
    miInteger i_height, n_height;
    RampScalarEntry height[64];
    miInteger i_tint, n_tint;
    RampColorEntry tint[3];
};

class RampConstructor : public twin::LibraryTest {};

TEST_F(RampConstructor, ReadsEntriesFromTheStartAndEvaluatesConnectedWords) {
    RampBlocks block{1, 2, 3, {}, 1, 2, {{}, {0.25f, {1, 2, 3, 4}, 1}, {0.75f, {5, 6, 7, 8}, 3}}};
    for (int i = 0; i < 64; ++i) block.height[i] = {static_cast<float>(i), 100.0f + static_cast<float>(i), i % 4};
    twin::ShaderInstance<RampBlocks> shader(block);
    stage.run(shader);
    miScalar position = 40, value = 50;
    miInteger interpolation = 1;
    miColor tint = {9, 10, 11, 12};
    shader.connect(&shader->height[3].position, &position);
    shader.connect(&shader->height[3].value, &value);
    shader.connect(&shader->height[4].interpolation, &interpolation);
    shader.connect(&shader->tint[2].value, &tint);

    LumoRamp ramp{7, 7, {}, {}, {}};
    library::ramp_constructor(&ramp, state, &shader->i_height, 0);
    EXPECT_EQ(ramp.kind, 0u);
    ASSERT_EQ(ramp.count, 3);
    const float expected[3][3] = {{2, 102, 2}, {40, 50, 3}, {4, 104, 1}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ramp.positions[i], expected[i][0]);
        EXPECT_EQ((&ramp.values[0].r)[i], expected[i][1]);
        EXPECT_EQ(static_cast<float>(ramp.interpolations[i]), expected[i][2]);
    }
    EXPECT_EQ(renderer().evaluation.evaluations, 3) << "what is not connected is read in place";

    library::ramp_constructor(&ramp, state, &shader->i_tint, 1);
    ASSERT_EQ(ramp.count, 2);
    EXPECT_EQ(ramp.values[0].b, 3);
    EXPECT_EQ(ramp.values[1].a, 12);
    EXPECT_EQ(ramp.positions[1], 0.75f);
    EXPECT_EQ(ramp.interpolations[1], 3);
    EXPECT_EQ(ramp.kind, 1u);

    // One more than the block has, and one from before it.
    for (const auto& [start, count] : {std::pair(1, 3), std::pair(-1, 1)}) {
        shader->i_tint = start;
        shader->n_tint = count;
        library::ramp_constructor(&ramp, state, &shader->i_tint, 1);
        EXPECT_EQ(ramp.count, 0);
    }
    EXPECT_EQ(renderer().messages().size(), 2u);

    // More entries than a ramp holds, and none.
    shader->i_height = 0;
    shader->n_height = 60;
    library::ramp_constructor(&ramp, state, &shader->i_height, 0);
    EXPECT_EQ(ramp.count, 50);
    EXPECT_EQ(ramp.positions[49], 49);
    library::ramp_destructor(&ramp);
    EXPECT_EQ(ramp.count, 0);
    ramp.count = 3;
    library::ramp_constructor(&ramp, state, nullptr, 1);
    EXPECT_EQ(ramp.count, 0);
}

}  // namespace
