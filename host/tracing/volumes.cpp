#include "tracing/volumes.h"

#include "mi/camera.h"
#include "mi/options.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/tracing.h"

#include <algorithm>

namespace lumorender {

namespace {

const miMaterial* materialOf(const ThreadContext& context, const miState& hit) {
    return context.scene->slots->material(hit.material);
}

bool areAutomatic(const miState& state) { return state.options->autovolume && !state.options->no_volume; }

RunningVolumes without(const RunningVolumes& volumes, miTag volume) {
    RunningVolumes rest = volumes;
    rest.leave(volume);
    return rest;
}

/// Solids that the ray leaves and never entered are those it began in; of several it leaves the innermost one first.
RunningVolumes volumesAtOrigin(ThreadContext& context, miState& ray) {
    struct Solid {
        const FlatInstance* instance;
        miTag volume;
        bool operator==(const Solid&) const = default;
    };
    constexpr std::size_t kMostHits = 1000;
    std::array<miTag, kMostHits> around;
    std::array<Solid, kMostHits> entered;
    auto aroundEnd = around.begin();
    auto enteredEnd = entered.begin();
    RayRecord& record = childRay(context, &ray);
    Reach reach;
    Hit crossed;
    for (std::size_t i = 0; i < kMostHits && findHit(context, record, RayVisibility::Transparency, reach); ++i) {
        crossed = record.hit;
        reach = {std::max(reach.near, record.state.dist), reach.far, &crossed};
        const miMaterial* material = materialOf(context, record.state);
        if (!material || material->volume == 0) continue;
        const Solid solid = {record.hit.instance, material->volume};
        if (!record.state.inv_normal) {
            *enteredEnd++ = solid;
        } else if (const auto own = std::find(entered.begin(), enteredEnd, solid); own != enteredEnd) {
            *own = *--enteredEnd;
        } else {
            *aroundEnd++ = material->volume;
        }
    }
    RunningVolumes volumes;
    volumes.enter(context.scene->camera->volume);
    while (aroundEnd != around.begin()) volumes.enter(*--aroundEnd);
    return volumes;
}

bool isSamePlace(const EyeOrigin& known, const miState& ray) {
    return known.isKnown && known.org.x == ray.org.x && known.org.y == ray.org.y && known.org.z == ray.org.z &&
           known.time == ray.time;
}

}  // namespace

bool applyVolume(ThreadContext& context, miState* state, miColor* result, bool ok) {
    if (state->options->no_volume) return ok;
    if (!areAutomatic(*state)) {
        if (state->volume == 0) return ok;
        return callShader(context, state, state->volume, miSHADER_VOLUME, result);
    }
    const RunningVolumes volumes = context.volumes;
    const miTag before = state->volume;
    for (std::size_t i = 0; i < volumes.count; ++i) {
        // Solids of one volume that lie in each other are one.
        const auto* end = volumes.tags.data() + i;
        if (std::find(volumes.tags.data(), end, volumes.tags[i]) != end) continue;
        state->volume = volumes.tags[i];
        ok = callShader(context, state, state->volume, miSHADER_VOLUME, result);
    }
    state->volume = before;
    return ok;
}

miTag volumeBehind(const ThreadContext& context, const miState& state, const miMaterial* material) {
    if (!material || material->volume == 0) return state.volume;
    if (!state.inv_normal) return material->volume;
    if (areAutomatic(state)) return without(context.volumes, material->volume).innermost();
    if (state.volume != material->volume) return material->volume;
    for (const miState* before = state.parent; before; before = before->parent) {
        const miMaterial* entered = materialOf(context, *before);
        const bool isEntry = entered && entered->volume == material->volume && !before->inv_normal;
        if (isEntry && before->volume != material->volume) return before->volume;
    }
    return state.camera->volume;
}

EyeVolumes::EyeVolumes(ThreadContext& context, miState& ray) : VolumesScope(context) {
    if (!areAutomatic(ray)) return;
    before_ = context.volumes;
    // Most rays of a camera begin at one place.
    EyeOrigin& known = context.eyeOrigin;
    if (!isSamePlace(known, ray)) known = {true, ray.org, ray.time, volumesAtOrigin(context, ray)};
    context.volumes = known.volumes;
    ray.volume = context.volumes.innermost();
}

CrossedVolumes::CrossedVolumes(ThreadContext& context, const miState& hit, bool enters) : VolumesScope(context) {
    if (!areAutomatic(hit)) return;
    before_ = context.volumes;
    const miMaterial* material = materialOf(context, hit);
    const miTag own = material ? material->volume : miNULLTAG;
    const miTag chosen = hit.refraction_volume, current = hit.volume;
    // What a shader chose by itself is entered, or the place before it left.
    const bool isOwn = chosen == own || (!enters && chosen == without(context.volumes, own).innermost());
    if (own != miNULLTAG && isOwn)
        enters ? context.volumes.enter(own) : context.volumes.leave(own);
    else if (chosen != current)
        enters ? context.volumes.enter(chosen) : context.volumes.leave(current);
}

}  // namespace lumorender
