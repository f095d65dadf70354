#include "level_filters.h"

#include "color.h"
#include "pass_filter.h"

namespace lumo {
namespace {

constexpr miUint kInherited = kLevelNoReflection | kLevelNoRefraction | kLevelHidden;

/* What surfaces in front, at this level, and the one that traced the ray leave for this surface. */
miUint inheritedFlags(const FrameBufferInfo& entry, int level)
{
    const miUint before = level > 0 ? entry.slots[level - 1].levelFlags : 0;
    return (entry.slots[level].levelFlags | before) & kInherited;
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

/* What the buffer's own range gives: 0 inside it, kLevelFiltered outside, with kLevelBelowRange where more reflections
 * or refractions lead into it. */
miUint rangeFlags(const FrameBufferInfo& entry, const miState* state)
{
    const int reflection = state->reflection_level, refraction = state->refraction_level;
    const bool below = reflection < entry.minReflectionLevel || refraction < entry.minRefractionLevel;
    const bool above = reflection > entry.maxReflectionLevel || refraction > entry.maxRefractionLevel;
    if (below && !above)
        return kLevelFiltered | kLevelBelowRange;
    return above ? kLevelFiltered : 0;
}

/* Whatever the state's ray meets, before its pass mask is asked. */
miUint arrivalFlags(const FrameBufferInfo& entry, const miState* state)
{
    const miUint flags = inheritedFlags(entry, rayLevel(state));
    return flags | rayFlags(flags, state) | rangeFlags(entry, state);
}

} // namespace

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
        miUint flags = arrivalFlags(entry, state);
        if (!mask.allows(number++)) {
            flags |= maskFlags(entry);
            looksBehind = looksBehind || !(flags & kLevelHidden || entry.flags & kEntryMatte);
        }
        slot.levelFlags = flags;
    }
    return looksBehind;
}

void depositEnvironment(const FrameBuffers& buffers, const miState* state, const miColor& color)
{
    const miState* ray = state->child;
    if (!ray || ray->instance != miNULLTAG)
        return;
    for (const PassType type : {kPassBeauty, kPassBeautyNoShadow})
        for (const FrameBufferInfo& entry : buffers.ofType(type)) {
            FrameBufferSlot* slot = currentSlot(entry, ray);
            if (slot && !(arrivalFlags(entry, ray) & kLevelFiltered))
                slot->color = color;
        }
}

void depositUntraced(const FrameBuffers& buffers, const miState* state, const miColor& color)
{
    miState ray = *state;
    ray.type = miRAY_REFLECT;
    ++ray.reflection_level;
    for (const PassType type : {kPassBeauty, kPassBeautyNoShadow})
        for (const FrameBufferInfo& entry : buffers.ofType(type)) {
            FrameBufferSlot* here = currentSlot(entry, state);
            FrameBufferSlot* next = currentSlot(entry, &ray);
            if (!here || !next)
                continue;
            next->levelFlags = 0;
            const bool handedUp = !isFilteredOut(*here) || (entry.flags & kEntryThroughReflection);
            const bool seen = !(arrivalFlags(entry, &ray) & kLevelFiltered);
            if (seen && handedUp && !(entry.flags & kEntryNoTracedLight))
                here->contribution = here->contribution + color;
        }
}

} // namespace lumo
