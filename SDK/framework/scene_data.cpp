/* User data of scene elements, and the camera's place. */
#include "SDK/lumo.h"

#include "SDK/framework/renderer_access.h"

#include <cstring>

namespace lumo {
namespace {

/* The first user-data block of an object; an instance is followed to its item. */
miTag firstBlockOfObject(miTag tag) {
    if (const PinnedInstance instance(tag); instance) tag = instance->item;
    const Pinned<miObject> object(tag, miSCENE_OBJECT);
    return object ? object->userdata : miNULLTAG;
}

/* Whether a block starts with the magic word, in this machine's byte order or the other. */
enum class Match { kNo, kPlain, kSwapped };

Match matchMagic(const miUserdata& block, miUint magic) {
    miUint word;
    if (static_cast<miUint>(block.parameter_size) < sizeof word) return Match::kNo;
    std::memcpy(&word, block.parameters, sizeof word);
    if (word == magic) return Match::kPlain;
    return word == __builtin_bswap32(magic) ? Match::kSwapped : Match::kNo;
}

/* Walks the chain from `tag`. The block that is found stays pinned. */
const void* findBlock(miUint magic, miTag tag, miTag* found, miInteger* swapped) {
    const void* parameters = nullptr;
    visitUserdata(tag, [&](miTag block, const miUserdata& data) {
        const Match match = matchMagic(data, magic);
        if (match == Match::kNo || (match == Match::kSwapped && !swapped)) return false;
        if (found) *found = block;
        if (swapped) *swapped = match == Match::kSwapped;
        mi_db_access(block);
        parameters = data.parameters;
        return true;
    });
    return parameters;
}

}  // namespace
}  // namespace lumo

const void* get_userdata(miUint magic, miUint type, miTag start, miTag* found, miInteger* swapped) {
    if (type == miSCENE_USERDATA) return lumo::findBlock(magic, start, found, swapped);
    if (type == miSCENE_OBJECT) return lumo::findBlock(magic, lumo::firstBlockOfObject(start), found, swapped);
    return nullptr;
}

void origin_from_camera(miState* state, miVector* origin) {
    *origin = {0, 0, 0};
    const lumo::PinnedInstance camera(state->camera_inst);
    if (!camera) return;

    // The last row is the translation; a matrix may carry a common factor in its corner.
    const miScalar* row = camera->tf.local_to_global + 12;
    *origin = {row[0], row[1], row[2]};
    const miScalar w = row[3];
    if (w != 1 && w != 0) {
        origin->x /= w;
        origin->y /= w;
        origin->z /= w;
    }
}
