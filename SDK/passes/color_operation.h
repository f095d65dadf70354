/* Color operations: nodes between other shaders that turn colors into a color, a vector or a scalar, and do the same to
 * the render passes that those shaders wrote.
 *
 * A new node is a parameter record that begins with `MaterialHeader header; miInteger passMode;` and a computation,
 * which lives for one call and keeps the parameters that are no input colors:
 *       class TheComputation {
 *           void evaluateInputs(const OperationInputs<TheParameters>& in, OperationRecord& record);   sets record.input
 *           miColor compute(const miColor& input) const;
 *           static void storeResult(TheResult& result, const OperationRecord& record);
 *       };
 * A node with several inputs gets them one after the other, as shaders/nodes/lumoBlend.cpp does:
 *       bool evaluateInputs(in, int index, record);        returns whether more follow
 *       void compute(OperationRecord& record) const;       adds the input to the output
 * One whose result is a surface says what it lets through when it is its own shadow shader, and may treat passes in
 * another way than the color:
 *       void castShadow(const OperationInputs<TheParameters>& in, miColor* light, Vexabase& record);
 *       void computePass(PassContent content, OperationRecord& record) const;
 *
 * In pass mode 1 the slots of the passes are emptied, the inputs' shaders write into them, and what they wrote goes
 * through `compute`, slot by slot, as the colors themselves do. So it is for inputs that are materials.
 */
#pragma once

#include "SDK/color/color.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/passes/level_filters.h"
#include "SDK/framework/shader_object.h"
#include "SDK/surface/surface_result.h"

#include <memory>

namespace lumo {

enum PassMode : miInteger {
    kPassesUntouched = 0, /* and every number that is not below */
    kPassesOperated = 1,  /* the operation applies to what the inputs wrote */
    kPassesCleared = 2,   /* what the inputs wrote is thrown away */
    kPassesReplaced = 3   /* the same, and the result goes into the beauty passes */
};

/* What a pass holds: all light, as the color does; other light, or a number that belongs to it; what surfaces let
 * through; values of the scene's own that are weighted by the opacity of the surfaces. */
enum class PassContent { kBeauty, kLight, kTransparency, kUserValue };

/* A color, or what a pass holds of it, on its way through an operation. */
struct OperationRecord {
    miColor input = kBlack;
    miColor auxiliaryInput = kBlack; /* the second color of a slot: what is handed up */
    miColor output = kBlack;
    miColor auxiliaryOutput = kBlack;
};

/* Parameters of one call. Shaders that are connected to a setting must not write passes, those of input colors may: for
 * these a renderer must not give what it kept of an earlier call, which may have written nothing, or for another input.
 */
template <class P>
class OperationInputs : public ShaderHelper<P> {
public:
    OperationInputs(const ShaderHelper<P>& in, std::span<FrameBufferInfo> entries)
        : ShaderHelper<P>(in), entries_(entries) {}

    template <ParameterValue T>
    T input(T P::* member) const {
        forgetEarlierCalls();
        return (*this)(member);
    }

    template <ParameterValue T>
    T setting(T P::* member) const {
        const InUseGuard closed(entries_);
        return (*this)(member);
    }

    /* The records of an array, for the two below. */
    template <class Record>
    std::span<Record> settings(ParameterArray<Record> P::* array) const {
        const InUseGuard closed(entries_);
        return this->elements(array);
    }

    /* A color with all else that its shader gives, and the size of that. */
    template <class Record, class Result>
    miInteger input(Record& element, miColor Record::* member, Result& result) const {
        forgetEarlierCalls();
        return this->evaluateRecord(&(element.*member), sizeof(miColor), result);
    }

    template <class Record, ParameterValue T>
    T setting(Record& element, T Record::* member) const {
        const InUseGuard closed(entries_);
        return this->element(element, member);
    }

    /* For settings that are read as a group by a function: function(state, address). */
    template <class Group, class Function>
    void settings(Group P::* member, Function&& function) const {
        const InUseGuard closed(entries_);
        function(this->state(), &(this->block()->*member));
    }

protected:
    void forgetEarlierCalls() const {
        if (!entries_.empty()) mi_flush_cache(this->state());
    }

private:
    const std::span<FrameBufferInfo> entries_;
};

/* As an operation's records take a vector, and give it back. */
constexpr miColor colorOf(const miVector& v) { return {v.x, v.y, v.z, 0}; }
constexpr miVector vectorOf(const miColor& c) { return {c.r, c.g, c.b}; }

/* Inputs one after the other, and what becomes of each. */
template <class Computation>
struct OperationSteps {
    static constexpr bool kOneInput =
        requires(const Computation& c, const miColor& color) { miColor(c.compute(color)); };
    static constexpr bool kKnowsContents =
        requires(const Computation& c, OperationRecord& record) { c.computePass(PassContent::kLight, record); };

    template <class P>
    static bool evaluateInputs(Computation& c, const OperationInputs<P>& in, int index, OperationRecord& record) {
        if constexpr (kOneInput) {
            c.evaluateInputs(in, record);
            return false;
        } else {
            return c.evaluateInputs(in, index, record);
        }
    }

    static void compute(const Computation& c, OperationRecord& record, PassContent content = PassContent::kBeauty) {
        if constexpr (kKnowsContents)
            if (content != PassContent::kBeauty) return c.computePass(content, record);
        if constexpr (kOneInput) {
            record.output = c.compute(record.input);
            record.auxiliaryOutput = record.auxiliaryInput;
        } else {
            c.compute(record);
        }
    }

    /* What the inputs' shaders left in a slot goes through the operation. The second color has a meaning only where
     * inputs are added up. */
    static void harvest(const Computation& c, FrameBufferSlot& slot, PassContent content, OperationRecord& record) {
        record.input = slot.contribution;
        record.auxiliaryInput = kOneInput ? kBlack : slot.color;
        compute(c, record, content);
        slot.contribution = slot.color = kBlack;
    }
};

template <class P, class ResultType, class Computation, int version = kInterfaceVersion>
class ColorOperationShader : public Material<P, ShaderHelper<P>, version> {
public:
    using Result = ResultType;
    using Helper = ShaderHelper<P>;

    explicit ColorOperationShader(const Helper& in) : Material<P, Helper, version>(in) {}

    miBoolean shade(Result* result, const Helper& parameters) const {
        miState* state = parameters.state();
        Vexabase* vexabase = requireVexabase(state);
        if (!vexabase) return miFALSE;
        const FrameBuffers buffers = buffersOf(state);
        const OperationInputs<P> in(parameters, buffers.entries);
        if constexpr (requires(Computation& c) { c.castShadow(in, nullptr, *vexabase); }) {
            // A shadow ray's result is one color, not a record.
            if (state->type == miRAY_SHADOW) {
                Computation().castShadow(in, reinterpret_cast<miColor*>(result), *vexabase);
                return miTRUE;
            }
        }
        *result = {};
        const miInteger mode = in.setting(&P::passMode);
        Computation computation;
        OperationRecord record;
        const LevelSlots slots(buffers, state);
        if (mode != kPassesOperated || slots.entries().empty() || !operateOnPasses(computation, in, slots, record))
            operate(computation, in, record);
        computation.storeResult(*result, record);
        if (mode == kPassesCleared || mode == kPassesReplaced) clearPasses(slots);
        if (mode == kPassesReplaced) writePasses(state, buffers, *result, record.output);
        return miTRUE;
    }

private:
    using Steps = OperationSteps<Computation>;
    using Inputs = OperationInputs<P>;

    /* Shadow rays have no passes. */
    static FrameBuffers buffersOf(miState* state) {
        const bool takesPart = state->type != miRAY_SHADOW && rendersTiles(state) && publishedFrameBufferState(state);
        return takesPart ? publishedFrameBuffers(state) : FrameBuffers{};
    }

    static void operate(Computation& computation, const Inputs& in, OperationRecord& record) {
        bool more = true;
        for (int index = 0; more; ++index) {
            more = Steps::evaluateInputs(computation, in, index, record);
            Steps::compute(computation, record);
        }
    }

    /* The same with all passes. False, and nothing has happened, when there is no memory for them. */
    static bool operateOnPasses(Computation& computation, const Inputs& in, const LevelSlots& slots,
                                OperationRecord& record) {
        const std::size_t count = slots.entries().size();
        const std::size_t bytes = count * sizeof(OperationRecord);
        const HeapBlock heap("sdk/lumoColorOperation", count > kMostOnStack ? bytes : 0);
        if (!heap.get() && count > kMostOnStack) return false;
        void* memory = heap.get() ? heap.get() : __builtin_alloca_with_align(bytes, 16 * 8);
        const std::span records(static_cast<OperationRecord*>(memory), count);
        std::uninitialized_value_construct_n(records.data(), count);

        forEachPass(slots, [](FrameBufferSlot& slot, std::size_t) { slot.contribution = slot.color = kBlack; });
        bool more = true;
        for (int index = 0; more; ++index) {
            more = Steps::evaluateInputs(computation, in, index, record);
            Steps::compute(computation, record);
            forEachPass(slots, [&](FrameBufferSlot& slot, std::size_t i) {
                Steps::harvest(computation, slot, contentOf(slots, i), records[i]);
            });
        }
        forEachPass(slots, [&](FrameBufferSlot& slot, std::size_t i) {
            slot.contribution = records[i].output;
            slot.color = records[i].auxiliaryOutput;
        });
        return true;
    }

    static PassContent contentOf(const LevelSlots& slots, std::size_t i) {
        if constexpr (!Steps::kKnowsContents) return PassContent::kLight;
        const FrameBufferInfo& entry = slots.entries()[i];
        if (slots.of(entry).levelFlags & kLevelFiltered) return PassContent::kLight;
        for (const PassType type : {kPassBeauty, kPassBeautyNoShadow})
            if (contains(slots.buffers().ofType(type), entry)) return PassContent::kBeauty;
        if (contains(slots.buffers().ofType(kPassTransparency), entry)) return PassContent::kTransparency;
        const bool composites = entry.flags & kEntryComposited;
        return composites && contains(slots.buffers().ofType(kPassUser), entry) ? PassContent::kUserValue
                                                                                : PassContent::kLight;
    }

    static void clearPasses(const LevelSlots& slots) {
        forEachPass(slots, [](FrameBufferSlot& slot, std::size_t) { slot.contribution = kBlack; });
    }

    /* Closed buffers hold what shaders before the surface wrote, and nothing of the inputs: they are left alone. */
    template <class Function>
    static void forEachPass(const LevelSlots& slots, Function&& function) {
        std::size_t i = 0;
        for (const FrameBufferInfo& entry : slots.entries()) {
            if (!(entry.flags & kEntryClosed)) function(slots.of(entry), i);
            ++i;
        }
    }

    void write(miState* state, const FrameBuffers& buffers, PassType type, const miColor& color) const {
        for (FrameBufferInfo& entry : buffers.ofType(type))
            passWriteColor(state, &color, &entry, &this->passWriteMode, this->passWriteFlagByte(),
                           &this->passWriteWeight, nullptr, nullptr);
    }

    /* A surface shines by itself: its passes add up to the beauty passes as those of a material do. */
    void writePasses(miState* state, const FrameBuffers& buffers, const Result& result, const miColor& output) const {
        miColor beauty = output;
        if constexpr (std::is_same_v<Result, SurfaceShaderReturnType>) {
            beauty.a = luminance(matteOf(result));
            write(state, buffers, kPassIncandescence, withAlphaOne(output));
            write(state, buffers, kPassTransparency, withAlphaOne(result.transparency));
            write(state, buffers, kPassGlow, withAlphaOne(result.glowColor));
        }
        write(state, buffers, kPassBeauty, beauty);
        write(state, buffers, kPassBeautyNoShadow, beauty);
    }
};

}  // namespace lumo
