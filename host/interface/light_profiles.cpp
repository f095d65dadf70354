// Light profiles for shaders: how much a luminaire shines along the ray of the running light shader.
#include "database/elements.h"
#include "interface/query.h"
#include "mi/instance.h"
#include "mi/light.h"
#include "lights/profiles.h"
#include "tracing/spaces.h"
#include "support/geometry.h"

#include "shader.h"

#include <cmath>
#include <numbers>

namespace lumorender {

namespace {

double shownValue(const LightDistribution& distribution, double phi, double cosTheta, bool relative) {
    const double value = distribution.at(phi, cosTheta);
    if (!relative) return value;
    return distribution.peak() > 0 ? value / distribution.peak() : 0;
}

}  // namespace

bool answerAboutLightProfile(const Query& query) {
    const LightDistribution* distribution = distributionOf(query.database, query.tag);
    if (!distribution) return false;
    const AngleGrid& grid = distribution->grid();
    const auto cosine = [](double degrees) {
        return static_cast<miScalar>(std::cos(degrees * std::numbers::pi / 180));
    };
    switch (query.code) {
        case miQ_LIGHTPROFILE_PHI_MIN: return query.answer(miScalar{0});
        case miQ_LIGHTPROFILE_PHI_MAX: return query.answer(static_cast<miScalar>(2 * std::numbers::pi));
        case miQ_LIGHTPROFILE_COSTHETA_MIN: return query.answer(cosine(grid.vertical.back()));
        case miQ_LIGHTPROFILE_COSTHETA_MAX: return query.answer(cosine(grid.vertical.front()));
        case miQ_LIGHTPROFILE_INTENSITY_MAX: return query.answer(static_cast<miScalar>(distribution->peak()));
        case miQ_LIGHTPROFILE_PHI_RES: return query.answer(static_cast<int>(grid.horizontal.size()));
        case miQ_LIGHTPROFILE_THETA_RES: return query.answer(static_cast<int>(grid.vertical.size()));
        default: return false;
    }
}

}  // namespace lumorender

using namespace lumorender;

extern "C" {

miScalar mi_lightprofile_sample(miState* state, miTag profile, miBoolean relative) {
    const Database& database = *contextOf(state).scene->database;
    const LightDistribution* distribution = distributionOf(database, profile);
    // Without a profile a light is the same to all sides.
    if (!distribution) return 1;
    V3d way = wide(state->dir);
    SpaceMatrices matrices;
    if (spaceMatrices(*state, Space::Light, matrices)) way = transformVector(way, *matrices.toSpace);
    const auto* instance = database.as<miInstance>(state->light_instance, miSCENE_INSTANCE);
    const auto* light = instance ? database.as<miLight>(instance->item, miSCENE_LIGHT) : nullptr;
    return static_cast<miScalar>(shineAlong(*distribution, light, way, relative));
}

miScalar mi_lightprofile_value(const void* profile, miScalar phi, miScalar cos_theta, const miVector*,
                               miBoolean relative) {
    const auto* record = static_cast<const LightProfileRecord*>(profile);
    if (!record || !record->distribution) return 1;
    return static_cast<miScalar>(
        shownValue(*record->distribution, static_cast<double>(phi), static_cast<double>(cos_theta), relative));
}

}  // extern "C"
