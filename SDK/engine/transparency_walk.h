/* Looking through a surface: what lies behind it is traced and composited under it, in the picture and pass by pass. */
#pragma once

#include "SDK/passes/level_filters.h"

namespace lumo {

enum class WalkKind {
    kTransparent, /* a transparency ray: one more surface of the path */
    kBoundary,    /* the same behind the clear end of something: no buffer keeps anything of it */
    kContinued    /* the surface counts as not there: the ray goes on as what it is */
};

struct WalkSettings {
    WalkKind kind;
    bool opaquePasses; /* in the passes nothing shines through */
    bool tempOnHeap;   /* else on the stack, as long as there are not too many buffers */
    miTag volume;      /* what a transparency ray goes on in */
};

/* What pass shaders are told about the surface, also after surfaces behind have used the same words: its
 * transparency, and whether it counts as there at all. `frame` may be null. */
inline void tellOfSurface(FrameBufferState* frame, const miColor& transparency, bool counts) {
    if (!frame) return;
    frame->flags &= ~static_cast<miUint>(kFrameSurfaceClear);
    if (!counts) frame->flags |= kFrameSurfaceClear;
    frame->transparency = transparency;
}

/* Says, while it lives, that a ray goes through a fully clear surface: to what lies behind, nothing is in front. */
class GoingOn {
public:
    GoingOn(FrameBufferState* frame, bool clear) : flags_(frame && clear ? &frame->flags : nullptr) {
        if (!flags_) return;
        before_ = *flags_ & kFrameContinuing;
        *flags_ |= kFrameContinuing;
    }
    ~GoingOn() {
        if (flags_) *flags_ = (*flags_ & ~static_cast<miUint>(kFrameContinuing)) | before_;
    }

    GoingOn(const GoingOn&) = delete;
    GoingOn& operator=(const GoingOn&) = delete;

private:
    miUint* const flags_;
    miUint before_ = 0;
};

/* Renderers do not nest without end: a path of 256 states is not followed further. An eye state of the scanline
 * renderer always is. */
bool isWalkTooDeep(const miState* state);

/* Traces what lies behind the state's hit and gives its color, black when there is nothing. The surface's colors and
 * opacities must be in the slots. They are taken out meanwhile, so that the surfaces behind use the same slots, and
 * merged with what these left there. The state is as before, except for `child`. */
miColor lookBehind(const LevelSlots& slots, miState* state, const WalkSettings& walk);

}  // namespace lumo
