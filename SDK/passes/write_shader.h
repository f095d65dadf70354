/* Shaders that write a value of the scene's own into a user buffer, and hand a color on to what they are connected to.
 *
 * A new one is a parameter record that begins with `WriteHeader header`, and a helper:
 *   class TheHelper : public ShaderHelper<TheParameters> {
 *       Value value() const;                                                     reads the value
 *       static void write(miState*, const Value&, FrameBufferInfo&, miUint mode, miScalar weight);   puts it there
 *   };
 */
#pragma once

#include "SDK/passes/frame_buffers.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/framework/shader_object.h"

namespace lumo {

enum EvaluationMode : miInteger {
    kEvaluateNever = 0,
    kEvaluateBeforeSurface = 2 /* every other number: whenever called */
};

struct WriteHeader {
    miInteger buffer; /* number among the user buffers */
    miInteger writeMode;
    miInteger evaluationMode;
    miScalar weight; /* times the value */
    miColor color;   /* handed on */
};

struct WriteToFrameBufferReturnType {
    miColor color;
};

/* While it lives no other writer runs that waits for the engine's phase: one that is evaluated for a parameter of this
 * one must not write as well. */
class WritePhase {
public:
    WritePhase(FrameBufferInfo& first, bool enabled) : flags_(enabled ? &first.flags : nullptr) {
        if (flags_) *flags_ |= kEntryWritePhase;
    }
    ~WritePhase() {
        if (flags_) *flags_ &= ~static_cast<miUint>(kEntryWritePhase);
    }

    WritePhase(const WritePhase&) = delete;
    WritePhase& operator=(const WritePhase&) = delete;

private:
    miUint* const flags_;
};

template <class P, class Return, class H, int version = kInterfaceVersion>
class WriteToFrameBufferShader : public Shader<P, H, version> {
public:
    using Result = Return;

    explicit WriteToFrameBufferShader(const H& in) : Shader<P, H, version>(in) {}

    miBoolean shade(Return* result, const H& in) const {
        miState* state = in.state();
        if (!requireVexabase(state)) return miFALSE;
        const miInteger evaluation = in(&P::header, &WriteHeader::evaluationMode);
        if (evaluation == kEvaluateNever) return miTRUE;
        // Whoever sees the surface without depositing anything, as rays of indirect light do, sees its color, too.
        const bool waits = evaluation == kEvaluateBeforeSurface;
        if (!waits) result->color = in(&P::header, &WriteHeader::color);
        const FrameBuffers buffers = currentFrameBuffers(state);
        if (buffers.empty()) return miTRUE;

        FrameBufferInfo& first = buffers.entries.front();
        if (waits && (!(first.flags & kEntryClosed) || (first.flags & kEntryWritePhase))) return miTRUE;
        const WritePhase phase(first, waits);
        writeInto(in, buffers.ofType(kPassUser));
        return miTRUE;
    }

private:
    static void writeInto(const H& in, std::span<FrameBufferInfo> userBuffers) {
        const miInteger number = in(&P::header, &WriteHeader::buffer);
        if (number < 0 || static_cast<std::size_t>(number) >= userBuffers.size()) return;
        // This write is meant: it passes although the buffers are closed to materials.
        FrameBufferInfo& entry = userBuffers[static_cast<std::size_t>(number)];
        const miUint flags = entry.flags;
        entry.flags &= ~static_cast<miUint>(kEntryClosed);
        // Read only now: what is evaluated for the value may write to its buffer, too.
        const auto mode = static_cast<miUint>(in(&P::header, &WriteHeader::writeMode));
        const miScalar weight = in(&P::header, &WriteHeader::weight);
        const auto value = in.value();
        H::write(in.state(), value, entry, mode, weight);
        entry.flags = flags;
    }
};

}  // namespace lumo
