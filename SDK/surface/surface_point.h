/* What a surface material knows about the point that it shades, and how it writes its passes there. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/passes/frame_buffers.h"
#include "SDK/passes/slot_writer.h"
#include "SDK/framework/renderer_access.h"

namespace lumo {

/* Filled before the light loop. Vectors are in internal space. */
struct SurfacePoint {
    miState* state;
    Vexabase* record;
    CompositionState composition;

    miColor color, transparency; /* transparency is T: 1 is clear */
    miScalar translucence, translucenceFocus, translucenceDepth;
    miScalar glowIntensity;
    miInteger matteMode;
    miBoolean hideSource;

    miVector normal;    /* shading normal, bumped, turned to the eye as a rule */
    miScalar normalEye; /* cosine of it and the direction to the eye */
    miVector mirror;    /* eye ray, mirrored by the normal */

    miColor ambientMaterial, diffuseMaterial;
    miScalar diffuse;

    bool refractionTraced = false; /* set by the refraction component */

    bool wants(miUint terms) const { return (composition.mask & terms) != 0; }
};

/* Writes a material's values into the entries of a pass type. What materials write has alpha 1. The buffers must outlive
 * it. */
class PassWriter {
public:
    PassWriter(miState* state, const FrameBuffers& buffers, miUint mode, const miCBoolean* flags,
               const miScalar* weight)
        : state_(state),
          buffers_(buffers),
          mode_(mode),
          flags_(flags),
          weight_(weight),
          slots_(state, mode, *flags, *weight) {}

    /* From now on nothing is written. */
    void close() { mode_ = kWriteNone; }
    bool isOpen() const { return mode_ != kWriteNone && !buffers_.empty(); }

    /* Whole values. */
    void write(PassType type, const miColor& value) const {
        if (takes(type)) writeAll(type, opaque(value));
    }
    void writeWithAlpha(PassType type, const miColor& value) const {
        if (takes(type)) writeAll(type, Float4{value.r, value.g, value.b, value.a});
    }
    void writeScalar(PassType type, miScalar value) const {
        if (!takes(type)) return;
        for (const FrameBufferInfo& entry : buffers_.ofType(type)) slots_.writeFirstWord(entry, value);
    }

    /* Terms of a light sample, which the light that each entry gets multiplies. */
    void addLit(PassType type, const miColor& term) const {
        if (takes(type)) addAllLit(type, opaque(term));
    }
    void addLitLuminance(PassType type, const miColor& term) const {
        if (!takes(type)) return;
        for (FrameBufferInfo& entry : buffers_.ofType(type)) entry.lightSum.r += luminance(entry.lightValue * term);
    }

    void beginLight() const {
        if (!buffers_.empty()) sampleLightBegin(buffers_.count(), buffers_.entries.data());
    }
    void takeForeignLight(const miColor& color, miTag light) const {
        if (!buffers_.empty()) handleNonLumoLights(buffers_.count(), buffers_.entries.data(), &color, light, state_);
    }
    void endLight(int samples) const {
        if (!buffers_.empty())
            sampleLightEnd(state_, buffers_.count(), buffers_.entries.data(), samples, &mode_, flags_, weight_);
    }

    /* The buffers that secondary rays write for this surface. */
    FrameBuffers traced() const { return isOpen() ? buffers_ : FrameBuffers{}; }

private:
    /* Scenes have few of the types: most writes end here. */
    bool takes(PassType type) const { return buffers_.hasType(type) && isOpen(); }

    /* Values come in registers: in memory, written one by one and read at once, they would be waited for. */
    [[gnu::noinline]] void writeAll(PassType type, Float4 value) const {
        slots_.writeEach(buffers_.ofType(type), [&](const FrameBufferInfo&) { return value; });
    }
    [[gnu::noinline]] void addAllLit(PassType type, Float4 term) const {
        for (FrameBufferInfo& entry : buffers_.ofType(type))
            store4(&entry.lightSum.r, load4(&entry.lightSum.r) + load4(&entry.lightValue.r) * term);
    }

    static Float4 opaque(const miColor& value) { return Float4{value.r, value.g, value.b, 1}; }

    miState* const state_;
    const FrameBuffers& buffers_;
    miUint mode_;
    const miCBoolean* const flags_;
    const miScalar* const weight_;
    const SlotWriter slots_;
};

}  // namespace lumo
