/* Ramps: reading them from parameters and looking them up. */
#include "float4.h"
#include "lumo.h"
#include "parameters.h"
#include "ramp_search.h"

#include <algorithm>
#include <cstddef>
#include <numbers>

namespace lumo {
namespace {

static_assert(sizeof(LumoRamp) == 1208 && offsetof(LumoRamp, positions) == 8 && offsetof(LumoRamp, values) == 208 &&
              offsetof(LumoRamp, interpolations) == 1008);
static_assert(sizeof(RampScalarEntry) == 12 && sizeof(RampColorEntry) == 24);

/* An array parameter: its first words, behind which the entries follow. */
template <class Entry>
struct RampGroup {
    miInteger start;
    miInteger count;
    Entry entries[1];
};

/* Where entry number i of a ramp keeps its value. */
float& valueOf(LumoRamp& ramp, int i, float) { return (&ramp.values[0].r)[i]; }

miColor& valueOf(LumoRamp& ramp, int i, const miColor&) { return ramp.values[i]; }

float scalarOf(const LumoRamp& ramp, int i) { return (&ramp.values[0].r)[i]; }

template <class Entry>
class RampReader : ShaderHelper<RampGroup<Entry>> {
    using Group = RampGroup<Entry>;

public:
    RampReader(miState* state, Group* group) : ShaderHelper<Group>(state, group) {}

    void read(LumoRamp& ramp) const {
        ramp.count = std::min<miInteger>((*this)(&Group::count), kRampCapacity);
        if (ramp.count < 1) return;
        Entry* entry = this->block()->entries + (*this)(&Group::start);
        for (int i = 0; i < ramp.count; ++i, ++entry) {
            ramp.positions[i] = this->evaluated(&entry->position);
            valueOf(ramp, i, entry->value) = this->evaluated(&entry->value);
            ramp.interpolations[i] = this->evaluated(&entry->interpolation);
        }
    }
};

/* 0.5 cos((u + 1) pi) + 0.5 for u in 0 to 1, as 0.5 sin((u - 0.5) pi) + 0.5 by the sine's series: exact to a float, the
 * same on all machines, and without the branches of a library's cosine. */
float smoothWeight(float u) {
    const double x = (u - 0.5) * std::numbers::pi, xx = x * x;
    double sum = 1;
    for (const double step :
         {1.0 / (12 * 13), 1.0 / (10 * 11), 1.0 / (8 * 9), 1.0 / (6 * 7), 1.0 / (4 * 5), 1.0 / (2 * 3)})
        sum = 1 - sum * xx * step;
    return static_cast<float>(0.5 * x * sum + 0.5);
}

/* Weight of the upper entry, 0 to 1. */
float upperWeight(const LumoRamp& ramp, RampBracket at, float t) {
    const float lower = ramp.positions[at.lower], upper = ramp.positions[at.upper];
    const miInteger interpolation = ramp.interpolations[at.lower];
    if (interpolation == kRampNone || t <= lower) return 0;
    if (t >= upper) return 1;
    const float u = (t - lower) / (upper - lower);
    if (interpolation == kRampLinear) return u;
    if (interpolation == kRampSmooth) return smoothWeight(u);
    return 0;
}

/* The segment between two entries as a cubic in x = t - p1. Source: Hermite interpolation with the slopes of the chords
 * across both neighbours, (y2 - y0) / (p2 - p0); the factors 0.2 h / max(0.00001, 0.2 h) are 1 unless entries all but
 * coincide, and keep the slopes finite there. */
class SplineSegment {
public:
    SplineSegment(const LumoRamp& ramp, RampBracket at, float t) : at_(at), outer_(rampNeighbours(ramp, at)) {
        const float p1 = ramp.positions[at.lower], p2 = ramp.positions[at.upper];
        float p0 = ramp.positions[outer_.lower], p3 = ramp.positions[outer_.upper];
        h_ = p2 - p1;
        x_ = t - p1;
        if (p0 == p1) p0 = p1 - h_;
        if (p3 == p2) p3 = p2 + h_;
        chord1_ = std::max(kLeast, p2 - p0);
        chord2_ = std::max(kLeast, p3 - p1);
        scale_ = std::max(kLeast, 0.2f * h_);
    }

    /* Of the channel that `value` gives for the number of an entry. */
    template <class Value>
    float channel(Value value) const {
        const float y0 = value(outer_.lower), y1 = value(at_.lower), y2 = value(at_.upper), y3 = value(outer_.upper);
        const float s1 = (y2 - y0) * (0.2f * h_) / chord1_ / scale_;
        const float s2 = (y3 - y1) * (0.2f * h_) / chord2_ / scale_;
        const float d = y2 - y1;
        const float u = x_ / h_;  // no powers of x and h: those of small ones vanish
        return y1 + s1 * x_ + (3 * d - 2 * s1 * h_ - s2 * h_) * (u * u) + (s1 * h_ + s2 * h_ - 2 * d) * (u * u * u);
    }

private:
    static constexpr float kLeast = 0.00001f;

    RampBracket at_, outer_;
    float h_, x_, chord1_, chord2_, scale_;
};

float scalarAt(const LumoRamp& ramp, float t) {
    const RampBracket at = rampBracket(ramp, t);
    const float lower = scalarOf(ramp, at.lower), upper = scalarOf(ramp, at.upper);
    if (ramp.interpolations[at.lower] != kRampSpline) {
        const float w = upperWeight(ramp, at, t);
        return (1 - w) * lower + w * upper;
    }
    if (t <= ramp.positions[at.lower]) return lower;
    if (t >= ramp.positions[at.upper]) return upper;
    return SplineSegment(ramp, at, t).channel([&](int i) { return scalarOf(ramp, i); });
}

/* Leaves the alpha of `result` as it is, unless a whole entry is taken. */
void colorAt(const LumoRamp& ramp, float t, miColor& result) {
    const RampBracket at = rampBracket(ramp, t);
    const miColor &lower = ramp.values[at.lower], &upper = ramp.values[at.upper];
    if (ramp.interpolations[at.lower] != kRampSpline) {
        const float w = upperWeight(ramp, at, t);
        const Float4 mixed = (1 - w) * load4(&lower.r) + w * load4(&upper.r);
        result = {mixed[0], mixed[1], mixed[2], result.a};
    } else if (t <= ramp.positions[at.lower]) {
        result = lower;
    } else if (t >= ramp.positions[at.upper]) {
        result = upper;
    } else {
        const SplineSegment segment(ramp, at, t);
        result.r = segment.channel([&](int i) { return ramp.values[i].r; });
        result.g = segment.channel([&](int i) { return ramp.values[i].g; });
        result.b = segment.channel([&](int i) { return ramp.values[i].b; });
    }
}

}  // namespace
}  // namespace lumo

void ramp_constructor(LumoRamp* ramp, miState* state, const void* group, miUint kind) {
    ramp->kind = kind;
    ramp->count = 0;
    if (!group) return;
    void* words = const_cast<void*>(group);  // the renderer takes parameters by writable address, and only reads them
    if (kind == 0)
        lumo::RampReader(state, static_cast<lumo::RampGroup<RampScalarEntry>*>(words)).read(*ramp);
    else
        lumo::RampReader(state, static_cast<lumo::RampGroup<RampColorEntry>*>(words)).read(*ramp);
}

void ramp_destructor(LumoRamp* ramp) { ramp->count = 0; }

miScalar ramp_get_interp_float(const LumoRamp* ramp, miScalar t) {
    return ramp->kind != 0 || ramp->count < 1 ? 0 : lumo::scalarAt(*ramp, t);
}

void ramp_get_interp_color(const LumoRamp* ramp, miScalar t, miColor* color) {
    if (ramp->kind == 0 || ramp->count < 1)
        *color = {0, 0, 0, 0};
    else
        lumo::colorAt(*ramp, t, *color);
}
