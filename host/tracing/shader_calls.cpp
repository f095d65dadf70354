#include "tracing/shader_calls.h"

#include "tracing/shader_table.h"
#include "support/abort.h"
#include "support/messages.h"
#include "support/threads.h"

#include "mi/macros.h"
#include "mi/options.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace lumorender {

namespace {

/// Brackets a shader invocation: the state's shader and child, the frame and the arena are as before afterwards.
class Invocation {
public:
    Invocation(ThreadContext& context, miState* state, CallFrame& frame)
        : context_(context),
          state_(state),
          caller_(frame.caller),
          shader_(state->shader),
          child_(state->child),
          mark_(context.arena.mark()) {
        context.frame = &frame;
        state->shader = frame.function;
    }

    [[gnu::always_inline]] ~Invocation() {
        state_->shader = shader_;
        // A child made inside this invocation lies in memory that is given back now.
        state_->child = child_;
        context_.frame = caller_;
        context_.arena.release(mark_);
    }

    Invocation(const Invocation&) = delete;
    Invocation& operator=(const Invocation&) = delete;

private:
    ThreadContext& context_;
    miState* const state_;
    CallFrame* const caller_;
    const miFunction* const shader_;
    miState* const child_;
    const Arena::Mark mark_;
};

[[gnu::cold]] void tellOfDepth() {
    static std::atomic_flag told;
    if (!told.test_and_set())
        warning("RC",
                "rays or connected shaders are as deep as the stack of a thread allows; deeper ones end, as if the "
                "trace depth were reached");
}

/// A stop ends every ray where it is. State shaders, which put things in order, are called in any case.
bool mayCall(miShader_type type) {
    if (type == miSHADER_STATE) return true;
    if (abortRequested()) return false;
    if (stackHasRoom()) return true;
    tellOfDepth();
    return false;
}

FunctionSpan functionsOf(const ThreadContext& context, miTag slot) { return context.scene->slots->functions(slot); }

/// What a call is, beside its shader, its result and its argument.
struct CallKind {
    miShader_type type;
    bool isRoot;       ///< the renderer's own
    bool wholeResult;  ///< the caller's memory is as large as the declared result
};

bool callShader(ThreadContext& context, miState* state, const FunctionSpan& functions, CallKind kind, void* result,
                void* argument);

/// The root of a phenomenon may be one member of a shader's result.
[[gnu::noinline]] bool callMember(ThreadContext& context, miState* state, const MemberConnection& member, CallKind kind,
                                  void* result, void* argument) {
    const Arena::Mark mark = context.arena.mark();
    const FunctionSpan functions = functionsOf(context, member.source);
    void* whole = context.arena.allocateZeroed(std::max<std::size_t>(functions.resultSize, sizeof(miColor)));
    const bool ok = callShader(context, state, functions, {kind.type, false, true}, whole, argument);
    if (ok) std::memcpy(result, static_cast<const std::byte*>(whole) + member.offset, member.size);
    context.arena.release(mark);
    return ok;
}

/// The caller's slot holds a color: the larger record is the callee's alone.
[[gnu::noinline]] bool callWithRecord(ThreadContext& context, miState* state, const FunctionRuntime& runtime,
                                      void* result, void* argument) {
    void* record = context.arena.allocateZeroed(runtime.resultSize);
    std::memcpy(record, result, sizeof(miColor));
    const bool ok = runtime.call(record, state, runtime.function->parameters, argument) != miFALSE;
    std::memcpy(result, record, sizeof(miColor));
    return ok;
}

/// The call itself, with everything around it in order.
bool enter(ThreadContext& context, miState* state, const FunctionRuntime& runtime, CallKind kind, void* result,
           void* argument) {
    ++context.counters.calls;
    if (!kind.wholeResult && runtime.resultSize > sizeof(miColor)) [[unlikely]]
        return callWithRecord(context, state, runtime, result, argument);
    return runtime.call(result, state, runtime.function->parameters, argument) != miFALSE;
}

/// A sample calls some ten shaders that cost little themselves: this is short, and takes what fits into registers.
[[gnu::noinline]] bool callFunction(ThreadContext& context, miState* state, FunctionRuntime& runtime, CallKind kind,
                                    void* result, void* argument) {
    if (!runtime.call) [[unlikely]]
        return runtime.member && callMember(context, state, *runtime.member, kind, result, argument);
    if (!mayCall(kind.type)) return false;
    CallFrame frame(context.frame, runtime.function, kind.type, kind.isRoot);
    const Invocation invocation(context, state, frame);
    return enter(context, state, runtime, kind, result, argument);
}

/// One after the other, of which each begins with a frame of its own; what is to be put back is put back once.
[[gnu::noinline]] bool callEach(ThreadContext& context, miState* state, const FunctionSpan& functions, CallKind kind,
                                void* result, void* argument) {
    CallFrame frame(context.frame, nullptr, kind.type, kind.isRoot);
    const Invocation invocation(context, state, frame);
    bool any = false;
    for (FunctionRuntime* runtime : functions) {
        bool ok = false;
        if (!runtime->call) [[unlikely]] {
            ok = runtime->member && callMember(context, state, *runtime->member, kind, result, argument);
        } else if (mayCall(kind.type)) {
            frame.begin(runtime->function);
            state->shader = runtime->function;
            ok = enter(context, state, *runtime, kind, result, argument);
        }
        // An occluder that lets nothing through ends the shadow ray.
        if (!ok && kind.type == miSHADER_SHADOW) return false;
        any = any || ok;
    }
    return any;
}

bool callShader(ThreadContext& context, miState* state, const FunctionSpan& functions, CallKind kind, void* result,
                void* argument) {
    if (functions.count == 1) return callFunction(context, state, **functions.first, kind, result, argument);
    return callEach(context, state, functions, kind, result, argument);
}

EvaluatedParameter* remembered(CallFrame& frame, const void* address) {
    for (std::uint32_t i = 0; i < frame.evaluatedCount; ++i)
        if (frame.evaluated[i].address == address) return &frame.evaluated[i];
    return nullptr;
}

/// The whole result that the latest evaluation of a shader has given.
std::byte* rememberedResult(const CallFrame& frame, const FunctionRuntime* source) {
    for (std::uint32_t i = frame.evaluatedCount; i-- > 0;)
        if (frame.evaluated[i].source == source) return frame.evaluated[i].result;
    return nullptr;
}

void remember(ThreadContext& context, CallFrame& frame, const EvaluatedParameter& evaluated) {
    if (frame.evaluatedCount == frame.evaluatedCapacity) {
        const std::uint32_t capacity = std::max(8U, 2 * frame.evaluatedCapacity);
        auto* grown = context.arena.allocateArray<EvaluatedParameter>(capacity);
        std::copy_n(frame.evaluated, frame.evaluatedCount, grown);
        frame.evaluated = grown;
        frame.evaluatedCapacity = capacity;
    }
    frame.evaluated[frame.evaluatedCount++] = evaluated;
}

}  // namespace

bool mayGoDeeper() {
    constexpr std::size_t kLastShaders = std::size_t{1} << 20;  // those at the deepest hit call others, too
    if (stackHasRoom(kLastShaders)) return true;
    tellOfDepth();
    return false;
}

bool callShader(ThreadContext& context, miState* state, miTag slot, miShader_type type, void* result, void* argument,
                bool calledByShader, bool wholeResult) {
    return callShader(context, state, functionsOf(context, slot), CallKind{type, !calledByShader, wholeResult}, result,
                      argument);
}

bool callOther(ThreadContext& context, miState* state, miTag slot, miShader_type type,
               const std::function<bool(ShaderEntry, void* parameters)>& call) {
    bool any = false;
    for (FunctionRuntime* runtime : functionsOf(context, slot)) {
        if (!runtime->call || !mayCall(type)) continue;
        CallFrame frame(context.frame, runtime->function, type, true);
        const Invocation invocation(context, state, frame);
        ++context.counters.calls;
        any = call(runtime->call, const_cast<char*>(runtime->function->parameters)) || any;
    }
    return any;
}

void* evaluateParameter(miState* state, void* parameter, bool again) {
    ThreadContext& context = contextOf(state);
    if (!context.frame || !state->shader || !miParameterIsConnected(state, parameter)) return parameter;

    CallFrame& frame = *context.frame;
    EvaluatedParameter* entry = remembered(frame, parameter);
    if (entry && !again) return entry->value;

    FunctionSpan functions = functionsOf(context, miGhostTag(state, parameter));
    if (functions.count == 0) return parameter;
    // A member connection evaluates its source and picks the member.
    const MemberConnection* member = (*functions.first)->member;
    if (member && (functions = functionsOf(context, member->source)).count == 0) return parameter;
    const std::size_t offset = member ? member->offset : 0;
    const FunctionRuntime* const source = *functions.first;

    // Members of one result are of one call: a surface is not shaded once for each.
    std::byte* result = member && !again ? rememberedResult(frame, source) : nullptr;
    if (!result) {
        const std::size_t size = functions.resultSize;
        result = entry ? entry->result : static_cast<std::byte*>(context.arena.allocate(size));
        std::memset(result, 0, size);
        for (FunctionRuntime* runtime : functions)
            callFunction(context, state, *runtime, {miSHADER_TEXTURE, false, true}, result, nullptr);
    }
    if (!entry) remember(context, frame, {parameter, result + offset, source, result});
    return result + offset;
}

void runStateShaders(ThreadContext& context, miState_shader_op operation, miColor* result, bool shaderReturn) {
    const miTag slot = context.scene->options->state_func;
    if (slot == 0) return;
    miState_shader_arg argument{operation, shaderReturn ? miTRUE : miFALSE};
    callShader(context, &context.root->state, slot, miSHADER_STATE, result, &argument);
}

}  // namespace lumorender
