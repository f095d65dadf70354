#include "lights/profiles.h"

#include "database/declaration.h"

#include <cmath>
#include <cstring>

namespace lumorender {

namespace {

/// Where the luminaire shines straight to.
V3d axisOf(const miLight* light) {
    return light && light->type != miLIGHT_ORIGIN ? unit(wide(light->direction)) : V3d{0, 0, -1};
}

/// The light's x axis as far as it is at right angles to where the luminaire shines, there the C planes begin. With a
/// luminaire along x it is y.
V3d planeZero(V3d axis) {
    const bool alongX = std::abs(axis.x) > .999;
    const V3d from = alongX ? V3d{0, 1, 0} : V3d{1, 0, 0};
    return unit(from - axis * dot(from, axis));
}

bool namesProfile(const Database& database, miTag slot) {
    if (const auto* list = database.detail<FunctionList>(slot)) {
        for (const miTag member : list->functions)
            if (namesProfile(database, member)) return true;
        return false;
    }
    const auto* function = database.as<miFunction>(slot, miSCENE_FUNCTION);
    const auto* declaration = function ? database.detail<Declaration>(function->function_decl) : nullptr;
    if (!declaration) return false;
    for (const Parameter& parameter : declaration->parameters) {
        if (parameter.type != miTYPE_LIGHTPROFILE || parameter.isArray) continue;
        miTag profile = 0;
        std::memcpy(&profile, function->parameters + parameter.offset, sizeof profile);
        if (profile) return true;
    }
    return false;
}

}  // namespace

const LightDistribution* distributionOf(const Database& database, miTag tag) {
    const auto* profile = database.detail<LightProfile>(tag);
    return profile ? profile->distribution.get() : nullptr;
}

double shineAlong(const LightDistribution& distribution, const miLight* light, V3d way, bool relative) {
    way = unit(way);
    const V3d axis = axisOf(light), zero = planeZero(axis);
    const double phi = std::atan2(dot(way, cross(zero, axis)), dot(way, zero));
    const double value = distribution.at(phi, dot(way, axis));
    if (!relative) return value;
    return distribution.peak() > 0 ? value / distribution.peak() : 0;
}

const LightDistribution* profileOfLight(const Database& database, const miLight& light) {
    return namesProfile(database, light.shader) ? nullptr : distributionOf(database, light.lightprofile);
}

}  // namespace lumorender
