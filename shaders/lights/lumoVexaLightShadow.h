/* Soft shadows: several rays to a light that has a size. */
#pragma once

#include "SDK/lumo.h"

#include "SDK/color/color.h"

namespace lumo {

class ShapeSampler;

/* How large a light is for its shadows: a disc that faces the lit point, or a shape. Without a size shadows are hard.
 */
struct ShadowEmitter {
    enum Kind {
        kRadius,
        kAngle
    } kind; /* a radius around the light's position, or the angle that a distant light spans */
    miScalar size;
    const ShapeSampler* shape = nullptr; /* counts instead of kind and size */
};

/* What gets through to the point. */
struct Transmission {
    miColor color = {1, 1, 1, 1};
    bool isLit = true;
};

/* Not while final gathering probes the scene: it averages over so many points that hard shadows do. */
bool isSoft(const ShadowEmitter& emitter, miState* state);

/* Mean over `rays` rays, which also go into the entries' sums. The state's ray is the light shader's again afterwards.
 * The rays' places on the light depend on pixel and point alone, not on threads. */
Transmission traceSoftShadow(miUint count, FrameBufferInfo* entries, miState* state, const ShadowEmitter& emitter,
                             miUint rays);

}  // namespace lumo
