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
    Invocation(ThreadContext& context, miState* state, const miFunction* function, miShader_type type, bool isRoot)
        : context_(context), state_(state), shader_(state->shader), child_(state->child), mark_(context.arena.mark()) {
        frame_.caller = context.frame;
        frame_.function = function;
        frame_.type = type;
        frame_.isRoot = isRoot;
        context.frame = &frame_;
        state->shader = function;
        ++context.counters.calls;
    }

    ~Invocation() {
        state_->shader = shader_;
        // A child made inside this invocation lies in memory that is given back now.
        state_->child = child_;
        context_.frame = frame_.caller;
        context_.arena.release(mark_);
    }

    Invocation(const Invocation&) = delete;
    Invocation& operator=(const Invocation&) = delete;

private:
    ThreadContext& context_;
    miState* state_;
    const miFunction* shader_;
    miState* child_;
    Arena::Mark mark_;
    CallFrame frame_;
};

void tellOfDepth() {
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

/// All of a slot's functions write the same result, one after the other.
std::size_t resultSizeOf(const FunctionSpan& functions) {
    std::size_t size = 0;
    for (const FunctionRuntime* runtime : functions) size = std::max(size, runtime->resultSize);
    return size;
}

/// The root of a phenomenon may be one member of a shader's result.
bool callMember(ThreadContext& context, miState* state, const MemberConnection& member, miShader_type type,
                void* result, void* argument) {
    const Arena::Mark mark = context.arena.mark();
    void* whole = context.arena.allocateZeroed(resultSizeOf(functionsOf(context, member.source)));
    const bool ok = callShader(context, state, member.source, type, whole, argument, true, true);
    if (ok) std::memcpy(result, static_cast<const std::byte*>(whole) + member.offset, member.size);
    context.arena.release(mark);
    return ok;
}

bool callFunction(ThreadContext& context, miState* state, FunctionRuntime& runtime, miShader_type type, void* result,
                  void* argument, bool isRoot, bool wholeResult) {
    if (runtime.member) return callMember(context, state, *runtime.member, type, result, argument);
    if (!runtime.call || !mayCall(type)) return false;
    const Invocation invocation(context, state, runtime.function, type, isRoot);
    if (wholeResult || runtime.resultSize <= sizeof(miColor))
        return runtime.call(result, state, runtime.function->parameters, argument) != miFALSE;

    // The caller's slot holds a color: the larger record is the callee's alone.
    void* record = context.arena.allocateZeroed(runtime.resultSize);
    std::memcpy(record, result, sizeof(miColor));
    const bool ok = runtime.call(record, state, runtime.function->parameters, argument) != miFALSE;
    std::memcpy(result, record, sizeof(miColor));
    return ok;
}

EvaluatedParameter* remembered(CallFrame& frame, const void* address) {
    for (std::uint32_t i = 0; i < frame.evaluatedCount; ++i)
        if (frame.evaluated[i].address == address) return &frame.evaluated[i];
    return nullptr;
}

void remember(ThreadContext& context, CallFrame& frame, const void* address, void* value) {
    if (EvaluatedParameter* known = remembered(frame, address)) {
        known->value = value;
        return;
    }
    if (frame.evaluatedCount == frame.evaluatedCapacity) {
        const std::uint32_t capacity = std::max(8U, 2 * frame.evaluatedCapacity);
        auto* grown = context.arena.allocateArray<EvaluatedParameter>(capacity);
        std::copy_n(frame.evaluated, frame.evaluatedCount, grown);
        frame.evaluated = grown;
        frame.evaluatedCapacity = capacity;
    }
    frame.evaluated[frame.evaluatedCount++] = {address, value};
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
    bool any = false;
    for (FunctionRuntime* runtime : context.scene->slots->functions(slot)) {
        const bool ok = callFunction(context, state, *runtime, type, result, argument, !calledByShader, wholeResult);
        // An occluder that lets nothing through ends the shadow ray.
        if (!ok && type == miSHADER_SHADOW) return false;
        any = any || ok;
    }
    return any;
}

bool callOther(ThreadContext& context, miState* state, miTag slot, miShader_type type,
               const std::function<bool(ShaderEntry, void* parameters)>& call) {
    bool any = false;
    for (FunctionRuntime* runtime : functionsOf(context, slot)) {
        if (!runtime->call || !mayCall(type)) continue;
        const Invocation invocation(context, state, runtime->function, type, true);
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

    // Members of one result are of one call: a surface is not shaded once for each. So whole results are remembered,
    // too, by the shader that gave them.
    const EvaluatedParameter* known = member && !again ? remembered(frame, source) : nullptr;
    std::byte* result = known ? static_cast<std::byte*>(known->value) : nullptr;
    if (!result) {
        const std::size_t size = resultSizeOf(functions);
        result = static_cast<std::byte*>(entry ? static_cast<std::byte*>(entry->value) - offset
                                               : context.arena.allocate(size));
        std::memset(result, 0, size);
        for (FunctionRuntime* runtime : functions)
            callFunction(context, state, *runtime, miSHADER_TEXTURE, result, nullptr, false, true);
        remember(context, frame, source, result);
    }
    if (!entry) remember(context, frame, parameter, result + offset);
    return result + offset;
}

void runStateShaders(ThreadContext& context, miState_shader_op operation, miColor* result, bool shaderReturn) {
    const miTag slot = context.scene->options->state_func;
    if (slot == 0) return;
    miState_shader_arg argument{operation, shaderReturn ? miTRUE : miFALSE};
    callShader(context, &context.root->state, slot, miSHADER_STATE, result, &argument);
}

}  // namespace lumorender
