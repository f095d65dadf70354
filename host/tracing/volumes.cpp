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

bool isPhoton(const miState& state) { return miRAY_PHOTON(state.type); }

/// Photons know volumes by the shaders that are theirs.
miTag volumeOf(const miMaterial* material, const miState& ray) {
    if (!material) return miNULLTAG;
    return isPhoton(ray) ? material->photonvol : material->volume;
}

miTag volumeAround(const miState& ray) { return isPhoton(ray) ? miNULLTAG : ray.camera->volume; }

/// False where the volume has kept a photon; other rays go on in any case.
bool callVolume(ThreadContext& context, miState* state, miColor* result) {
    return callShader(context, state, state->volume, isPhoton(*state) ? miSHADER_PHOTONVOL : miSHADER_VOLUME, result);
}

RunningVolumes without(const RunningVolumes& volumes, miTag volume) {
    RunningVolumes rest = volumes;
    rest.leave(volume);
    return rest;
}

/// Solids that the ray leaves and never entered are those it began in; of several it leaves the innermost one first.
RunningVolumes volumesAtOrigin(ThreadContext& context, const miState& ray) {
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
    // The ray keeps its random numbers: not every one of a place looks around.
    miState looking = ray;
    RayRecord& record = childRay(context, &looking);
    Reach reach;
    Hit crossed;
    const auto seen = isPhoton(ray) ? RayVisibility::Photon : RayVisibility::Transparency;
    for (std::size_t i = 0; i < kMostHits && findHit(context, record, seen, reach); ++i) {
        crossed = record.hit;
        reach = {std::max(reach.near, record.state.dist), reach.far, &crossed};
        const miTag volume = volumeOf(materialOf(context, record.state), ray);
        if (volume == 0) continue;
        const Solid solid = {record.hit.instance, volume};
        if (!record.state.inv_normal) {
            *enteredEnd++ = solid;
        } else if (const auto own = std::find(entered.begin(), enteredEnd, solid); own != enteredEnd) {
            *own = *--enteredEnd;
        } else {
            *aroundEnd++ = volume;
        }
    }
    RunningVolumes volumes;
    volumes.enter(volumeAround(ray));
    while (aroundEnd != around.begin()) volumes.enter(*--aroundEnd);
    return volumes;
}

bool isSamePlace(const EyeOrigin& known, const miState& ray) {
    return known.isKnown && known.org.x == ray.org.x && known.org.y == ray.org.y && known.org.z == ray.org.z &&
           known.time == ray.time;
}

}  // namespace

bool applyVolumes(ThreadContext& context, miState* state, miColor* result, bool ok) {
    if (state->options->no_volume) return ok;
    if (!volumesAreAutomatic(*state)) {
        if (state->volume == 0) return ok;
        return callVolume(context, state, result);
    }
    const RunningVolumes volumes = context.volumes;
    const miTag before = state->volume;
    for (std::size_t i = 0; i < volumes.count; ++i) {
        // Solids of one volume that lie in each other are one.
        const auto* end = volumes.tags.data() + i;
        if (std::find(volumes.tags.data(), end, volumes.tags[i]) != end) continue;
        state->volume = volumes.tags[i];
        ok = callVolume(context, state, result);
        if (!ok && isPhoton(*state)) break;
    }
    state->volume = before;
    return ok;
}

miTag volumeBehind(const ThreadContext& context, const miState& state, const miMaterial* material) {
    const miTag own = volumeOf(material, state);
    if (own == 0) return state.volume;
    if (!state.inv_normal) return own;
    if (volumesAreAutomatic(state)) return without(context.volumes, own).innermost();
    if (state.volume != own) return own;
    for (const miState* before = state.parent; before; before = before->parent) {
        const bool isEntry = volumeOf(materialOf(context, *before), state) == own && !before->inv_normal;
        if (isEntry && before->volume != own) return before->volume;
    }
    return volumeAround(state);
}

void EyeVolumes::begin(miState& ray) {
    before_ = context_.volumes;
    // Most rays of a camera begin at one place.
    EyeOrigin& known = context_.eyeOrigin;
    if (!isSamePlace(known, ray)) known = {true, ray.org, ray.time, volumesAtOrigin(context_, ray)};
    context_.volumes = known.volumes;
    ray.volume = context_.volumes.innermost();
}

void CrossedVolumes::cross(const miState& hit, bool enters) {
    RunningVolumes& volumes = context_.volumes;
    before_ = volumes;
    const miTag own = volumeOf(materialOf(context_, hit), hit);
    const miTag chosen = hit.refraction_volume, current = hit.volume;
    // What a shader chose by itself is entered, or the place before it left.
    const bool isOwn = chosen == own || (!enters && chosen == without(volumes, own).innermost());
    if (own != miNULLTAG && isOwn)
        enters ? volumes.enter(own) : volumes.leave(own);
    else if (chosen != current)
        enters ? volumes.enter(chosen) : volumes.leave(current);
}

}  // namespace lumorender
