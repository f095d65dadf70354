/* lumoVexaWriteToColorBuffer, ...VectorBuffer, ...DepthBuffer, ...LabelBuffer: write a value of the scene's own into a
 * user buffer (pass type 30), and hand a color on.
 *
 * They stand anywhere in a shading network, between what computes the color and what uses it, or among the shaders that
 * the shading engine evaluates before its surface (evaluationMode 2).
 * Parameters: those of all (SDK/passes/write_shader.h), then the value; the color shader takes its alpha from a scalar.
 *
 * Example: the noise that a surface is colored with, also as a pass.
 *   shader "noise_pass" "lumoVexaWriteToColorBuffer" (
 *       "buffer" 0, "writeMode" 3, "evaluationMode" 1, "color" = "noise", "value" = "noise", "alpha" 1
 *   )
 */
#include "SDK/color/color.h"
#include "SDK/framework/export_shader.h"
#include "SDK/passes/write_shader.h"

namespace lumo {

struct WriteToColorBufferParameters {
    WriteHeader header;
    miColor value;
    miScalar alpha; /* in place of the value's own */
};

struct WriteToVectorBufferParameters {
    WriteHeader header;
    miVector value;
};

struct WriteToDepthBufferParameters {
    WriteHeader header;
    miScalar value;
};

struct WriteToLabelBufferParameters {
    WriteHeader header;
    miInteger value;
};

namespace {

constexpr miCBoolean kWeighted = kWriteWeighted;

/* The contribution that may be written now; null where the surface is filtered, for environment rays, and in mode 0. */
miColor* writableContribution(const miState* state, const FrameBufferInfo& entry, miUint mode) {
    if (mode == kWriteNone || state->type == miRAY_ENVIRONMENT) return nullptr;
    FrameBufferSlot* slot = currentSlot(entry, state);
    return slot && !(slot->levelFlags & kLevelFiltered) ? &slot->contribution : nullptr;
}

miScalar combined(miScalar old, miScalar value, miUint mode) {
    if (mode == kWriteReplace) return value;
    return mode == kWriteMultiply ? value * old : value + old;
}

struct WriteToColorBufferHelper : ShaderHelper<WriteToColorBufferParameters> {
    using ShaderHelper::ShaderHelper;

    miColor value() const {
        miColor value = (*this)(&Parameters::value);
        value.a = (*this)(&Parameters::alpha);
        return value;
    }
    static void write(miState* state, const miColor& value, FrameBufferInfo& entry, miUint mode, miScalar weight) {
        passWriteColor(state, &value, &entry, &mode, &kWeighted, &weight, nullptr, nullptr);
    }
};

struct WriteToVectorBufferHelper : ShaderHelper<WriteToVectorBufferParameters> {
    using ShaderHelper::ShaderHelper;

    miVector value() const { return (*this)(&Parameters::value); }
    static void write(miState* state, const miVector& value, FrameBufferInfo& entry, miUint mode, miScalar weight) {
        miColor* words = writableContribution(state, entry, mode);
        if (!words) return;
        words->r = combined(words->r, value.x * weight, mode);
        words->g = combined(words->g, value.y * weight, mode);
        words->b = combined(words->b, value.z * weight, mode);
    }
};

struct WriteToDepthBufferHelper : ShaderHelper<WriteToDepthBufferParameters> {
    using ShaderHelper::ShaderHelper;

    miScalar value() const { return (*this)(&Parameters::value); }
    static void write(miState* state, miScalar value, FrameBufferInfo& entry, miUint mode, miScalar weight) {
        if (miColor* words = writableContribution(state, entry, mode))
            words->r = combined(words->r, value * weight, mode);
    }
};

struct WriteToLabelBufferHelper : ShaderHelper<WriteToLabelBufferParameters> {
    using ShaderHelper::ShaderHelper;

    miInteger value() const { return (*this)(&Parameters::value); }
    static void write(miState* state, miInteger value, FrameBufferInfo& entry, miUint mode, miScalar weight) {
        passWriteInteger(state, &value, &entry, &mode, &kWeighted, &weight);
    }
};

template <class Helper>
using WriteShader = WriteToFrameBufferShader<typename Helper::Parameters, WriteToFrameBufferReturnType, Helper>;

using WriteToColorBuffer = WriteShader<WriteToColorBufferHelper>;
using WriteToVectorBuffer = WriteShader<WriteToVectorBufferHelper>;
using WriteToDepthBuffer = WriteShader<WriteToDepthBufferHelper>;
using WriteToLabelBuffer = WriteShader<WriteToLabelBufferHelper>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaWriteToColorBuffer, WriteToColorBuffer, "shaders/lumoWriteToFrameBuffer")
LUMO_EXPORT_SHADER(lumoVexaWriteToVectorBuffer, WriteToVectorBuffer, "shaders/lumoWriteToFrameBuffer")
LUMO_EXPORT_SHADER(lumoVexaWriteToDepthBuffer, WriteToDepthBuffer, "shaders/lumoWriteToFrameBuffer")
LUMO_EXPORT_SHADER(lumoVexaWriteToLabelBuffer, WriteToLabelBuffer, "shaders/lumoWriteToFrameBuffer")

}  // namespace lumo
