#include "photons/photon_tracing.h"

#include "lights/lights.h"
#include "mi/options.h"
#include "photons/photon.h"
#include "support/abort.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/tracing.h"
#include "tracing/volumes.h"

#include <cmath>
#include <optional>

namespace lumorender {

namespace {

bool isCausticEmission(const ThreadContext& context) { return context.stage == miSTAGE_CAUSTIC; }

bool hasEnergy(const miColor& energy) {
    return std::isfinite(energy.r + energy.g + energy.b) && (energy.r != 0 || energy.g != 0 || energy.b != 0);
}

/// What the surface that the photon is at does to photons. Shaders may have taken the hit out of the state.
std::uint8_t flagsAt(const ThreadContext& context) {
    const Hit* hit = context.shading.hit;
    return hit ? hit->instance->photons : std::uint8_t{0xFF};
}

bool isDiffuse(miRay_type type) {
    return type == miPHOTON_REFLECT_DIFFUSE || type == miPHOTON_TRANSMIT_DIFFUSE || type == miPHOTON_SCATTER_VOLUME;
}

bool reflects(miRay_type type) {
    return type == miPHOTON_REFLECT_SPECULAR || type == miPHOTON_REFLECT_GLOSSY || type == miPHOTON_REFLECT_DIFFUSE ||
           type == miPHOTON_SCATTER_VOLUME;
}

/// May the photon go on from its surface this way? Notes in the path that it does.
bool scatters(const ThreadContext& context, miRay_type type, PhotonPath& path) {
    if (type == miPHOTON_TRANSPARENT) return true;
    const bool inVolume = type == miPHOTON_SCATTER_VOLUME;
    const std::uint8_t flags = inVolume ? std::uint8_t{0xFF} : flagsAt(context);
    path.scattered = true;
    path.diffuse = path.diffuse || isDiffuse(type);
    path.casters = path.casters && (flags & kCausticCast) != 0;
    if (isCausticEmission(context)) return !path.diffuse && path.casters;
    return (flags & kGlobillumCast) != 0;
}

bool depthAllows(const miState& state, bool reflects) {
    const miOptions& options = *state.options;
    if (state.reflection_level + state.refraction_level >= options.photon_trace_depth) return false;
    return reflects ? state.reflection_level < options.photon_reflection_depth
                    : state.refraction_level < options.photon_refraction_depth;
}

/// While a photon is under way its path and the surface that it meets are those of the thread.
class PhotonScope {
public:
    PhotonScope(ThreadContext& context, const PhotonPath& path)
        : context_(context), path_(context.photon), shading_(context.shading) {
        context.photon = path;
    }
    ~PhotonScope() {
        context_.photon = path_;
        context_.shading = shading_;
    }
    PhotonScope(const PhotonScope&) = delete;
    PhotonScope& operator=(const PhotonScope&) = delete;

private:
    ThreadContext& context_;
    const PhotonPath path_;
    const RunningHit shading_;
};

/// A light whose photons do not thin out as nature wants it has them changed at the first place they reach.
void applyExponent(const ThreadContext& context, const miState& state, miColor& energy) {
    const float exponent = context.photon.light ? context.photon.light->light->exponent : 2.0F;
    if (context.photon.scattered || exponent == 2 || !(state.dist > 0)) return;
    const auto factor = static_cast<float>(std::pow(state.dist, 2.0 - static_cast<double>(exponent)));
    energy = {energy.r * factor, energy.g * factor, energy.b * factor, energy.a};
}

/// The photon flies along the record's ray: through its volumes, and to the photon shader of what it meets.
void fly(ThreadContext& context, RayRecord& record, miColor energy, const PhotonPath& path) {
    const RayInFlight inFlight(context, record);
    const PhotonScope scope(context, path);
    ++context.counters.secondary;
    miState* state = &record.state;
    const bool hits = findHit(context, record, RayVisibility::Photon, {surfaceOffset(state->org)});
    context.shading = {0, false, hits ? &record.hit : nullptr};
    if (state->type == miPHOTON_LIGHT) applyExponent(context, *state, energy);
    if (!applyVolume(context, state, &energy, true) || !hits) return;
    const miMaterial* material = context.scene->slots->material(state->material);
    if (!material || material->photon == 0 || !hasEnergy(energy)) return;
    state->refraction_volume = volumeBehind(context, *state, material);
    callShader(context, state, material->photon, miSHADER_PHOTON, &energy);
}

/// Does the running emission keep what arrives here? Light that comes straight is what lights are sampled for, and where
/// caustics have a map of their own they are in no other.
bool isKept(const ThreadContext& context, std::uint8_t flags) {
    const PhotonPath& path = context.photon;
    if (!path.sink || !path.scattered) return false;
    const bool isCaustic = !path.diffuse && path.casters;
    if (isCausticEmission(context)) return isCaustic && (flags & kCausticReceive) != 0;
    const bool hasOwnMap = context.scene->options->caustic && path.light && sendsCaustics(*path.light->light);
    return (flags & kGlobillumReceive) != 0 && !(isCaustic && hasOwnMap);
}

bool keep(const miColor& energy, const miState& state, PhotonKind kind, const miVector& normal) {
    if (!hasEnergy(energy) || !isFinite(state.point)) return false;
    FoundPhotons& sink = *contextOf(&state).photon.sink;
    sink.entries.push_back({{state.point,
                             {energy.r, energy.g, energy.b},
                             PackedDirection<std::uint16_t>::of(state.dir),
                             PackedDirection<std::uint8_t>::of(normal)},
                            kind});
    return true;
}

}  // namespace

bool emitPhoton(const miColor& energy, miState* state) {
    ThreadContext& context = contextOf(state);
    if (!context.photon.sink || !hasEnergy(energy) || !isFinite(state->org) || !isFinite(state->dir)) return false;
    RayRecord& record = childRay(context, state);
    record.state.type = miPHOTON_LIGHT;
    record.state.dir = unit(state->dir);
    if (isZero(record.state.dir)) return false;
    const EyeVolumes volumes(context, record.state);
    fly(context, record, energy, context.photon);
    return true;
}

bool tracePhoton(const miColor& energy, miState* state, const miVector& dir, miRay_type type) {
    ThreadContext& context = contextOf(state);
    if (!context.photon.sink || abortRequested() || !mayGoDeeper() || !hasEnergy(energy)) return false;
    if (!isFinite(dir) || isZero(dir) || !depthAllows(*state, reflects(type))) return false;
    PhotonPath path = context.photon;
    if (!scatters(context, type, path)) return false;
    RayRecord& record = childRay(context, state);
    miState& child = record.state;
    child.type = type;
    child.org = state->point;
    child.dir = unit(dir);
    ++(reflects(type) ? child.reflection_level : child.refraction_level);
    // In a volume it stays in the volume.
    std::optional<CrossedVolumes> volumes;
    if (!reflects(type)) {
        child.volume = state->refraction_volume;
        volumes.emplace(context, *state, !state->inv_normal);
    }
    fly(context, record, energy, path);
    return true;
}

bool storePhoton(const miColor& energy, miState* state) {
    const ThreadContext& context = contextOf(state);
    if (!isKept(context, flagsAt(context))) return false;
    return keep(energy, *state, isCausticEmission(context) ? PhotonKind::Caustic : PhotonKind::Globillum,
                state->normal_geom);
}

bool storeVolumePhoton(const miColor& energy, miState* state) {
    constexpr std::uint8_t kAll = 0xFF;
    return isKept(contextOf(state), kAll) && keep(energy, *state, PhotonKind::Volume, {0, 0, 0});
}

}  // namespace lumorender
