#include "SDK/passes/level_filters.h"

#include "SDK/color/color.h"
#include "SDK/framework/float4.h"
#include "SDK/passes/pass_filter.h"

#include <cstddef>
#include <cstring>

namespace lumo {
namespace {

constexpr miUint kInherited = kLevelNoReflection | kLevelNoRefraction | kLevelHidden;

/* Whatever a ray meets, before its pass mask is asked. */
class Arrival {
public:
    explicit Arrival(const miState* state)
        : level_(rayLevel(state)),
          levels_{state->reflection_level, ~state->reflection_level, state->refraction_level, ~state->refraction_level},
          hiding_(hidingFlags(state->type)) {}

    miUint flags(const FrameBufferInfo& entry) const {
        const miUint inherited = inheritedFlags(entry);
        return inherited | rangeFlags(entry) | (inherited & hiding_ ? kLevelFiltered | kLevelHidden : 0);
    }

    /* The same for what lies before the surface: what that itself keeps out of the buffer does not matter. */
    bool seesBefore(const FrameBufferInfo& entry) const {
        const miUint tracer = level_ > 0 ? entry.slots[level_ - 1].levelFlags : 0;
        return rangeFlags(entry) == 0 && !(tracer & hiding_) && !(entry.slots[level_].levelFlags & kLevelHidden);
    }

private:
    /* Of rays that a buffer does not follow any more, when one of these says so: all that they hit, and all behind it,
     * is hidden from it. */
    static miUint hidingFlags(miRay_type type) {
        const miUint own = type == miRAY_REFLECT ? kLevelNoReflection : type == miRAY_REFRACT ? kLevelNoRefraction : 0;
        return kLevelHidden | own;
    }

    /* What surfaces in front, at this level, and the one that traced the ray leave for this surface. */
    miUint inheritedFlags(const FrameBufferInfo& entry) const {
        const miUint before = level_ > 0 ? entry.slots[level_ - 1].levelFlags : 0;
        return (entry.slots[level_].levelFlags | before) & kInherited;
    }

    /* What the buffer's own range gives: 0 inside it, kLevelFiltered outside, with kLevelBelowRange where more
     * reflections or refractions lead into it. */
    miUint rangeFlags(const FrameBufferInfo& entry) const {
        static_assert(offsetof(FrameBufferInfo, maxRefractionLevel) - offsetof(FrameBufferInfo, minReflectionLevel) ==
                      3 * sizeof(miInteger));
        // Lowest and highest reflection, lowest and highest refraction.
        Int4 limits;
        std::memcpy(&limits, &entry.minReflectionLevel, sizeof limits);
        const unsigned outside = bits4((limits ^ kHighest) > levels_);
        if (outside == 0) return 0;
        constexpr unsigned kAbove = 0b1010;
        return outside & kAbove ? kLevelFiltered : kLevelFiltered | kLevelBelowRange;
    }

    /* Complements have the opposite order: with those of the highest levels all four comparisons are of one kind. */
    static constexpr Int4 kHighest = {0, -1, 0, -1};

    const int level_;
    const Int4 levels_;
    const miUint hiding_;
};

/* An object that is left out is left out with all that is seen in it and through its refractions, unless the buffer
 * asks for these. Returns whether some buffer is to see what lies behind. */
bool leaveOut(const LevelSlots& slots, const PassFilter& mask) {
    bool looksBehind = false;
    miUint number = 0;
    for (const FrameBufferInfo& entry : slots.entries()) {
        if (mask.allows(number++)) continue;
        miUint& flags = slots.of(entry).levelFlags;
        flags |= kLevelFiltered;
        if (!(entry.flags & kEntryThroughReflection)) flags |= kLevelNoReflection;
        if (!(entry.flags & kEntryThroughRefraction)) flags |= kLevelNoRefraction;
        looksBehind = looksBehind || !(flags & kLevelHidden || entry.flags & kEntryMatte);
    }
    return looksBehind;
}

}  // namespace

bool beginSurface(const LevelSlots& slots, miState* state) {
    // While final gathering is prepared nothing is written, and nobody will read the slots.
    miInteger gathering = 0;
    if (slots.entries().empty() || (mi_query(miQ_FINALGATHER_STATE, state, miNULLTAG, &gathering) && gathering == 2))
        return false;

    const PassFilter mask(state, shadedObject(state));
    const Arrival arrival(state);
    const LevelSlots here = slots;  // a copy stays in registers
    for (const FrameBufferInfo& entry : here.entries()) {
        FrameBufferSlot& slot = here.of(entry);
        slot.contribution = kBlack;
        slot.levelFlags = arrival.flags(entry);
    }
    return mask.text() && leaveOut(slots, mask);
}

bool seesMedium(const FrameBufferInfo& entry, const miState* state) { return Arrival(state).seesBefore(entry); }

void depositEnvironment(const FrameBuffers& buffers, const miState* state, const miColor& color) {
    const miState* ray = state->child;
    if (!ray || ray->instance != miNULLTAG) return;
    const Arrival arrival(ray);
    for (const PassType type : {kPassBeauty, kPassBeautyNoShadow})
        for (const FrameBufferInfo& entry : buffers.ofType(type)) {
            FrameBufferSlot* slot = currentSlot(entry, ray);
            if (!slot || (slot->levelFlags & kLevelHasSurroundings)) continue;
            if (!(arrival.flags(entry) & kLevelFiltered)) slot->color = color;
        }
}

void depositUntraced(const FrameBuffers& buffers, const miState* state, const miColor& color) {
    miState ray = *state;
    ray.type = miRAY_REFLECT;
    ++ray.reflection_level;
    const Arrival arrival(&ray);
    for (const PassType type : {kPassBeauty, kPassBeautyNoShadow})
        for (const FrameBufferInfo& entry : buffers.ofType(type)) {
            FrameBufferSlot* here = currentSlot(entry, state);
            FrameBufferSlot* next = currentSlot(entry, &ray);
            if (!here || !next) continue;
            next->levelFlags = 0;
            const bool handedUp = !isFilteredOut(*here) || (entry.flags & kEntryThroughReflection);
            const bool seen = !(arrival.flags(entry) & kLevelFiltered);
            if (seen && handedUp && !(entry.flags & kEntryNoTracedLight))
                here->contribution = here->contribution + color;
        }
}

}  // namespace lumo
