/* Render passes of media: their own contributions, over what lies behind them. */
#pragma once

#include "SDK/passes/level_filters.h"
#include "SDK/passes/pass_filter.h"
#include "SDK/surface/surface_point.h"

namespace lumo {

/* The object through whose surface the ray entered the volume that it is in; null where it began inside, as in the
 * volume of the camera. */
miTag enteredObject(const miState* state);

/* While it lives, the slots of the state's level take what the media in front of the state's hit contribute. Buffers that
 * leave the object out whose surface holds the media take nothing. */
class MediumPasses {
public:
    MediumPasses(const FrameBuffers& buffers, miState* state);
    ~MediumPasses();

    MediumPasses(const MediumPasses&) = delete;
    MediumPasses& operator=(const MediumPasses&) = delete;

    const PassWriter& writer() const { return writer_; }

    /* At last: what was contributed, over what the slots held, as far as `transmission` lets that through. Behind media
     * that no surface ends `surroundings` are seen. */
    void putOver(const miColor& transmission, const miColor& surroundings);

private:
    bool isHere(const FrameBufferInfo& entry) const;
    void putSurroundings(const miColor& color) const;

    static constexpr miUint kMode = kWriteAdd;
    static constexpr miCBoolean kFlags = 0;
    static constexpr miScalar kWeight = 1;

    miState* const state_;
    const LevelSlots slots_;
    const PassWriter writer_;
};

/* Light that media dim on its way to a point, in a light or shadow ray: buffers that take shadows get less of it, those
 * that record blocked light more. `light` is what arrives without the media. */
void dimPasses(miState* state, const miColor& transmission, const miColor& light);

/* The same inside of a shadow ray, where the passes keep how much is let through. `holder` is the instance around the
 * media, whose mask is asked. */
void dimShadow(miState* state, miTag holder, const miColor& transmission);

}  // namespace lumo
