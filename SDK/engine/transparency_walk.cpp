#include "SDK/engine/transparency_walk.h"

#include "SDK/framework/renderer_access.h"
#include "SDK/color/color.h"
#include "SDK/surface/secondary_rays.h"

namespace lumo {
namespace {

constexpr int kDeepestWalk = 256;
constexpr miScalar kOpaque = 1e-5f;

constexpr const char* kSource = "shaders/lumoVexaShadingEngine";

/* A slot's content during the walk: nine words. */
struct SavedSlot {
    miColor color, opacity;
    miUint levelFlags;
};
static_assert(sizeof(SavedSlot) == 36);

bool isOpaque(const miColor& o) { return 1 - o.r < kOpaque && 1 - o.g < kOpaque && 1 - o.b < kOpaque; }

/* Takes the surface out of the slots. A buffer for which it is opaque sees nothing of what is traced now. */
void takeOut(const LevelSlots& slots, SavedSlot* saved) {
    for (const FrameBufferInfo& entry : slots.entries()) {
        FrameBufferSlot& slot = slots.of(entry);
        // Slots are named after their use, `transparency` holds opacity.
        *saved++ = {slot.color, slot.transparency, slot.levelFlags};
        if (isOpaque(slot.transparency)) slot.levelFlags |= kLevelHidden;
        slot.color = kBlack;
        slot.transparency = kBlack;
    }
}

/* The renderer adds one to the refraction level of a transparency ray. One less to begin with, and the surfaces behind
 * have the level, and so the slots, of this one. */
bool traceTransparent(miState* state, miTag volume, miColor& color) {
    const int level = state->refraction_level;
    state->refraction_volume = volume;
    state->refraction_level = level - 1;
    const bool seen = mi_trace_transparent(&color, state);
    state->refraction_level = level;
    return seen;
}

miColor traceBehind(const LevelSlots& slots, miState* state, const WalkSettings& walk) {
    const HitScope hit(state);
    miColor color = kBlack;
    const bool continued = walk.kind == WalkKind::kContinued;
    const bool seen =
        continued ? mi_trace_continue(&color, state) != miFALSE : traceTransparent(state, walk.volume, color);
    if (!seen) return kBlack;
    depositEnvironment(slots.buffers(), state, color);
    return color;
}

/* How much of what lies behind the surface hides in a buffer. */
miColor opacityIn(const FrameBufferInfo& entry, const SavedSlot& saved, const WalkSettings& walk) {
    constexpr miColor kFull = {1, 1, 1, 1};
    if (walk.kind == WalkKind::kBoundary) return kBlack;
    const bool leftOut = (saved.levelFlags & kLevelFiltered) && !(entry.flags & kEntryMatte);
    const bool plain = entry.flags & kEntryNoTracedLight;
    if (leftOut || (plain && walk.kind == WalkKind::kContinued)) return kBlack;
    if (plain || !(entry.flags & kEntryComposited) || walk.opaquePasses) return kFull;
    return saved.opacity;
}

/* Front over back. The two ends are exact copies: labels travel as the bits of an integer, which arithmetic with what
 * looks like tiny numbers or NaN would spoil. */
miScalar over(miScalar front, miScalar opacity, miScalar back) {
    if (opacity == 1) return front;
    return opacity == 0 && front == 0 ? back : front + (1 - opacity) * back;
}

/* A value of the scene's own is not lessened by the surface's transparency, as its light is: it counts for the part of
 * the surface that hides what lies behind. */
miScalar visible(miScalar value, miScalar opacity) { return opacity == 1 ? value : opacity == 0 ? 0 : value * opacity; }

miColor visible(const miColor& value, const miColor& o) {
    return {visible(value.r, o.r), visible(value.g, o.g), visible(value.b, o.b), value.a};
}

miColor over(const miColor& front, const miColor& o, const miColor& back, miScalar alpha) {
    return {over(front.r, o.r, back.r), over(front.g, o.g, back.g), over(front.b, o.b, back.b), alpha};
}

/* Puts the surface back, over what was traced behind it. Alphas are added whole, whatever the opacity: sample exit
 * limits those that compositing needs, and what writes its own alpha relies on the sum. */
void merge(const LevelSlots& slots, const SavedSlot* saved, const WalkSettings& walk) {
    const std::span user = slots.buffers().ofType(kPassUser);
    for (const FrameBufferInfo& entry : slots.entries()) {
        FrameBufferSlot& slot = slots.of(entry);
        const SavedSlot& front = *saved++;
        slot.levelFlags = front.levelFlags;
        const miColor o = opacityIn(entry, front, walk);
        const bool isValue = contains(user, entry) && !(front.levelFlags & kLevelFiltered);
        const miColor color = isValue ? visible(front.color, o) : front.color;
        slot.color = over(color, o, slot.color, color.a + slot.color.a);
        slot.transparency = over(o, o, slot.transparency, slot.transparency.a + o.a);
    }
}

}  // namespace

bool isWalkTooDeep(const miState* state) {
    int depth = 0;
    for (const miState* above = state->parent; above && depth < kDeepestWalk; above = above->parent) ++depth;
    return !state->scanline && depth == kDeepestWalk;
}

miColor lookBehind(const LevelSlots& slots, miState* state, const WalkSettings& walk) {
    const std::size_t count = slots.entries().size();
    const std::size_t bytes = count * sizeof(SavedSlot);
    const HeapBlock heap(kSource, walk.tempOnHeap || count > kMostOnStack ? bytes : 0);
    if (!heap.get() && count > kMostOnStack) return kBlack;  // without a place for them the passes would be lost

    constexpr std::size_t kAlignBits = 16 * 8;
    void* memory = heap.get() ? heap.get() : __builtin_alloca_with_align(bytes, kAlignBits);
    auto* saved = static_cast<SavedSlot*>(memory);
    takeOut(slots, saved);
    const miColor behind = traceBehind(slots, state, walk);
    merge(slots, saved, walk);
    return behind;
}

}  // namespace lumo
