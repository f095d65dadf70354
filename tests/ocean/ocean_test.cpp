/* The sea against closed forms and differences of itself. */
#include "SDK/ocean/ocean_field.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>

namespace {

using namespace lumo;

constexpr double kPi = 3.14159265358979323846;
const OceanFootprint kSharp;

std::unique_ptr<OceanWaves> wavesOf(const OceanSettings& settings) {
    auto waves = std::make_unique<OceanWaves>();
    waves->build(settings);
    return waves;
}

/* One wave along x, 10 m long and .5 m high: the variance of its octave is (10 / 50)^2, its amplitude the root of twice
 * that. */
OceanSettings single(miScalar peaking) {
    OceanSettings s;
    s.count = 1;
    s.shortest = s.longest = 10;
    s.windSpread = 0;
    s.height = static_cast<miScalar>(0.5 / (0.2 * std::sqrt(2.0)));
    s.peaking = peaking;
    return s;
}

double integral(double from, double to, const std::function<double(double)>& f) {
    constexpr int kSteps = 20000;
    double sum = 0;
    for (int i = 0; i < kSteps; ++i) sum += f(from + (to - from) * (i + 0.5) / kSteps);
    return sum * (to - from) / kSteps;
}

TEST(Ocean, WavesRunAsInNature) {
    EXPECT_NEAR(oceanFrequency(2 * kPi / 10, 0), 2.482701, 1e-4);
    EXPECT_NEAR(oceanFrequency(2 * kPi / 10, 2), 2.289118, 1e-4);
    EXPECT_NEAR(oceanFrequency(2 * kPi / 100, 0), 0.785099, 1e-5);
    EXPECT_NEAR(oceanFrequency(1000, 0), std::sqrt(9810 + 7.4e4), 1e-6);  // ripples hang on the water's tension

    // The crest of a single wave runs 3.951342 m in a second; after a period all is as before.
    const auto at = [](miScalar time, double x) {
        OceanSettings s = single(0);
        s.time = time;
        return oceanSurface(*wavesOf(s), x, 3, kSharp).height;
    };
    for (const double x : {0.0, 1.7, 6.2}) {
        EXPECT_NEAR(at(1, x + 3.951342), at(0, x), 1e-5);
        EXPECT_NEAR(at(2.530786f, x), at(0, x), 1e-5);
    }
}

TEST(Ocean, SpectraAreThoseOfNature) {
    // The density over both components of k, P = V / k^2, is highest at k = 1 / (sqrt 2 L): 90.5787 m for 10 m/s.
    for (const auto& [wind, length] : {std::pair{10.0, 90.5787}, {20.0, 362.31}}) {
        const auto p = [wind = wind](double k) { return oceanVariance(kOceanPhillips, k, wind, 0) / (k * k); };
        const double k = 2 * kPi / length;
        EXPECT_GT(p(k), p(k * 1.01));
        EXPECT_GT(p(k), p(k / 1.01));
    }
    // All waves of ln k from -9 to 5: significant heights 4 U^2 / g sqrt(.0081 / 2.96), of both.
    for (const OceanSpectrum spectrum : {kOceanPhillips, kOceanPiersonMoskowitz}) {
        const auto v = [spectrum](double x) { return oceanVariance(spectrum, std::exp(x), 10, 0); };
        EXPECT_NEAR(4 * std::sqrt(integral(-9, 5, v)), 2.13298, 2e-3);
    }
    // JONSWAP at its peak: w 22 (g^2 / (U F))^(1/3), alpha g^2 / w^5 exp(-1.25) 3.3, per ln k half of w times that.
    const double w = 22 * std::cbrt(9.81 * 9.81 / (10 * 1e5)), alpha = 0.076 * std::pow(100 / (1e5 * 9.81), 0.22);
    EXPECT_NEAR(oceanVariance(kOceanJonswap, w * w / 9.81, 10, 1e5),
                alpha * 9.81 * 9.81 / std::pow(w, 4) * std::exp(-1.25) * 3.3 / 2, 1e-6);

    // The table has all of it between its shortest and longest waves, and so has the water: sum a^2 / 2.
    OceanSettings s;
    s.count = 256;
    s.spectrum = kOceanPiersonMoskowitz;
    s.shortest = 2;
    s.longest = 400;
    const auto waves = wavesOf(s);
    EXPECT_NEAR(waves->deviation(), 2.13298 / 4, 0.006);
    double sum = 0, squares = 0;
    constexpr int kPlaces = 40000;
    for (int i = 0; i < kPlaces; ++i) {
        const double h = static_cast<double>(oceanSurface(*waves, 97.3 * (i % 200), 113.9 * (i / 200), kSharp).height);
        sum += h;
        squares += h * h;
    }
    EXPECT_NEAR(sum / kPlaces, 0, 0.02);
    EXPECT_NEAR(std::sqrt(squares / kPlaces), waves->deviation(), 0.02);
}

TEST(Ocean, SlopesAndFoldingAreThoseOfTheSurface) {
    OceanSettings s;
    s.shortest = 1;
    s.turbulence = 0.5f;
    s.height = 0.6f;
    for (const miScalar peaking : {0.0f, 0.7f}) {
        s.peaking = peaking;
        const auto waves = wavesOf(s);
        EXPECT_EQ(waves->isPeaked(), peaking > 0);
        for (int i = 0; i < 200; ++i) {
            const double x = 1000 + 7.31 * i, z = -3.77 * i, d = 5e-3;
            const auto difference = [&](miScalar OceanPoint::* member, auto at, double dx, double dz) {
                return static_cast<double>(at(*waves, x + dx, z + dz, kSharp).*member -
                                           at(*waves, x - dx, z - dz, kSharp).*member) /
                       (2 * d);
            };
            const auto surface = [](auto&&... a) { return oceanSurface(a...); };
            const OceanPoint p = oceanSurface(*waves, x, z, kSharp);
            EXPECT_NEAR(p.slopeX, difference(&OceanPoint::height, surface, d, 0), 2e-3) << i;
            EXPECT_NEAR(p.slopeZ, difference(&OceanPoint::height, surface, 0, d), 2e-3) << i;

            const OceanPoint water = oceanParticle(*waves, x, z, kSharp);
            const double xx = 1 + difference(&OceanPoint::moveX, oceanParticle, d, 0);
            const double zz = 1 + difference(&OceanPoint::moveZ, oceanParticle, 0, d);
            const double xz = difference(&OceanPoint::moveX, oceanParticle, 0, d);
            EXPECT_NEAR(water.stretch, xx * zz - xz * xz, 2e-3) << i;
            // The surface above the place that this water has come to is as high as this water.
            EXPECT_NEAR(
                oceanSurface(*waves, x + static_cast<double>(water.moveX), z + static_cast<double>(water.moveZ), kSharp)
                    .height,
                water.height, 2e-3)
                << i;
        }
    }
    // One wave: the surface is squeezed to 1 - q k a at most, and folds over past 1.
    const auto least = [](miScalar peaking) {
        const auto waves = wavesOf(single(peaking));
        miScalar found = 1;
        for (int i = 0; i < 1000; ++i) found = std::min(found, oceanParticle(*waves, 0.01 * i, 0, kSharp).stretch);
        return found;
    };
    EXPECT_NEAR(least(1), 1 - 0.314159, 1e-4);
    EXPECT_NEAR(least(4), 1 - 4 * 0.314159, 1e-4);
}

/* What a footprint takes away of heights and slopes it gives to their variances: half the square of what is left and the
 * rest are the whole, and a wave is left by exp(-(k size)^2 / 2). */
TEST(Ocean, SmallWavesBecomeRoughness) {
    const auto waves = wavesOf(single(0.5f));
    const double k = 2 * kPi / 10;
    for (const double size : {0.0, 0.5, 1.0, 2.0, 3.0, 6.0}) {
        const OceanFootprint footprint{static_cast<miScalar>(size), 0, 0, 1000};  // across the wave it does not matter
        miScalar top = 0;
        for (int i = 0; i < 1000; ++i) top = std::max(top, oceanParticle(*waves, 0.01 * i, 0, footprint).height);
        EXPECT_NEAR(top, 0.5 * std::exp(-k * k * size * size / 2), 0.04) << size;
        const OceanWaves::Slopes hidden = oceanParticle(*waves, 0, 0, footprint).hidden;
        const double total = k * k * (0.25 - static_cast<double>(top * top)) / 2;
        EXPECT_NEAR(hidden.xx, total, 1e-4) << size;
        EXPECT_NEAR(hidden.fold, total / 4, 1e-4) << size;
        EXPECT_NEAR(hidden.zz, 0, 1e-6) << size;
    }
    // Waves fade, group by group, without steps.
    OceanSettings s;
    s.spectrum = kOceanJonswap;
    const auto many = wavesOf(s);
    OceanPoint before = oceanSurface(*many, 12, 34, kSharp);
    for (miScalar size = 0.002f; size < 400; size *= 1.02f) {
        const OceanPoint p = oceanSurface(*many, 12, 34, {size, 0, 0, size});
        EXPECT_NEAR(p.slopeX, before.slopeX, 0.02) << size;
        EXPECT_NEAR(p.hidden.xx, before.hidden.xx, 0.003) << size;
        EXPECT_GE(p.hidden.xx, before.hidden.xx * 0.9999f) << size;
        before = p;
    }
    EXPECT_EQ(before.slopeX, 0);
    for (const miScalar mean : {-2.0f, -0.3f, 0.0f, 0.5f, 3.0f}) {
        const auto bell = [mean](double v) {
            return std::max(static_cast<double>(mean) + 0.7 * v, 0.0) * std::exp(-v * v / 2) / std::sqrt(2 * kPi);
        };
        EXPECT_NEAR(meanAbove(mean, 0.7f), integral(-8, 8, bell), 1e-5);
    }
}

TEST(Ocean, NothingThatIsSaidOfItBreaksIt) {
    const miScalar none = std::numeric_limits<miScalar>::quiet_NaN(), much = 3e38f;
    for (const miScalar odd : {none, much, -much, 0.0f, std::numeric_limits<miScalar>::infinity()})
        for (const miInteger spectrum : {-1, 0, 1, 2, 3, 99})
            for (const miInteger count : {-5, 0, 3, 1 << 30}) {
                OceanSettings s;
                s.spectrum = spectrum;
                s.count = count;
                for (miScalar* each : {&s.shortest, &s.longest, &s.windSpeed, &s.fetch, &s.windDirection, &s.windSpread,
                                       &s.waterDepth, &s.time, &s.observerSpeed, &s.turbulence, &s.peaking})
                    *each = odd;
                const OceanPoint p = oceanSurface(*wavesOf(s), 1, 2, {0.1f, 0, 0, 0.1f});
                EXPECT_TRUE(std::isfinite(p.height + p.slopeX + p.slopeZ)) << odd << spectrum << count;
            }
}

}  // namespace
