#include "tracing/shader_calls.h"

#include "tracing/shader_table.h"

#include "mi/macros.h"
#include "mi/options.h"

#include <algorithm>
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

bool callFunction(ThreadContext& context, miState* state, FunctionRuntime& runtime, miShader_type type, void* result,
                  void* argument, bool isRoot, bool wholeResult) {
    if (!runtime.call) return false;
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

EvaluatedParameter* remembered(CallFrame& frame, const void* parameter) {
    for (std::uint32_t i = 0; i < frame.evaluatedCount; ++i)
        if (frame.evaluated[i].address == parameter) return &frame.evaluated[i];
    return nullptr;
}

EvaluatedParameter& remember(ThreadContext& context, CallFrame& frame, const void* parameter, std::size_t size) {
    if (frame.evaluatedCount == frame.evaluatedCapacity) {
        const std::uint32_t capacity = std::max(8U, 2 * frame.evaluatedCapacity);
        auto* grown = context.arena.allocateArray<EvaluatedParameter>(capacity);
        std::copy_n(frame.evaluated, frame.evaluatedCount, grown);
        frame.evaluated = grown;
        frame.evaluatedCapacity = capacity;
    }
    EvaluatedParameter& entry = frame.evaluated[frame.evaluatedCount++];
    entry = {parameter, context.arena.allocate(size)};
    return entry;
}

FunctionRuntime* runtimeOf(const ThreadContext& context, miTag function) {
    const FunctionSpan functions = context.scene->slots->functions(function);
    return functions.count > 0 ? *functions.first : nullptr;
}

}  // namespace

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

void* evaluateParameter(miState* state, void* parameter, bool again) {
    ThreadContext& context = contextOf(state);
    if (!context.frame || !state->shader || !miParameterIsConnected(state, parameter)) return parameter;

    CallFrame& frame = *context.frame;
    EvaluatedParameter* entry = remembered(frame, parameter);
    if (entry && !again) return entry->value;

    FunctionRuntime* runtime = runtimeOf(context, miGhostTag(state, parameter));
    if (!runtime) return parameter;
    // A member connection evaluates its source and picks the member.
    std::size_t offset = 0;
    if (runtime->member) {
        offset = runtime->member->offset;
        runtime = runtimeOf(context, runtime->member->source);
        if (!runtime) return parameter;
    }

    if (!entry)
        entry = &remember(context, frame, parameter, runtime->resultSize);
    else
        entry->value = static_cast<std::byte*>(entry->value) - offset;
    void* value = entry->value;
    std::memset(value, 0, runtime->resultSize);
    callFunction(context, state, *runtime, miSHADER_TEXTURE, value, nullptr, false, true);

    void* picked = static_cast<std::byte*>(value) + offset;
    entry->value = picked;
    return picked;
}

void runStateShaders(ThreadContext& context, miState_shader_op operation, miColor* result, bool shaderReturn) {
    const miTag slot = context.scene->options->state_func;
    if (slot == 0) return;
    miState_shader_arg argument{operation, shaderReturn ? miTRUE : miFALSE};
    callShader(context, &context.root->state, slot, miSHADER_STATE, result, &argument);
}

}  // namespace lumorender
