#include "SDK/passes/pass_filter.h"

#include <cstring>

namespace lumo {
namespace {

/* First word of the block that two queries give the size and the address of, or null. */
miTag firstWord(miState* state, miTag tag, miQ_type sizeQuery, miQ_type blockQuery) {
    miInteger size = 0;
    void* block = nullptr;
    miTag word = miNULLTAG;
    if (!mi_query(sizeQuery, state, tag, &size) || size < static_cast<miInteger>(sizeof word)) return miNULLTAG;
    if (mi_query(blockQuery, state, tag, &block) && block) std::memcpy(&word, block, sizeof word);
    return word;
}

}  // namespace

miTag PassFilter::maskTag(miState* state, miTag tag) {
    const PinnedInstance instance(tag);
    if (!instance || (instance->userdata == miNULLTAG && instance->param_decl == miNULLTAG)) return miNULLTAG;
    const miTag mask = firstWord(state, tag, miQ_INST_PARAM_SIZE, miQ_INST_PARAM);
    if (mask != miNULLTAG || instance->userdata == miNULLTAG) return mask;
    return firstWord(state, instance->userdata, miQ_DATA_PARAM_SIZE, miQ_DATA_PARAM);
}

miTag shadedObject(miState* state) {
    miTag assembly = miNULLTAG;
    const bool answered = mi_query(miQ_PRI_ASSEMBLY_INST_TAG, state, miNULLTAG, &assembly);
    return answered && assembly != miNULLTAG ? assembly : state->instance;
}

}  // namespace lumo
