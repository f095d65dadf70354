/* Along a ray through media: pieces over which the coefficients may count as constant.
 *
 * Between two neighbouring ends of intervals the same primitives are around. Where all of them are even there is one piece,
 * and what follows from it is exact. Else steps of the length of the smallest detail are halved until Simpson's rule over
 * the halves differs from that over the whole by less than the tolerance, in what it changes at the eye. Where steps begin
 * differs from ray to ray, so that what error is left becomes grain, not bands.
 */
#pragma once

#include "shaders/volumes/volume_intervals.h"

#include <algorithm>
#include <cmath>

namespace lumo {

/* `Sink` is what the pieces are for:
 *   static constexpr bool kExtinctionOnly
 *   static constexpr double kCoarseness                       times steps and tolerance
 *   miScalar transmittance() const                            largest channel, of all that was taken so far
 *   bool take(const Stretch&, const Coefficients& mean)       false when the rest does not matter */
template <class Sink>
class March {
public:
    March(const Medium& medium, const MediumCall& call, Sink& sink)
        : medium_(medium), call_(call), sink_(sink), tolerance_(kTolerance * Sink::kCoarseness / medium.quality()) {}

    void run(Intervals& intervals) {
        const std::span all = intervals.all();
        active_ = intervals.room();
        std::size_t next = 0;
        double t = 0;
        while (next < all.size() || activeCount_ > 0) {
            if (activeCount_ == 0) t = all[next].stretch.begin;
            while (next < all.size() && all[next].stretch.begin <= t) enter(all[next++]);
            double end = next < all.size() ? all[next].stretch.begin : active_[0]->stretch.end;
            for (const VolumeInterval* each : active()) end = std::min(end, each->stretch.end);
            if (t < end && !segment({t, end})) return;
            t = end;
            leave(t);
        }
    }

private:
    static constexpr double kTolerance = 1e-3;
    static constexpr int kMostHalvings = 7;
    static constexpr double kMostSteps = 512;
    /* Over a piece the transmittance must not change so much that it matters where on the piece things are. */
    static constexpr miScalar kDeepestPiece = 0.5f;

    std::span<const VolumeInterval*> active() const { return {active_, activeCount_}; }
    const MediumPrimitive& primitiveOf(const VolumeInterval& each) const {
        return medium_.primitives()[each.primitive];
    }

    /* In the order of the primitives, in which they are summed. */
    void enter(const VolumeInterval& interval) {
        std::size_t i = activeCount_++;
        for (; i > 0 && active_[i - 1]->primitive > interval.primitive; --i) active_[i] = active_[i - 1];
        active_[i] = &interval;
    }
    void leave(double t) {
        const auto hasEnded = [t](const VolumeInterval* each) { return each->stretch.end <= t; };
        activeCount_ = static_cast<std::size_t>(std::remove_if(active_, active_ + activeCount_, hasEnded) - active_);
    }

    Coefficients at(double t) const {
        Coefficients sum;
        for (const VolumeInterval* each : active()) {
            if constexpr (Sink::kExtinctionOnly)
                medium_.addExtinction(primitiveOf(*each), call_, each->local, t, sum);
            else
                medium_.add(primitiveOf(*each), call_, each->local, t, sum);
        }
        return sum;
    }

    double clearUntil(double t, double end) const {
        double clear = end;
        for (const VolumeInterval* each : active()) {
            clear = std::min(clear, medium_.clearUntil(primitiveOf(*each), each->local, t, end));
            if (clear <= t) break;
        }
        return clear;
    }

    bool segment(const Stretch& whole) {
        bool isConstant = true;
        double step = whole.end - whole.begin;
        for (const VolumeInterval* each : active()) {
            if (medium_.isConstant(primitiveOf(*each))) continue;
            isConstant = false;
            step = std::min(step, medium_.longestStep(primitiveOf(*each), each->local));
        }
        if (isConstant) return sink_.take(whole, at((whole.begin + whole.end) / 2));

        step = std::max(step * Sink::kCoarseness, (whole.end - whole.begin) / kMostSteps);
        double t = whole.begin, next = t + step * (1 - call_.jitter / 2);
        Coefficients here = at(t);
        while (t < whole.end) {
            if (const double clear = clearUntil(t, whole.end); clear > t) {
                if (clear >= whole.end) return true;
                t = clear;
                next = t + step * (1 - call_.jitter / 2);
                here = at(t);
            }
            next = std::min(next, whole.end);
            const Coefficients there = at(next);
            if (!halve({t, next}, here, at((t + next) / 2), there, kMostHalvings)) return false;
            t = next;
            here = there;
            next = t + step;
        }
        return true;
    }

    bool halve(const Stretch& piece, const Coefficients& a, const Coefficients& m, const Coefficients& b, int more) {
        const double middle = (piece.begin + piece.end) / 2, size = piece.end - piece.begin;
        const Coefficients l = at((piece.begin + middle) / 2), r = at((middle + piece.end) / 2);
        const Coefficients whole = (a + m * 4 + b) * (1.0f / 6);
        const Coefficients halves = (a + l * 4 + m * 2 + r * 4 + b) * (1.0f / 12);
        const auto length = static_cast<miScalar>(size);
        const bool deep = largestChannel(halves.extinction) * length > kDeepestPiece;
        if (more == 0 || (!deep && !isFar(whole, halves, length))) return sink_.take(piece, halves);
        return halve({piece.begin, middle}, a, l, m, more - 1) && halve({middle, piece.end}, m, r, b, more - 1);
    }

    bool isFar(const Coefficients& a, const Coefficients& b, miScalar length) const {
        const auto apart = [](const miColor& x, const miColor& y) {
            return std::max({std::fabs(x.r - y.r), std::fabs(x.g - y.g), std::fabs(x.b - y.b)});
        };
        const miScalar error = std::max(apart(a.extinction, b.extinction), apart(a.emission, b.emission));
        return static_cast<double>(error * length * sink_.transmittance()) > tolerance_;
    }

    const Medium& medium_;
    const MediumCall& call_;
    Sink& sink_;
    const double tolerance_;
    const VolumeInterval** active_ = nullptr;
    std::size_t activeCount_ = 0;
};

/* What is left of light behind a piece. */
inline miColor beerLambert(const miColor& depth) {
    const miScalar r = std::exp(-depth.r);
    // Exponentials are dear, and most media are gray.
    if (depth.g == depth.r && depth.b == depth.r) return {r, r, r, r};
    return {r, std::exp(-depth.g), std::exp(-depth.b), r};
}

/* For light and shadow rays: how much gets through all media. */
class LightSink {
public:
    static constexpr bool kExtinctionOnly = true;
    /* One of many, whose errors cancel. */
    static constexpr double kCoarseness = 2;

    explicit LightSink(miScalar factor) : factor_(factor) {}

    miScalar transmittance() const { return std::exp(-std::min({depth_.r, depth_.g, depth_.b})); }

    bool take(const Stretch& piece, const Coefficients& mean) {
        depth_ = depth_ + mean.extinction * (static_cast<miScalar>(piece.end - piece.begin) * factor_);
        isLost_ = std::min({depth_.r, depth_.g, depth_.b}) > kLost;
        return !isLost_;
    }

    /* Less than half a step of an 8-bit image is nothing. */
    miColor result() const { return isLost_ ? kBlack : beerLambert(depth_); }

private:
    static constexpr miScalar kLost = 6.3f;

    const miScalar factor_;
    miColor depth_ = kBlack;
    bool isLost_ = false;
};

}  // namespace lumo
