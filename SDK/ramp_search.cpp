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
#include "ramp_search.h"

#include "float4.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace lumo {
namespace {

/* One bit per entry. */
using EntrySet = std::uint64_t;

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

/* The entries on either side of something, and which of each is nearest. `isBelow` and `isAbove` tell of four positions
 * where they lie. */
template <class IsBelow, class IsAbove>
class Sides {
public:
    Sides(const LumoRamp& ramp, IsBelow isBelow, IsAbove isAbove) {
        const int count = entryCount(ramp);
        Float4 highest = broadcast4(-kInfinity), lowest = broadcast4(kInfinity);
        Int4 entry = {0, 1, 2, 3};
        for (int i = 0; i < count; i += 4, entry += 4) {
            const Float4 p = fourPositions(ramp, i);
            const Int4 exists = entry < count;
            const Int4 lower = exists & isBelow(p), upper = exists & isAbove(p);
            below |= EntrySet{bits4(lower)} << i;
            above |= EntrySet{bits4(upper)} << i;
            highest = max4(orNaN4(lower, p), highest);
            lowest = min4(orNaN4(upper, p), lowest);
        }
        lowestAbove = smallest(lowest);
        findNearest(ramp, greatest(highest), lowestAbove);
    }

    EntrySet below = 0, above = 0;
    int nearestBelow, nearestAbove; /* 64 if there is none */
    float lowestAbove;              /* position of nearestAbove */

private:
    void findNearest(const LumoRamp& ramp, float highest, float lowest) {
        EntrySet atHighest = 0, atLowest = 0;
        for (int i = 0; i < entryCount(ramp); i += 4) {
            const Float4 p = fourPositions(ramp, i);
            atHighest |= EntrySet{bits4(p == highest)} << i;
            atLowest |= EntrySet{bits4(p == lowest)} << i;
        }
        nearestBelow = std::countr_zero(atHighest & below);
        nearestAbove = std::countr_zero(atLowest & above);
    }
};

}  // namespace

RampBracket rampBracket(const LumoRamp& ramp, float t) {
    const Sides sides(ramp, [t](Float4 p) { return p < t; }, [t](Float4 p) { return p >= t; });
    const bool firstIsNone = ramp.positions[0] != ramp.positions[0];
    if (firstIsNone || (sides.below | sides.above) == 0) return {0, 0};

    const int below = sides.nearestBelow, above = sides.nearestAbove;
    if (sides.above == 0) return {below, below};
    // Calculated rather than branched upon: which side comes first is as good as random.
    const bool drivesOut = (sides.lowestAbove == t) & (above < std::countr_zero(sides.below));
    const bool takesLower = (sides.below == 0) | drivesOut;
    return {takesLower ? above : below, above};
}

RampBracket rampNeighbours(const LumoRamp& ramp, RampBracket inner) {
    const float lower = ramp.positions[inner.lower], upper = ramp.positions[inner.upper];
    const Sides sides(ramp, [lower](Float4 p) { return p < lower; }, [upper](Float4 p) { return p > upper; });
    return {sides.below ? sides.nearestBelow : inner.lower, sides.above ? sides.nearestAbove : inner.upper};
}

}  // namespace lumo
