#include "shaders/volumes/volume_passes.h"

#include "SDK/lights/light_entries.h"

#include <optional>

namespace lumo {
namespace {

/* While a medium is at work, a slot's own flags wait in the upper half of their word. */
constexpr int kAside = 16;

bool isOneOf(const FrameBuffers& buffers, const FrameBufferInfo& entry, std::initializer_list<PassType> types) {
    return std::any_of(types.begin(), types.end(),
                       [&](PassType type) { return contains(buffers.ofType(type), entry); });
}

/* Buffers of which a medium can be a part, though what is behind a surface shows in none of them. */
constexpr auto kContributed = {kPassBeauty,        kPassBeautyNoShadow, kPassScatter,
                               kPassIncandescence, kPassShadow,         kPassShadowLuminance};

miColor behindMedium(const miColor& transmission, const miColor& color) {
    return {transmission.r * color.r, transmission.g * color.g, transmission.b * color.b, color.a};
}

miColor opacityOver(const miColor& transmission, const miColor& behind) {
    const miColor own = 1 - transmission;
    miColor whole = own + transmission * behind;
    whole.a = behind.a;
    return whole;
}

/* Calls visit(entry) for the entries that the current light contributes to, with shadows, of those that the holder's
 * mask does not leave out. */
template <class Visit>
void visitShadowed(miState* state, miTag holder, Visit visit) {
    const FrameBuffers buffers = currentFrameBuffers(state);
    std::optional<PassFilter> filter;
    miUint number = 0;
    for (FrameBufferInfo& entry : buffers.entries) {
        const miUint pass = number++;
        if (!hasFlag(entry, kEntryShadowed) || !hasFlag(entry, kEntryLightContributes)) continue;
        if (!filter) filter.emplace(state, holder);
        if (hasFlag(entry, kEntryIgnoresOccluderMask) || filter->allows(pass)) visit(entry);
    }
}

}  // namespace

miTag enteredObject(const miState* state) {
    const miTag volume = state->volume;
    for (; state->parent; state = state->parent)
        if (state->parent->volume != volume) return state->parent->instance;
    return miNULLTAG;
}

MediumPasses::MediumPasses(const FrameBuffers& buffers, miState* state)
    : state_(state),
      slots_(state->type == miRAY_ENVIRONMENT ? FrameBuffers{} : buffers, state),
      writer_(state, slots_.buffers(), kMode, &kFlags, &kWeight) {
    if (slots_.entries().empty()) return;
    const PassFilter mask(state, enteredObject(state));
    miUint number = 0;
    for (const FrameBufferInfo& entry : slots_.entries()) {
        FrameBufferSlot& slot = slots_.of(entry);
        const bool takes = mask.allows(number++) && seesMedium(entry, state);
        slot.levelFlags = slot.levelFlags << kAside | (takes ? 0 : kLevelFiltered);
        slot.contribution = kBlack;
    }
}

MediumPasses::~MediumPasses() {
    for (const FrameBufferInfo& entry : slots_.entries()) slots_.of(entry).levelFlags >>= kAside;
}

/* Buffers that leave the medium out see what is behind it, but for those that keep holes for what they leave out. */
bool MediumPasses::isHere(const FrameBufferInfo& entry) const {
    return !(slots_.of(entry).levelFlags & kLevelFiltered) || (entry.flags & kEntryMatte);
}

/* As whoever sent the ray would, who sees no difference between them and the media then. */
void MediumPasses::putSurroundings(const miColor& color) const {
    for (const PassType type : {kPassBeauty, kPassBeautyNoShadow})
        for (const FrameBufferInfo& entry : slots_.buffers().ofType(type)) {
            if (!seesMedium(entry, state_)) continue;
            FrameBufferSlot& slot = slots_.of(entry);
            slot.color = color;
            slot.levelFlags |= kLevelHasSurroundings << kAside;
        }
}

void MediumPasses::putOver(const miColor& transmission, const miColor& surroundings) {
    const FrameBuffers& buffers = slots_.buffers();
    if (state_->instance == miNULLTAG) putSurroundings(surroundings);
    for (const FrameBufferInfo& entry : slots_.entries()) {
        if (!isHere(entry)) continue;
        FrameBufferSlot& slot = slots_.of(entry);
        const bool contributes = isOneOf(buffers, entry, kContributed);
        if (isOneOf(buffers, entry, {kPassTransparency})) {
            slot.color = withAlphaOne(transmission);
        } else if (isOneOf(buffers, entry, {kPassMatte})) {
            const miColor whole = opacityOver(transmission, slot.color);
            slot.color = withAlphaOne(whole);
        } else if ((entry.flags & kEntryComposited) && !(entry.flags & kEntryNoTracedLight)) {
            slot.color = slot.contribution + behindMedium(transmission, slot.color);
            slot.transparency = opacityOver(transmission, slot.transparency);
        } else if (contributes) {
            // In front of everything else, the medium stands alone.
            slot.color = slot.contribution;
        }
    }
}

void dimPasses(miState* state, const miColor& transmission, const miColor& light) {
    visitShadowed(state, enteredObject(state), [&](FrameBufferInfo& entry) {
        if (!hasFlag(entry, kEntryShadowInverted)) {
            entry.lightValue = behindMedium(transmission, entry.lightValue);
            return;
        }
        // A light whose shadows were not traced has left white, and blocked nothing yet.
        const bool isUntraced = entry.shadowValue.r == 1 && entry.shadowValue.g == 1 && entry.shadowValue.b == 1;
        const miColor arriving = isUntraced ? light : entry.shadowValue;
        const miColor left = behindMedium(transmission, arriving);
        entry.lightValue = withAlphaOne(entry.lightValue + (arriving - left));
        entry.shadowValue = withAlphaOne(left);
    });
}

void dimShadow(miState* state, miTag holder, const miColor& transmission) {
    visitShadowed(state, holder, [&](FrameBufferInfo& entry) { entry.shadowValue = entry.shadowValue * transmission; });
}

}  // namespace lumo
