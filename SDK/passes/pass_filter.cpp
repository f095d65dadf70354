#include "SDK/passes/pass_filter.h"

#include <cstring>

namespace lumo {
namespace {

/* The text that begins a block, which two queries give the size and the address of. Null where it begins with anything
 * else: instances and data are not ours alone, and other words than tags of strings must not be taken for one. */
miTag firstText(miState* state, miTag tag, miQ_type sizeQuery, miQ_type blockQuery) {
    miInteger size = 0;
    void* block = nullptr;
    miTag word = miNULLTAG;
    if (!mi_query(sizeQuery, state, tag, &size) || size < static_cast<miInteger>(sizeof word)) return miNULLTAG;
    if (mi_query(blockQuery, state, tag, &block) && block) std::memcpy(&word, block, sizeof word);
    return word != miNULLTAG && mi_db_type(word) == miSCENE_STRING ? word : miNULLTAG;
}

}  // namespace

miTag PassFilter::maskTag(miState* state, miTag tag) {
    const PinnedInstance instance(tag);
    if (!instance || (instance->userdata == miNULLTAG && instance->param_decl == miNULLTAG)) return miNULLTAG;
    miTag mask = firstText(state, tag, miQ_INST_PARAM_SIZE, miQ_INST_PARAM);
    if (mask != miNULLTAG) return mask;
    visitUserdata(instance->userdata, [&](miTag block, const miUserdata&) {
        mask = firstText(state, block, miQ_DATA_PARAM_SIZE, miQ_DATA_PARAM);
        return mask != miNULLTAG;
    });
    return mask;
}

miTag shadedObject(miState* state) {
    miTag assembly = miNULLTAG;
    const bool answered = mi_query(miQ_PRI_ASSEMBLY_INST_TAG, state, miNULLTAG, &assembly);
    return answered && assembly != miNULLTAG ? assembly : state->instance;
}

}  // namespace lumo
