#include "render/lights.h"

#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "render/shader_calls.h"
#include "render/tracing.h"
#include "render/transforms.h"
#include "support/messages.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

miVector unit(const miVector& v) {
    return toVector(normalised(fromVector(v)));
}

LightSource placeLight(const Database& database, const FlatElement& element) {
    LightSource source;
    source.instance = element.instance;
    source.light = database.as<miLight>(element.element, miSCENE_LIGHT);
    const double* m = element.placement.localToWorld;
    source.origin = toVector(transformPoint(fromVector(source.light->origin), m));
    source.direction = unit(toVector(transformVector(fromVector(source.light->direction), m)));
    source.directional = source.light->type == miLIGHT_DIRECTION;
    return source;
}

/// The ray of a light to the point: position, direction and distance of the light's state.
void aimLight(const LightSource& source, miState& state) {
    if (source.directional) {
        state.org = source.origin;
        state.dir = source.direction;
        state.dist = 0;
        return;
    }
    const Vector3 way{static_cast<double>(state.point.x) - source.origin.x,
                      static_cast<double>(state.point.y) - source.origin.y,
                      static_cast<double>(state.point.z) - source.origin.z};
    state.org = source.origin;
    state.dist = std::sqrt(way.x * way.x + way.y * way.y + way.z * way.z);
    state.dir = toVector(normalised(way));
}

float cosineToLight(const miState& caller, const miVector& lightDir) {
    return -(caller.normal.x * lightDir.x + caller.normal.y * lightDir.y + caller.normal.z * lightDir.z);
}

}  // namespace

LightTable::LightTable(const Database& database, const SceneGeometry& geometry) {
    byTag_.assign(database.end(), 0);
    for (const FlatElement& element : geometry.lights()) {
        if (byTag_[element.instance] != 0) continue;
        sources_.push_back(placeLight(database, element));
        paths_.push_back(element.path);
        byTag_[element.instance] = static_cast<std::uint32_t>(sources_.size());
        all_.push_back(element.instance);
        if (sources_.back().light->area != miLIGHT_NONE)
            warning("RC", "light instance \"{}\": area lights are sampled at their centre only so far",
                    database.name(element.instance));
    }
    for (const FlatInstance& instance : geometry.instances()) {
        const auto add = [&](std::vector<List>& lists, miTag holder, bool shadow) {
            if (holder == 0 || listOf(lists, holder)) return;
            const auto* detail = database.detail<InstanceDetail>(holder);
            const auto* record = database.as<miInstance>(holder, miSCENE_INSTANCE);
            if (!detail || !record) return;
            lists.push_back({holder, resolve(shadow ? detail->shadowLights : detail->lights,
                                             shadow ? record->shadow_excl != 0 : record->exclusive != 0)});
        };
        add(lists_, instance.lightListInstance, false);
        add(shadowLists_, instance.shadowListInstance, true);
    }
}

std::vector<miTag> LightTable::resolve(const std::vector<miTag>& names, bool exclusive) const {
    std::vector<miTag> result;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        const std::vector<miTag>& path = paths_[i];
        const bool named = std::any_of(names.begin(), names.end(), [&](miTag name) {
            return name == sources_[i].instance || std::find(path.begin(), path.end(), name) != path.end();
        });
        if (named != exclusive) result.push_back(sources_[i].instance);
    }
    return result;
}

const std::vector<miTag>* LightTable::listOf(const std::vector<List>& lists, miTag holder) {
    const auto found =
        std::find_if(lists.begin(), lists.end(), [&](const List& list) { return list.holder == holder; });
    return found == lists.end() ? nullptr : &found->lights;
}

const std::vector<miTag>& LightTable::lightsFor(const FlatInstance& instance) const {
    const std::vector<miTag>* list = instance.lightListInstance ? listOf(lists_, instance.lightListInstance) : nullptr;
    return list ? *list : all_;
}

bool LightTable::castsShadow(const FlatInstance& occluder, miTag light) const {
    const std::vector<miTag>* list =
        occluder.shadowListInstance ? listOf(shadowLists_, occluder.shadowListInstance) : nullptr;
    return !list || std::find(list->begin(), list->end(), light) != list->end();
}

bool sampleLight(miColor* result, miVector* dir, miScalar* dotNl, miState* state, miTag light, int* samples) {
    ThreadContext& context = contextOf(state);
    const LightSource* source = context.scene->lights ? context.scene->lights->find(light) : nullptr;
    constexpr int kSamples = 1;
    if (!source || *samples < 0 || *samples >= kSamples) return false;
    const int sample = (*samples)++;

    RayRecord& record = childRay(context, state);
    const RayInFlight inFlight(context, record);
    miState& child = record.state;
    child.type = miRAY_LIGHT;
    child.light_instance = light;
    child.count = static_cast<miUshort>(sample);
    aimLight(*source, child);
    child.dot_nd = cosineToLight(*state, child.dir);
    // Light from below the surface is no light, unless the caller took the hit record away.
    if (state->pri && child.dot_nd <= 0) return false;

    *result = {0, 0, 0, 0};
    if (!callShader(context, &child, source->light->shader, miSHADER_LIGHT, result)) return false;
    if (child.options->shadow != 's') applyVolume(context, &child, result, true);
    if (dir) *dir = {-child.dir.x, -child.dir.y, -child.dir.z};
    if (dotNl) *dotNl = child.dot_nd;
    return true;
}

}  // namespace lumorender
