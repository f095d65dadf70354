#include "photons/photon_irradiance.h"

#include "mi/options.h"
#include "photons/photon_maps.h"
#include "support/geometry.h"
#include "tracing/context.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace lumorender {

namespace {

/// How a map is looked up: 0 means all photons, or the usual radius.
struct Accuracy {
    int count = 0;
    float radius = 0;
};

struct Accuracies {
    Accuracy caustic, globillum;
};

/// Those of the options, or of the caller's record, which may be of an older module and end early.
Accuracies accuraciesOf(const miOptions& options, const miIrrad_options* given) {
    Accuracies result = {{options.caustic_accuracy, options.caustic_radius},
                         {options.globillum_accuracy, options.globillum_radius}};
    if (!given || given->size < offsetof(miIrrad_options, finalgather_points)) return result;
    return {{given->caustic_accuracy, given->caustic_radius}, {given->globillum_accuracy, given->globillum_radius}};
}

void setAccuracy(PhotonQuery& query, const Accuracy& accuracy, const PhotonMaps& maps) {
    query.count = static_cast<std::size_t>(std::max(accuracy.count, 0));
    query.radius = accuracy.radius > 0 ? accuracy.radius : maps.radius;
}

PhotonFilter filterOf(const miOptions& options) {
    const PhotonFilter::Shape shape = options.caustic_filter == 'c'   ? PhotonFilter::Shape::Cone
                                      : options.caustic_filter == 'g' ? PhotonFilter::Shape::Gauss
                                                                      : PhotonFilter::Shape::Box;
    return {shape, options.caustic_filter_const > 0 ? options.caustic_filter_const : 1.1F};
}

void add(miColor& sum, const std::array<double, 3>& more, const miColor& scale) {
    sum.r += static_cast<float>(more[0]) * scale.r;
    sum.g += static_cast<float>(more[1]) * scale.g;
    sum.b += static_cast<float>(more[2]) * scale.b;
}

constexpr float kStraight = 1 - 1e-6F;  // cosine from which on a normal does not count as bent

bool receives(const miState* state, std::uint8_t flag) {
    const Hit* hit = hitOf(state);
    return !hit || (hit->instance->photons & flag) != 0;
}

}  // namespace

bool photonsEndGathering(const miState* state) {
    const ThreadContext& context = contextOf(state);
    const PhotonMaps* maps = context.scene->photons.get();
    return maps && context.gather.depth > 0 && state->options->globillum && receives(state, kGlobillumReceive);
}

bool addPhotonIrradiance(miColor& irradiance, miState* state, char side, const miIrrad_options* options,
                         bool withGlobillum) {
    ThreadContext& context = contextOf(state);
    const PhotonMaps* maps = context.scene->photons.get();
    if (!maps || isZero(state->normal_geom) || !isFinite(state->normal_geom) || !isFinite(state->point)) return false;
    const miOptions& scene = *state->options;
    const Accuracies accuracies = accuraciesOf(scene, options);
    PhotonQuery query;
    query.position = state->point;
    const bool isTurned = dot(state->normal, state->normal_geom) < 0;
    query.normal = (side == 'b') != isTurned ? -state->normal_geom : state->normal_geom;
    const miVector bent = unit(side == 'b' ? -state->normal : state->normal);
    if (isFinite(bent) && dot(bent, query.normal) < kStraight) query.bent = bent;
    bool any = false;
    if (scene.caustic && receives(state, kCausticReceive)) {
        any = true;
        query.filter = filterOf(scene);
        setAccuracy(query, accuracies.caustic, *maps);
        add(irradiance, maps->of(PhotonKind::Caustic).irradiance(query, context.arena), scene.caustic_scale);
    }
    if (withGlobillum && scene.globillum && receives(state, kGlobillumReceive)) {
        any = true;
        query.filter = {};
        setAccuracy(query, accuracies.globillum, *maps);
        add(irradiance, maps->of(PhotonKind::Globillum).irradiance(query, context.arena), scene.globillum_scale);
    }
    return any;
}

bool volumeIrradiance(miColor* result, miState* state) {
    *result = {0, 0, 0, 0};
    ThreadContext& context = contextOf(state);
    const PhotonMaps* maps = context.scene->photons.get();
    if (!maps || !isFinite(state->point)) return false;
    const miOptions& options = *state->options;
    PhotonQuery query;
    query.position = state->point;
    setAccuracy(query, {options.photonvol_accuracy, options.photonvol_radius}, *maps);
    add(*result, maps->of(PhotonKind::Volume).density(query, context.arena), options.photonvol_scale);
    result->a = 1;
    return true;
}

}  // namespace lumorender
