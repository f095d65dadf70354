#include "lights/light_list.h"

namespace materials {

LightList::LightList(miState* state, const LightArray& array) {
    const Parameters in(state);
    /* The list is in the block that holds the parameter, or in that of the shader that it is connected to. */
    const miTag* lights = &in(array.first[0]);
    const int count = in(array.count), start = in(array.start);
    if (count <= 0 || !in.holds(lights, sizeof *lights, start, count)) return;
    first_ = lights + start;
    count_ = count;
}

LightList::LightList(miState* state, const miInteger& mode, const LightArray& array) : LightList(state, array) {
    miTag* lights = const_cast<miTag*>(first_);
    int count = count_;
    bool known = true;
    switch (Parameters(state)(mode)) {
        case 1: known = mi_inclusive_lightlist(&count, &lights, state); break;
        case 2: known = mi_exclusive_lightlist(&count, &lights, state); break;
        case 4: known = mi_instance_lightlist(&count, &lights, state); break;
        default: break;
    }
    first_ = known && count > 0 ? lights : nullptr;
    count_ = first_ ? count : 0;
}

LightList::LightList(miState* state) {
    miTag* lights = nullptr;
    int count = 0;
    if (!mi_instance_lightlist(&count, &lights, state) || count <= 0) return;
    first_ = lights;
    count_ = count;
}

bool isVisibleShape(miState* state, miTag light) {
    miTag item = miNULLTAG;
    if (!mi_query(miQ_INST_ITEM, state, light, &item) || mi_db_type(item) != miSCENE_LIGHT) return false;
    const auto* record = static_cast<const miLight*>(mi_db_access(item));
    const bool visible = record && record->area != miLIGHT_NONE && record->visible;
    mi_db_unpin(item);
    return visible;
}

}  // namespace materials
