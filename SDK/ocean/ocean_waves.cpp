/* How the table comes about. Wavelengths stand in even steps of their logarithm, each moved within its step, so that no
 * two waves keep time with each other. A wave has the variance of its step; its amplitude is the root of twice that.
 *
 * Free waves (spectrum 0): every octave of waves has the same steepness, that of its height: waves look alike at all
 * sizes, and artists say by the ramp where they do not. A sea of one length has all of an octave's height.
 */
#include "SDK/ocean/ocean_waves.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace lumo {
namespace {

constexpr double kGravity = 9.81;
constexpr double kTension = 7.4e-5; /* of water, over its density: m^3 / s^2 */
constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr double kPiersonMoskowitz = 0.0081, kDecay = 0.74;

/* Chris Wellons' integer hash "lowbias32". */
std::uint32_t hashed(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return x;
}

/* Numbers of 0 to below 1 that belong to a wave. */
class WaveNumbers {
public:
    WaveNumbers(miInteger seed, int wave)
        : state_(hashed(hashed(static_cast<std::uint32_t>(seed)) + static_cast<std::uint32_t>(wave))) {}
    double next() {
        state_ = hashed(state_ + 0x9e3779b9u);
        return state_ * 0x1p-32;
    }

private:
    std::uint32_t state_;
};

double inRange(miScalar value, double low, double high, double otherwise) {
    return std::isfinite(value) ? std::clamp(static_cast<double>(value), low, high) : otherwise;
}

double scaled(miScalar value, const LumoRamp* ramp, double position) {
    const double factor =
        ramp && ramp->count > 0 ? static_cast<double>(ramp_get_interp_float(ramp, static_cast<miScalar>(position))) : 1;
    return std::isfinite(factor) ? inRange(value, -1e6, 1e6, 0) * factor : 0;
}

/* Energy per angular frequency of both measured spectra: JONSWAP's peak grows with the fetch. */
double jonswap(double w, double windSpeed, double fetch) {
    const double u = windSpeed, g = kGravity;
    const double alpha = 0.076 * std::pow(u * u / (fetch * g), 0.22);
    const double peak = 22 * std::cbrt(g * g / (u * fetch));
    const double width = w <= peak ? 0.07 : 0.09;
    const double r = std::exp(-(w - peak) * (w - peak) / (2 * width * width * peak * peak));
    return alpha * g * g / std::pow(w, 5) * std::exp(-1.25 * std::pow(peak / w, 4)) * std::pow(3.3, r);
}

double piersonMoskowitz(double w, double windSpeed) {
    return kPiersonMoskowitz * kGravity * kGravity / std::pow(w, 5) *
           std::exp(-kDecay * std::pow(kGravity / (windSpeed * w), 4));
}

/* Height of waves of this length and share of the logarithm of all lengths. */
double varianceOf(const OceanSettings& settings, double length, double step) {
    const auto spectrum = static_cast<OceanSpectrum>(settings.spectrum);
    if (spectrum < kOceanPhillips || spectrum > kOceanJonswap) {
        const double deviation = kFreeSteepness * length;
        return deviation * deviation * step / std::numbers::ln2;
    }
    const double wind = inRange(settings.windSpeed, 0.1, 200, 10), fetch = inRange(settings.fetch, 1, 1e8, 1e5);
    return oceanVariance(spectrum, kTwoPi / length, wind, fetch) * step;
}

/* Most waves run with the wind; turbulence turns some of them anywhere. */
double directionOf(const OceanSettings& settings, double turbulence, WaveNumbers& numbers) {
    constexpr double kDegree = std::numbers::pi / 180;
    const double spread = inRange(settings.windSpread, 0, 180, 0) * kDegree;
    const double around = spread * (numbers.next() + numbers.next() - 1);
    const double anywhere = std::numbers::pi * (2 * numbers.next() - 1);
    return inRange(settings.windDirection, -1e6, 1e6, 0) * kDegree + (1 - turbulence) * around + turbulence * anywhere;
}

}  // namespace

double oceanFrequency(double k, double depth) {
    const double deep = kGravity * k + kTension * k * k * k;
    return std::sqrt(depth > 0 ? deep * std::tanh(k * depth) : deep);
}

double oceanVariance(OceanSpectrum spectrum, double k, double windSpeed, double fetch) {
    if (spectrum == kOceanPhillips) {
        const double kl = k * windSpeed * windSpeed / kGravity;
        return kPiersonMoskowitz / (2 * kDecay) * std::exp(-1 / (kl * kl)) / (k * k);
    }
    // Half a step of ln k is a step of ln w.
    const double w = std::sqrt(kGravity * k);
    const double density = spectrum == kOceanJonswap ? jonswap(w, windSpeed, fetch) : piersonMoskowitz(w, windSpeed);
    return density * w / 2;
}

void OceanWaves::build(const OceanSettings& settings) {
    const int count = std::clamp<int>(settings.count, 1, kMostWaves);
    groups_ = (count + kLanes - 1) / kLanes;
    peaked_ = false;
    std::fill_n(table_, groups_, Group{});
    for (int i = 0; i < count; ++i) addWave(settings, i, count);
    sumUp();
}

void OceanWaves::addWave(const OceanSettings& settings, int number, int count) {
    WaveNumbers numbers(settings.seed, number);
    const double a = inRange(settings.shortest, 1e-3, 1e6, 0.1), b = inRange(settings.longest, 1e-3, 1e6, 100);
    const double low = std::min(a, b), range = std::log(std::max(a, b) / low);
    const double step = std::max(range, std::numbers::ln2) / count;
    const double position = 1 - (number + 0.5) / count;
    const double length = low * std::exp(range * (1 - (number + numbers.next()) / count));

    const double turbulence = std::clamp(scaled(settings.turbulence, settings.turbulenceRamp, position), 0.0, 1.0);
    const double direction = directionOf(settings, turbulence, numbers);
    const double variance = varianceOf(settings, low * std::exp(range * position), step);
    const double amplitude = scaled(settings.height, settings.heightRamp, position) * std::sqrt(2 * variance);
    const double sideways = amplitude * scaled(settings.peaking, settings.peakingRamp, position);

    const double k = kTwoPi / length, x = std::cos(direction), z = std::sin(direction);
    const double time = inRange(settings.time, -1e9, 1e9, 0), wind = inRange(settings.windDirection, -1e6, 1e6, 0);
    const double way = inRange(settings.observerSpeed, -1e6, 1e6, 0) * time;
    const double windAngle = wind * (std::numbers::pi / 180);
    const double along = (x * std::cos(windAngle) + z * std::sin(windAngle)) * way;
    const double turns = (k * along - oceanFrequency(k, inRange(settings.waterDepth, 0, 1e6, 0)) * time) / kTwoPi;

    Group& group = table_[number / kLanes];
    const int lane = number % kLanes;
    group.turnsX[lane] = x / length;
    group.turnsZ[lane] = z / length;
    group.turns[lane] = turns - std::floor(turns) + numbers.next();
    group.kx[lane] = static_cast<miScalar>(k * x);
    group.kz[lane] = static_cast<miScalar>(k * z);
    group.amplitude[lane] = static_cast<miScalar>(amplitude);
    group.moveX[lane] = static_cast<miScalar>(-x * sideways);
    group.moveZ[lane] = static_cast<miScalar>(-z * sideways);
    peaked_ = peaked_ || sideways != 0;
}

void OceanWaves::sumUp() {
    double height = 0;
    from_[groups_] = {};
    for (int i = groups_ - 1; i >= 0; --i) {
        const Group& g = table_[i];
        from_[i] = from_[i + 1];
        least_[i] = i + 1 < groups_ ? least_[i + 1] : 1e30f;
        for (int lane = 0; lane < kLanes; ++lane) {
            const miScalar half = g.amplitude[lane] * g.amplitude[lane] / 2;
            const miScalar folds = g.moveX[lane] * g.kx[lane] + g.moveZ[lane] * g.kz[lane];
            height += static_cast<double>(half);
            from_[i].xx += half * g.kx[lane] * g.kx[lane];
            from_[i].xz += half * g.kx[lane] * g.kz[lane];
            from_[i].zz += half * g.kz[lane] * g.kz[lane];
            from_[i].fold += folds * folds / 2;
            const miScalar squared = g.kx[lane] * g.kx[lane] + g.kz[lane] * g.kz[lane];
            // Lanes behind the last wave have none.
            if (squared > 0) least_[i] = std::min(least_[i], squared);
        }
    }
    deviation_ = static_cast<miScalar>(std::sqrt(height));
}

}  // namespace lumo
