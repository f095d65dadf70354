#include "level_filters.h"

#include "color.h"
#include "pass_filter.h"

namespace lumo {
namespace {

constexpr miUint kInherited = kLevelNoReflection | kLevelNoRefraction | kLevelHidden;

/* What surfaces in front, at this level, and the one that traced the ray leave for this surface. */
miUint inheritedFlags(const LevelSlots& slots, const FrameBufferInfo& entry)
{
    const int level = slots.level();
    const miUint before = level > 0 ? entry.slots[level - 1].levelFlags : 0;
    return (slots.of(entry).levelFlags | before) & kInherited;
}

/* Rays that the buffer does not follow any more: all that they hit, and all behind it, is hidden from it. */
miUint rayFlags(miUint flags, const miState* state)
{
    const bool hidden = (flags & kLevelHidden) || (state->type == miRAY_REFLECT && (flags & kLevelNoReflection)) ||
                        (state->type == miRAY_REFRACT && (flags & kLevelNoRefraction));
    return hidden ? kLevelFiltered | kLevelHidden : 0;
}

/* An object that is left out is left out with all that is seen in it and through its refractions, unless the buffer
 * asks for these. */
miUint maskFlags(const FrameBufferInfo& entry)
{
    miUint flags = kLevelFiltered;
    if (!(entry.flags & kEntryThroughReflection))
        flags |= kLevelNoReflection;
    if (!(entry.flags & kEntryThroughRefraction))
        flags |= kLevelNoRefraction;
    return flags;
}

} // namespace

miUint rangeFlags(const FrameBufferInfo& entry, const miState* state)
{
    const int reflection = state->reflection_level, refraction = state->refraction_level;
    const bool below = reflection < entry.minReflectionLevel || refraction < entry.minRefractionLevel;
    const bool above = reflection > entry.maxReflectionLevel || refraction > entry.maxRefractionLevel;
    if (below && !above)
        return kLevelFiltered | kLevelBelowRange;
    return above ? kLevelFiltered : 0;
}

bool beginSurface(const LevelSlots& slots, miState* state)
{
    // While final gathering is prepared nothing is written, and nobody will read the slots.
    miInteger gathering = 0;
    if (slots.entries().empty() || (mi_query(miQ_FINALGATHER_STATE, state, miNULLTAG, &gathering) && gathering == 2))
        return false;

    const PassFilter mask(state, shadedObject(state));
    bool looksBehind = false;
    miUint number = 0;
    for (FrameBufferInfo& entry : slots.entries()) {
        FrameBufferSlot& slot = slots.of(entry);
        slot.contribution = kBlack;
        miUint flags = inheritedFlags(slots, entry);
        flags |= rayFlags(flags, state) | rangeFlags(entry, state);
        if (!mask.allows(number++)) {
            flags |= maskFlags(entry);
            looksBehind = looksBehind || !(flags & kLevelHidden || entry.flags & kEntryMatte);
        }
        slot.levelFlags = flags;
    }
    return looksBehind;
}

} // namespace lumo
