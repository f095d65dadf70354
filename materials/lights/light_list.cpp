#include "lights/light_list.h"

namespace materials {

LightList::LightList(miState* state, const miInteger& mode, const LightArray& array) {
    const Parameters in(state);
    /* The list is in the block that holds the parameter, or in that of the shader that it is connected to. */
    miTag* lights = const_cast<miTag*>(&in(array.first[0]));
    int count = in(array.count);
    const int start = in(array.start);
    if (in.holds(lights, sizeof *lights, start, count))
        lights += start;
    else
        count = 0;
    bool known = true;
    switch (in(mode)) {
        case 1: known = mi_inclusive_lightlist(&count, &lights, state); break;
        case 2: known = mi_exclusive_lightlist(&count, &lights, state); break;
        case 4: known = mi_instance_lightlist(&count, &lights, state); break;
        default: break;
    }
    if (!known || count <= 0) return;
    first_ = lights;
    count_ = count;
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
