/* Ramps: reading them from parameters and looking them up. */
#include "SDK/framework/float4.h"
#include "SDK/lumo.h"
#include "SDK/framework/parameters.h"

#include <algorithm>
#include <cstddef>
#include <numbers>
#include <bit>
#include <limits>

namespace lumo {
namespace {

/* The search is defined by going through the entries once:
 *
 *   lower = upper = 0
 *   for i = 1 .. count - 1, p = position i
 *       t > p:   lower = i if p > P[lower] or P[lower] > t;   upper = i if p > P[upper]
 *       t <= p:  upper = i if P[upper] > p or t > P[upper];   lower = i if P[lower] > p
 *
 * Each step waits for the one before, and for random t each comparison is a coin toss to the branch predictor. Looking
 * at what the steps leave behind, four entries at a time give the same result:
 *  - upper is the lowest position that is not below t, or the highest of all if there is none;
 *  - lower is the highest position below t, or the lowest of all if there is none;
 *  - but an entry at exactly t that comes before all entries below t takes lower, and is never driven out again. It is
 *    upper, too. Only with entries out of order does this differ from the rule before.
 * The first one counts of entries at the same position. A position that is not a number is passed over, unless it is
 * the first one's: no comparison ever drives that out.
 */

/* Numbers of the entries that a position lies between. The position is above lower's and not above upper's; but where
 * there is no entry below, or none at or above it, both are the same entry, that at the ramp's end. */
struct RampBracket {
    int lower, upper;
};

constexpr float kInfinity = std::numeric_limits<float>::infinity();

int entryCount(const LumoRamp& ramp) { return std::min<int>(ramp.count, kRampCapacity); }

/* Four positions. Behind the last entry this reads on into the values, which belong to the record. */
Float4 fourPositions(const LumoRamp& ramp, int from) { return load4(ramp.positions + from); }

float greatest(Float4 v) {
    v = max4(v, __builtin_shufflevector(v, v, 2, 3, 0, 1));
    return max4(v, __builtin_shufflevector(v, v, 1, 0, 3, 2))[0];
}

float smallest(Float4 v) {
    v = min4(v, __builtin_shufflevector(v, v, 2, 3, 0, 1));
    return min4(v, __builtin_shufflevector(v, v, 1, 0, 3, 2))[0];
}

/* Not a < b, not a <= b, and the greater and the lesser one, of which the second counts where one is not a number. In
 * single instructions, which compilers do not find in what is written for other machines. */
#if defined(__SSE2__)
Int4 notLess4(Float4 a, Float4 b) { return reinterpret_cast<Int4>(_mm_cmpnlt_ps(a, b)); }
Int4 notAtMost4(Float4 a, Float4 b) { return reinterpret_cast<Int4>(_mm_cmpnle_ps(a, b)); }
Float4 greater4(Float4 a, Float4 b) { return _mm_max_ps(a, b); }
Float4 lesser4(Float4 a, Float4 b) { return _mm_min_ps(a, b); }
#else
Int4 notLess4(Float4 a, Float4 b) { return ~(a < b); }
Int4 notAtMost4(Float4 a, Float4 b) { return ~(a <= b); }
Float4 greater4(Float4 a, Float4 b) { return max4(a, b); }
Float4 lesser4(Float4 a, Float4 b) { return min4(a, b); }
#endif

/* The entries on either side of something: the nearest of each, and where it lies. `isNotBelow` and `isNotAbove` tell of
 * four positions where they do not lie. */
template <class IsNotBelow, class IsNotAbove>
class Sides {
public:
    Sides(const LumoRamp& ramp, IsNotBelow isNotBelow, IsNotAbove isNotAbove)
        : isNotBelow_(isNotBelow), isNotAbove_(isNotAbove) {
        const int count = entryCount(ramp), whole = count & ~3;
        for (int i = 0; i < whole; i += 4) add(fourPositions(ramp, i));
        if (whole < count) add(orNaN4(Int4{0, 1, 2, 3} < count - whole, fourPositions(ramp, whole)));
        anyBelow = bits4(notBelow_) != 15;
        anyAbove = bits4(notAbove_) != 15;
        lowestAbove = smallest(lowest_);
        findNearest(ramp, count, greatest(highest_), lowestAbove);
    }

    bool anyBelow, anyAbove;
    int nearestBelow, nearestAbove; /* mean nothing if there is none */
    float lowestAbove;              /* position of nearestAbove */

private:
    void add(Float4 positions) {
        const Int4 notBelow = isNotBelow_(positions), notAbove = isNotAbove_(positions);
        notBelow_ &= notBelow;
        notAbove_ &= notAbove;
        // What is masked is not a number, which neither side takes.
        highest_ = greater4(reinterpret_cast<Float4>(notBelow | reinterpret_cast<Int4>(positions)), highest_);
        lowest_ = lesser4(reinterpret_cast<Float4>(notAbove | reinterpret_cast<Int4>(positions)), lowest_);
    }

    /* What lies behind the last entry may look like the nearest one, but comes later. */
    void findNearest(const LumoRamp& ramp, int count, float highest, float lowest) {
        std::uint64_t atHighest = 0, atLowest = 0;
        for (int i = 0; i < count; i += 4) {
            const Float4 p = fourPositions(ramp, i);
            atHighest |= std::uint64_t{bits4(p == highest)} << i;
            atLowest |= std::uint64_t{bits4(p == lowest)} << i;
        }
        nearestBelow = std::countr_zero(atHighest);
        nearestAbove = std::countr_zero(atLowest);
    }

    IsNotBelow isNotBelow_;
    IsNotAbove isNotAbove_;
    Float4 highest_ = broadcast4(-kInfinity), lowest_ = broadcast4(kInfinity);
    Int4 notBelow_ = {-1, -1, -1, -1}, notAbove_ = notBelow_;
};

/* The ramp must have at least one entry. Calls of this and of upperWeight would take a tenth of a look-up's time. */
[[gnu::always_inline]] inline RampBracket rampBracket(const LumoRamp& ramp, float t) {
    const Float4 place = broadcast4(t);
    const Sides sides(
        ramp, [place](Float4 p) { return notLess4(p, place); }, [place](Float4 p) { return notAtMost4(place, p); });
    const bool firstIsNone = ramp.positions[0] != ramp.positions[0];
    if (firstIsNone || !(sides.anyBelow | sides.anyAbove)) return {0, 0};

    const int below = sides.nearestBelow, above = sides.nearestAbove;
    if (!sides.anyAbove) return {below, below};
    // Calculated rather than branched upon: which side comes first is as good as random.
    bool takesLower = !sides.anyBelow;
    if (sides.lowestAbove == t) [[unlikely]]
        takesLower = std::none_of(ramp.positions, ramp.positions + above, [t](float p) { return p < t; });
    return {takesLower ? above : below, above};
}

/* The entries before lower and after upper; lower and upper themselves where the ramp ends there. */
RampBracket rampNeighbours(const LumoRamp& ramp, RampBracket inner) {
    const float lower = ramp.positions[inner.lower], upper = ramp.positions[inner.upper];
    const Sides sides(
        ramp, [lower](Float4 p) { return notLess4(p, broadcast4(lower)); },
        [upper](Float4 p) { return notLess4(broadcast4(upper), p); });
    return {sides.anyBelow ? sides.nearestBelow : inner.lower, sides.anyAbove ? sides.nearestAbove : inner.upper};
}

static_assert(sizeof(LumoRamp) == 1208 && offsetof(LumoRamp, positions) == 8 && offsetof(LumoRamp, values) == 208 &&
              offsetof(LumoRamp, interpolations) == 1008);
static_assert(sizeof(RampScalarEntry) == 12 && sizeof(RampColorEntry) == 24);

/* Where entry number i of a ramp keeps its value. */
float& valueOf(LumoRamp& ramp, int i, float) { return (&ramp.values[0].r)[i]; }

miColor& valueOf(LumoRamp& ramp, int i, const miColor&) { return ramp.values[i]; }

float scalarOf(const LumoRamp& ramp, int i) { return (&ramp.values[0].r)[i]; }

template <class Entry>
class RampReader : ShaderHelper<ParameterArray<Entry>> {
    using Group = ParameterArray<Entry>;

public:
    RampReader(miState* state, Group* group) : ShaderHelper<Group>(state, group) {}

    void read(LumoRamp& ramp) const {
        for (Entry& entry : this->elementsOf(*this->block())) {
            if (ramp.count == kRampCapacity) break;
            const int i = ramp.count++;
            ramp.positions[i] = this->element(entry, &Entry::position);
            valueOf(ramp, i, entry.value) = this->element(entry, &Entry::value);
            ramp.interpolations[i] = this->element(entry, &Entry::interpolation);
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
[[gnu::always_inline]] inline float upperWeight(const LumoRamp& ramp, RampBracket at, float t) {
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
        lumo::RampReader(state, static_cast<lumo::ParameterArray<RampScalarEntry>*>(words)).read(*ramp);
    else
        lumo::RampReader(state, static_cast<lumo::ParameterArray<RampColorEntry>*>(words)).read(*ramp);
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