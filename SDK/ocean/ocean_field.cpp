/* Four waves at a time, with operations that round alike on every machine, and one sine and cosine for each wave. */
#include "SDK/ocean/ocean_field.h"

#include "SDK/framework/float4.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumo {
namespace {

using Double2 = double __attribute__((vector_size(16)));
using Float2 = float __attribute__((vector_size(8)));
using Group = OceanWaves::Group;

/* A float's square of the blur at which nothing is left of a wave. */
constexpr miScalar kGone = 8;
/* Of a surface that folds over: its slopes are those of one that is just about to. */
constexpr miScalar kLeastStretch = 0.2f;

Double2 load2(const double* from) {
    Double2 result;
    std::memcpy(&result, from, sizeof result);
    return result;
}

/* The fraction of a turn, -1/2 to 1/2. Adding 1.5 x 2^52 and taking it away again rounds to a whole number. */
Float2 fraction(Double2 turns) {
    constexpr double kRound = 6755399441055744.0;
    const Double2 whole = (turns + kRound) - kRound;
    return __builtin_convertvector(turns - whole, Float2);
}

Float4 turnsOf(const Group& group, double x, double z) {
    Float2 half[2];
    for (int i = 0; i < 2; ++i) {
        const int k = 2 * i;
        half[i] = fraction(load2(group.turnsX + k) * x + load2(group.turnsZ + k) * z + load2(group.turns + k));
    }
    return __builtin_shufflevector(half[0], half[1], 0, 1, 2, 3);
}

/* Of 2 pi r for r of -1/2 to 1/2, by the series of sine and cosine of half the angle: 1e-7. */
void sincosTurns(Float4 r, Float4& sine, Float4& cosine) {
    const Float4 y = r * std::numbers::pi_v<float>, yy = y * y;
    const Float4 s =
        y * (1 + yy * (-1.0f / 6 +
                       yy * (1.0f / 120 + yy * (-1.0f / 5040 + yy * (1.0f / 362880 - yy * (1.0f / 39916800))))));
    const Float4 c =
        1 + yy * (-1.0f / 2 +
                  yy * (1.0f / 24 +
                        yy * (-1.0f / 720 + yy * (1.0f / 40320 + yy * (-1.0f / 3628800 + yy * (1.0f / 479001600))))));
    sine = 2 * s * c;
    cosine = 1 - 2 * s * s;
}

float total(Float4 v) { return (v[0] + v[1]) + (v[2] + v[3]); }

/* Sums over the waves that the footprint leaves. */
class Sums {
public:
    Sums(const OceanWaves& waves, const OceanFootprint& footprint) : waves_(waves), footprint_(footprint) {
        // Waves cannot be left out before the narrow axis of the ellipse reaches them.
        const miScalar a = footprint.alongX, b = footprint.alongZ, c = footprint.acrossX, d = footprint.acrossZ;
        const miScalar xx = a * a + c * c, zz = b * b + d * d, xz = a * b + c * d;
        isSharp_ = !(xx + zz > 0);
        const miScalar narrow = (xx + zz) / 2 - std::sqrt((xx - zz) * (xx - zz) / 4 + xz * xz);
        while (groups_ < waves.groups() && !(waves.leastSquaredK(groups_) * narrow > kGone)) ++groups_;
    }

    /* Heights and slopes too, or, `sideways`, only what moves and folds. */
    template <bool sideways>
    OceanPoint at(double x, double z) const {
        Float4 height{}, slopeX{}, slopeZ{}, moveX{}, moveZ{}, xx{}, xz{}, zz{};
        OceanWaves::Slopes hidden = waves_.slopesFrom(groups_);
        for (int i = 0; i < groups_; ++i) {
            const Group& group = waves_.group(i);
            Float4 sine, cosine;
            sincosTurns(turnsOf(group, x, z), sine, cosine);
            const Float4 kx = load4(group.kx), kz = load4(group.kz);
            if (!isSharp_) weigh<sideways>(group, kx, kz, sine, cosine, hidden);
            if constexpr (!sideways) {
                const Float4 amplitude = load4(group.amplitude);
                height += amplitude * cosine;
                slopeX -= amplitude * kx * sine;
                slopeZ -= amplitude * kz * sine;
            }
            if (!waves_.isPeaked()) continue;
            const Float4 towardX = load4(group.moveX), towardZ = load4(group.moveZ);
            moveX += towardX * sine;
            moveZ += towardZ * sine;
            xx += towardX * kx * cosine;
            xz += towardX * kz * cosine;
            zz += towardZ * kz * cosine;
        }
        OceanPoint p{total(height), total(slopeX), total(slopeZ), total(moveX), total(moveZ), 1, hidden};
        xx_ = 1 + total(xx);
        zz_ = 1 + total(zz);
        xz_ = total(xz);
        p.stretch = xx_ * zz_ - xz_ * xz_;
        return p;
    }

    /* Undoes the stretching around the last point: where a step of the surface comes from. */
    void atRest(miScalar& x, miScalar& z) const {
        const miScalar stretch = std::max(xx_ * zz_ - xz_ * xz_, kLeastStretch);
        const miScalar restX = (zz_ * x - xz_ * z) / stretch;
        z = (xx_ * z - xz_ * x) / stretch;
        x = restX;
    }

private:
    /* A bell blurs a wave by exp(-blur / 2), of which (1 - blur / 8)^4 is a good likeness that ends. */
    template <bool sideways>
    void weigh(const Group& group, Float4 kx, Float4 kz, Float4& sine, Float4& cosine,
               OceanWaves::Slopes& hidden) const {
        const Float4 along = kx * footprint_.alongX + kz * footprint_.alongZ;
        const Float4 across = kx * footprint_.acrossX + kz * footprint_.acrossZ;
        const Float4 rest = max4(1 - (along * along + across * across) * (1 / kGone), Float4{});
        const Float4 squared = rest * rest, weight = squared * squared;
        sine *= weight;
        cosine *= weight;
        if constexpr (!sideways) {
            const Float4 amplitude = load4(group.amplitude), lost = (1 - weight * weight) * 0.5f;
            const Float4 half = amplitude * amplitude * lost;
            const Float4 folds = load4(group.moveX) * kx + load4(group.moveZ) * kz;
            hidden.xx += total(half * kx * kx);
            hidden.xz += total(half * kx * kz);
            hidden.zz += total(half * kz * kz);
            hidden.fold += total(folds * folds * lost);
        }
    }

    const OceanWaves& waves_;
    const OceanFootprint& footprint_;
    int groups_ = 0;
    bool isSharp_;
    mutable miScalar xx_ = 1, xz_ = 0, zz_ = 1; /* how the last point's surroundings are stretched */
};

}  // namespace

OceanPoint oceanParticle(const OceanWaves& waves, double x, double z, const OceanFootprint& footprint) {
    return Sums(waves, footprint).at<false>(x, z);
}

OceanPoint oceanSurface(const OceanWaves& waves, double x, double z, const OceanFootprint& footprint,
                        OceanPoint* particle) {
    const Sums sums(waves, footprint);
    if (!waves.isPeaked()) {
        const OceanPoint p = sums.at<false>(x, z);
        if (particle) *particle = p;
        return p;
    }
    // Newton's method finds the water that has come here; two steps from where it would be at rest are enough.
    OceanPoint p = particle ? sums.at<false>(x, z) : sums.at<true>(x, z);
    if (particle) *particle = p;
    double restX = x, restZ = z;
    for (int step = 0;; ++step) {
        auto awayX = static_cast<miScalar>(x - restX - static_cast<double>(p.moveX));
        auto awayZ = static_cast<miScalar>(z - restZ - static_cast<double>(p.moveZ));
        if (step == 2) {
            // What is still missing is the slope's.
            sums.atRest(p.slopeX, p.slopeZ);
            p.height += p.slopeX * awayX + p.slopeZ * awayZ;
            return p;
        }
        sums.atRest(awayX, awayZ);
        restX += static_cast<double>(awayX);
        restZ += static_cast<double>(awayZ);
        p = step == 1 ? sums.at<false>(restX, restZ) : sums.at<true>(restX, restZ);
    }
}

miScalar meanAbove(miScalar mean, miScalar deviation) {
    if (!(deviation > 0)) return std::max(mean, 0.0f);
    const miScalar t = mean / deviation;
    const miScalar density = std::exp(-t * t / 2) * 0.398942280f;
    const miScalar share = 0.5f * std::erfc(-t * std::numbers::sqrt2_v<miScalar> / 2);
    return mean * share + deviation * density;
}

}  // namespace lumo
