#include "queries.h"

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

miBoolean Queries::give(const Answer& answer, void* result) {
    if (answer.kind != Answer::kValue) return miFALSE;
    std::memcpy(result, answer.bytes.data(), answer.size);
    return miTRUE;
}

miBoolean Queries::ask(miQ_type code, miState* state, miTag tag, void* result) {
    counts_[code].fetch_add(1, std::memory_order_relaxed);
    if (byCode_[code].kind != Answer::kNone) return give(byCode_[code], result);
    if (!byTag_.empty())
        if (const auto found = byTag_.find({code, tag}); found != byTag_.end()) return give(found->second, result);
    const std::optional<Answer> answer = fromElements(code, state, tag);
    return answer ? give(*answer, result) : miFALSE;
}

std::optional<Queries::Answer> Queries::fromElements(miQ_type code, miState* state, miTag tag) {
    if (code == miQ_FUNC_USERPTR) return Answer::of(Renderer::userPointerSlot(state->shader));
    if (tag == miNULLTAG) return std::nullopt;
    Database& database = renderer().database;
    if (auto* const instance = database.find<miInstance>(tag, miSCENE_INSTANCE)) switch (code) {
            case miQ_INST_GLOBAL_TO_LOCAL: return Answer::of(&instance->tf.global_to_local[0]);
            case miQ_INST_LOCAL_TO_GLOBAL: return Answer::of(&instance->tf.local_to_global[0]);
            case miQ_INST_ITEM: return Answer::of(instance->item);
            case miQ_INST_DATA: return Answer::of(instance->userdata);
            case miQ_INST_PARAM_SIZE: return Answer::of(instance->param_size);
            case miQ_INST_PARAM:
                return instance->param_size ? std::optional(Answer::of(&instance->param[0])) : std::nullopt;
            default: return std::nullopt;
        }
    if (auto* const data = database.find<miUserdata>(tag, miSCENE_USERDATA)) {
        if (code == miQ_DATA_PARAM) return Answer::of(&data->parameters[0]);
        if (code == miQ_DATA_PARAM_SIZE) return Answer::of(data->parameter_size);
    }
    return std::nullopt;
}

}  // namespace twin

miBoolean mi_query(miQ_type code, miState* state, miTag tag, void* result, ...) {
    return twin::renderer().queries.ask(code, state, tag, result);
}
