/* Pass shaders: each computes one quantity at the eye-ray hit and puts it straight into one frame buffer. The scene
 * lists them in a material behind its surface shader, whose result they leave alone.
 *
 * A new pass is a parameter record that begins with `PassHeader header` and a computation:
 *   template <class Result, class P> struct TheComputation {
 *       explicit TheComputation(const ShaderHelper<P>& in);                captures parameters for the instance
 *       void compute(const ShaderHelper<P>& in, Result& value) const;      may leave parts of the value as they were
 *   };
 */
#pragma once

#include "SDK/color/color.h"
#include "SDK/passes/frame_buffers.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/passes/pass_filter.h"
#include "SDK/framework/shader_object.h"

namespace lumo {

struct PassHeader {
    miInteger pass;         /* number of the buffer among the camera's pass names */
    miInteger contribution; /* number that objects' pass masks are asked about */
    miInteger holdOut;      /* write zeros where the object does not contribute, instead of looking behind it */
    miInteger opacityMode;  /* 0: by threshold; else by what the shading engine found */
    miScalar opacityThreshold;
};

/* Eye rays, and what they see through transparent surfaces without any reflection or refraction. */
template <class P>
struct PassShaderEyeRayFilter {
    static bool accepts(const miState* state, miInteger stage) {
        if (stage != miSTAGE_TILE) return false;
        const bool straight = state->reflection_level == 0 && state->refraction_level == 0;
        return state->type == miRAY_EYE || (state->type == miRAY_TRANSPARENT && straight);
    }
};

/* A pass's value in a place that is large enough for any buffer's data, since the scene may pair a pass with a buffer
 * of another kind. */
template <class Result>
union PassValue {
    miColor buffer;
    Result value;
};

/* Whether the surface counts as there: its transparency T stays below the threshold, or (other mode) the shading engine
 * did not find it clear. */
template <class P>
bool isOpaqueEnough(const FrameBufferState& frame, const ShaderHelper<P>& in) {
    if (in(&P::header, &PassHeader::opacityMode) != 0) return !(frame.flags & kFrameSurfaceClear);
    return 1 - in(&P::header, &PassHeader::opacityThreshold) + 0.00001f >= luminance(frame.transparency);
}

/* Lets the ray go on as if the surface were not there, so that the pass shaders of what lies behind write their
 * buffers. Once per sample and depth of nesting; everything that the ones behind change in the state is put back, and
 * they deposit no colors of materials, nor glow. */
inline void continueBehind(miState* state, FrameBufferState& frame, Vexabase& record) {
    if (frame.flags & kFrameContinued) return;
    const FrameBufferState frameBefore = frame;
    const miUint label = state->label;
    const miVector point = state->point, normal = state->normal, motion = state->motion;
    const double dist = state->dist;
    miState* const child = state->child;

    frame.flags |= kFrameContinuing;
    {
        const InUseGuard closed(publishedFrameBuffers(state).entries);
        const EffectsScope effects(record);
        miColor ignored = kBlack;
        mi_trace_continue(&ignored, state);
    }
    frame = frameBefore;
    frame.flags = (frameBefore.flags | kFrameContinued) & ~static_cast<miUint>(kFrameContinuing);

    state->label = label;
    state->point = point;
    state->normal = normal;
    state->motion = motion;
    state->dist = dist;
    state->child = child;
}

template <class ResultType, class P, class Computation, class EyeRayFilter = PassShaderEyeRayFilter<P>,
          int version = kInterfaceVersion>
class PassShader : public Shader<P, ShaderHelper<P>, version> {
public:
    using Result = void; /* the value goes to the frame buffer, never to the shader's result */
    using Helper = ShaderHelper<P>;

    explicit PassShader(const Helper& in) : PassShader(in, in(&P::header, &PassHeader::pass)) {}

    miBoolean shade(void*, const Helper& in) const {
        miState* state = in.state();
        Vexabase* const record = requireVexabase(state);
        if (!record) return miFALSE;
        const miInteger stage = renderingStage(state);
        if (frameBuffer_ != 0 && EyeRayFilter::accepts(state, stage))
            writePass(in, *record, stage == miSTAGE_TILE ? publishedFrameBufferState(state) : nullptr);
        return miTRUE;
    }

private:
    /* `pass` is handed over because a captured parameter is evaluated once only. */
    PassShader(const Helper& in, miInteger pass)
        : Shader<P, Helper, version>(in),
          frameBuffer_(getNonMaterialPassFrameBufferIndex(in.state(), pass)),
          contribution_(static_cast<miUint>(in(&P::header, &PassHeader::contribution))),
          computation_(in) {
        if (frameBuffer_ == 0)
            mi_error("PassShader(): The camera has no frame buffer for pass %d, which is not written.", pass);
    }

    void writePass(const Helper& in, Vexabase& record, FrameBufferState* frame) const {
        miState* state = in.state();
        if (frame && !isOpaqueEnough(*frame, in)) return;

        // What the computation leaves alone keeps the value that is already in the buffer.
        const int buffer = static_cast<int>(frameBuffer_);
        PassValue<ResultType> value{kBlack};
        mi_fb_get(state, buffer, &value);

        if (PassFilter(state, shadedObject(state)).allows(contribution_)) {
            computation_.compute(in, value.value);
            mi_fb_put(state, buffer, &value);
        } else if (in(&P::header, &PassHeader::holdOut)) {
            value.buffer = kBlack;
            mi_fb_put(state, buffer, &value);
        } else if (frame) {
            continueBehind(state, *frame, record);
        }
    }

    const miUint frameBuffer_;
    const miUint contribution_;
    const Computation computation_;
};

}  // namespace lumo
