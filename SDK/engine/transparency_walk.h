/* Looking through a surface: what lies behind it is traced and composited under it, in the picture and pass by pass. */
#pragma once

#include "SDK/passes/level_filters.h"

namespace lumo {

enum class WalkKind {
    kTransparent, /* a transparency ray: one more surface of the path */
    kContinued    /* the surface counts as not there: the ray goes on as what it is */
};

struct WalkSettings {
    WalkKind kind;
    bool opaquePasses; /* in the passes nothing shines through */
    bool tempOnHeap;   /* else on the stack, as long as there are not too many buffers */
};

/* Renderers do not nest without end: a path of 256 states is not followed further. An eye state of the scanline
 * renderer always is. */
bool isWalkTooDeep(const miState* state);

/* Traces what lies behind the state's hit and gives its color, black when there is nothing. The surface's colors and
 * opacities must be in the slots. They are taken out meanwhile, so that the surfaces behind use the same slots, and
 * merged with what these left there. The state is as before, except for `child`. */
miColor lookBehind(const LevelSlots& slots, miState* state, const WalkSettings& walk);

}  // namespace lumo
