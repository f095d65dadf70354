// Lights and shadows for shaders.
#include "interface/host.h"
#include "lights/lights.h"
#include "lights/shadows.h"

#include "shader.h"

#include <span>

using namespace lumorender;

namespace {

/// The list is in memory that lives until the running shader returns.
miBoolean shaderList(int* n, miTag** lights, miState* state, bool exclusive) {
    const LightTable* table = contextOf(state).scene->lights.get();
    if (!table || !n || !lights || *n < 0 || (*n > 0 && !*lights)) return miFALSE;
    const std::span<const miTag> names(*lights, static_cast<std::size_t>(*n));
    *lights = contextOf(state).arena.allocateArray<miTag>(table->all().size());
    *n = static_cast<int>(table->resolve(names, exclusive, *lights) - *lights);
    return miTRUE;
}

}  // namespace

extern "C" {

miBoolean mi_sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light_instance,
                          int* samples) {
    return sampleLight(result, dir, dot_nl, state, light_instance, samples);
}

miBoolean mi_trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light_instance) {
    return sampleLightOnce(result, dir, dot_nl, state, light_instance);
}

miBoolean mi_trace_shadow(miColor* result, miState* state) { return traceShadow(result, state); }

miBoolean mi_trace_shadow_seg(miColor* result, miState* state) { return traceShadowSegment(result, state); }

miBoolean mi_continue_shadow_seg(miColor* result, miState* state) { return continueShadowSegment(result, state); }

miBoolean mi_instance_lightlist(int* n, miTag** lights, miState* state) {
    const LightTable* table = contextOf(state).scene->lights.get();
    if (!table || !n || !lights) return miFALSE;
    const Hit* hit = hitOf(state);
    const std::vector<miTag>& list = hit ? table->lightsFor(*hit->instance) : table->all();
    // The table outlives every shader, and nobody writes through the pointer.
    *n = static_cast<int>(list.size());
    *lights = const_cast<miTag*>(list.data());
    return miTRUE;
}

/// Before anything is rendered, all that the scene has.
int mi_global_lights_info(miTag** lights) {
    if (const LightTable* table = LightTable::latest()) {
        if (lights) *lights = const_cast<miTag*>(table->all().data());
        return static_cast<int>(table->all().size());
    }
    static thread_local std::vector<miTag> list;
    list.clear();
    const Database& database = hostDatabase();
    for (miTag tag = 1; tag < database.end(); ++tag) {
        const auto* instance = database.as<miInstance>(tag, miSCENE_INSTANCE);
        if (instance && database.type(instance->item) == miSCENE_LIGHT) list.push_back(tag);
    }
    if (lights) *lights = list.data();
    return static_cast<int>(list.size());
}

void mi_light_info(miTag light, miVector* origin, miVector* dir, void** parameters) {
    const Database& database = hostDatabase();
    if (const auto* instance = database.as<miInstance>(light, miSCENE_INSTANCE)) light = instance->item;
    const auto* record = database.as<miLight>(light, miSCENE_LIGHT);
    if (!record) return;
    if (origin) *origin = record->origin;
    if (dir) *dir = record->direction;
    auto* function = database.as<miFunction>(record->shader, miSCENE_FUNCTION);
    if (parameters) *parameters = function ? function->parameters : nullptr;
}

miBoolean mi_inclusive_lightlist(int* n, miTag** lights, miState* state) { return shaderList(n, lights, state, false); }

miBoolean mi_exclusive_lightlist(int* n, miTag** lights, miState* state) { return shaderList(n, lights, state, true); }

}  // extern "C"
