/* The value noises against sums of basis functions in double, and what patterns rely on: period, seams, ranges. */
#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "noise_functions.h"

namespace {

/* Of the table's values, the constants by which noises are scaled, and float coordinates; the rest is in double. */
constexpr double kTolerance = 2e-6;

/* Cell and place in the cell. */
struct Place {
    Place(double x, double cells) {
        const double single = std::abs(x) <= 1e9 ? static_cast<float>(x) : 0;
        const float scaled = static_cast<float>(single - std::floor(single)) * static_cast<float>(cells);
        cell = static_cast<int>(scaled);
        t = scaled - static_cast<float>(cell);
    }

    /* The three functions of the quadratic B-spline that are not 0 here. */
    double basis(int e) const { return e < 0 ? (1 - t) * (1 - t) / 2 : e == 0 ? 0.5 + t - t * t : t * t / 2; }

    int cell;
    double t;
};

int wrapped(const Place& place, int e) { return (place.cell + e + 32) % 32; }

double table(int x, int y, int z) { return library::noise_table_scalar(x + 32 * y + 1024 * z); }

template <class Value>
double blend(const Place& x, const Place& y, const Place& z, Value value) {
    double sum = 0;
    for (int n = 0; n < 27; ++n) {
        const int i = n % 3 - 1, j = n / 3 % 3 - 1, l = n / 9 - 1;
        sum += x.basis(i) * y.basis(j) * z.basis(l) * value(table(wrapped(x, i), wrapped(y, j), wrapped(z, l)));
    }
    return sum;
}

double reference1(double x) {
    Place place(x, 32);
    if (place.cell == 0) place.cell = 1, place.t -= 1;
    double sum = 0;
    for (int e = -1; e <= 1; ++e) sum += place.basis(e) * library::noise_table_scalar(place.cell + e);
    return sum / 2;
}

double reference2(double px, double py) {
    const Place x(px, 32), y(py, 32);
    double sum = 0;
    for (int n = 0; n < 9; ++n)
        sum += x.basis(n % 3 - 1) * y.basis(n / 3 - 1) * table(wrapped(x, n % 3 - 1), wrapped(y, n / 3 - 1), 0);
    return sum;
}

double reference3(double x, double y, double z) {
    return blend(Place(x, 32), Place(y, 32), Place(z, 32), [](double value) { return value; });
}

double reference4(double x, double y, double z, double w, int n) {
    const Place time(w, std::min(n, 60000));
    return blend(Place(x, 32), Place(y, 32), Place(z, 32), [&](double value) {
        double sum = 0;
        for (int e = 0; e < 3; ++e) {
            const float speed = (library::noise_table_scalar(time.cell + e) + 1) * 21568.16f;
            const float product = (static_cast<float>(value) + 2) * speed;  // its fraction depends on the rounding
            sum += time.basis(e - 1) * std::fmod(product, 1.0f);
        }
        return 2 * sum - 1;
    });
}

/* Ordinary places, lattice points and places next to them, and what is far out. */
class Coordinates {
public:
    double next() {
        const double x = std::uniform_real_distribution<double>(-3, 3)(random_);
        switch (random_() % 8) {
            case 0: return std::round(x * 32) / 32;
            case 1: return std::nextafter(static_cast<float>(std::round(x * 32) / 32), random_() % 2 ? 9.0f : -9.0f);
            case 2: return x * 1e4;
            case 3: return special_[random_() % std::size(special_)];
            default: return x;
        }
    }

private:
    static constexpr double kInfinity = std::numeric_limits<double>::infinity();
    static constexpr double special_[] = {0,    -0.0, -1e-30,    1e9,        -1e9,      1e9 + 1,
                                          -2e9, 1e40, kInfinity, -kInfinity, 999999999, std::nan("")};
    std::mt19937 random_{11};
};

TEST(ValueNoise, AgreesWithTheBasisFunctions) {
    Coordinates at;
    for (int n = 0; n < 20000; ++n) {
        const double x = at.next(), y = at.next(), z = at.next(), w = at.next();
        ASSERT_NEAR(library::noise_scalar_1d(x), reference1(x), kTolerance) << x;
        ASSERT_NEAR(library::noise_scalar_2d(x, y), reference2(x, y), kTolerance) << x << ' ' << y;
        ASSERT_NEAR(library::noise_scalar_3d(x, y, z), reference3(x, y, z), kTolerance) << x << ' ' << y << ' ' << z;
        const int steps[] = {0, 1, 7, 100, 60000, INT_MAX};
        const int count = steps[n % 6];
        ASSERT_NEAR(library::noise_scalar_4d(x, y, z, w, count), reference4(x, y, z, w, count), 2 * kTolerance)
            << x << ' ' << y << ' ' << z << ' ' << w << ' ' << count;
        ASSERT_TRUE(std::isfinite(library::noise_scalar_4d(x, y, z, w, n % 2 ? INT_MIN : -n)));
    }
}

TEST(ValueNoise, RepeatsAndStandsStill) {
    for (const double x : {0.3125, 0.7, 0.99}) {
        const double whole = std::round(x * 1024) / 1024;  // exact in float, also with 1 added
        for (const double shift : {1.0, -1.0, 5.0}) {
            EXPECT_EQ(library::noise_scalar_1d(whole), library::noise_scalar_1d(whole + shift));
            EXPECT_EQ(library::noise_scalar_3d(whole, 0.5, 0.25),
                      library::noise_scalar_3d(whole, 0.5 + shift, 0.25 - shift));
        }
        EXPECT_EQ(library::noise_scalar_4d(x, x, x, 0, 9), library::noise_scalar_4d(x, x, x, 1, 9));
        EXPECT_EQ(library::noise_scalar_4d(x, x, x, 0.8, 0), library::noise_scalar_4d(x, x, x, 0.1, 0));
        EXPECT_EQ(library::noise_scalar_4d(x, x, x, 0.8, 60000), library::noise_scalar_4d(x, x, x, 0.8, 60001));
    }
    EXPECT_EQ(library::noise_scalar_1d(2e9), library::noise_scalar_1d(0));
}

/* Steps across every lattice line, the period's seam at 0 among them. */
TEST(ValueNoise, HasNoSeamsButTheOnesItMustHave) {
    const double step = 1e-5, most = 32 * 2 * step;  // a slope of at most 2 per cell
    for (int line = 0; line < 32; ++line) {
        const double before = line / 32.0 - step / 2, behind = before + step;
        EXPECT_NEAR(library::noise_scalar_2d(before, 0.4), library::noise_scalar_2d(behind, 0.4), most);
        EXPECT_NEAR(library::noise_scalar_2d(0.4, before), library::noise_scalar_2d(0.4, behind), most);
        EXPECT_NEAR(library::noise_scalar_3d(0.4, before, 0.7), library::noise_scalar_3d(0.4, behind, 0.7), most);
        EXPECT_NEAR(library::noise_scalar_3d(0.4, 0.7, before), library::noise_scalar_3d(0.4, 0.7, behind), most);
        EXPECT_NEAR(library::noise_scalar_4d(before, 0.1, 0.7, 0.2, 9),
                    library::noise_scalar_4d(behind, 0.1, 0.7, 0.2, 9), most);
        if (line > 0) {
            EXPECT_NEAR(library::noise_scalar_1d(before), library::noise_scalar_1d(behind), most);
        }
    }
    EXPECT_GT(std::abs(library::noise_scalar_1d(-step / 2) - library::noise_scalar_1d(step / 2)), most);
}

/* Slopes against differences of the noise itself; the value against its own formula. */
TEST(ValueNoise, SlopesAreTwiceThatOfTheNoisePerCell) {
    Coordinates at;
    for (int n = 0; n < 10000; ++n) {
        const Place x(at.next(), 32), y(at.next(), 32);
        double slopeX = 0, slopeY = 0, value = 0;
        for (int i = -1; i <= 1; ++i)
            for (int j = -1; j <= 1; ++j) {
                const double slopes[] = {x.t - 1, 1 - 2 * x.t, x.t}, other[] = {y.t - 1, 1 - 2 * y.t, y.t};
                const double odd[] = {1 - 4 * y.t + y.t * y.t, 1 + 4 * y.t - 2 * y.t * y.t, y.t * y.t};
                const double entry = table(wrapped(x, i), wrapped(y, j), 0);
                slopeX += 2 * slopes[i + 1] * y.basis(j) * entry;
                slopeY += 2 * x.basis(i) * other[j + 1] * entry;
                value += 0.5 * x.basis(i) * odd[j + 1] * entry;
            }
        // From inside the cell, a place that float and double have in common.
        miVector got;
        ASSERT_EQ(library::noise_vector_2d(&got, (x.cell + x.t) / 32, (y.cell + y.t) / 32), &got);
        ASSERT_NEAR(got.x, slopeX, kTolerance);
        ASSERT_NEAR(got.y, slopeY, kTolerance);
        ASSERT_NEAR(got.z, value, kTolerance);
    }
    miVector far, zero;
    library::noise_vector_2d(&far, std::nan(""), -2e9);
    library::noise_vector_2d(&zero, 0, 0);
    EXPECT_EQ(far.z, zero.z);
    EXPECT_NE(zero.z, library::noise_scalar_2d(0, 0.3));
}

}  // namespace
