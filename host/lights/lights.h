// Lights: which apply where, and sampling them through their shaders.
#pragma once

#include "database/elements.h"
#include "mi/light.h"
#include "mi/state.h"
#include "lights/area_lights.h"
#include "lights/profiles.h"
#include "tracing/context.h"

#include <deque>
#include <span>
#include <unordered_map>
#include <vector>

namespace lumorender {

/// A light instance in its place. World space.
struct LightSource {
    miTag instance = 0;
    const miLight* light = nullptr;
    miVector origin = {};
    miVector direction = {};   ///< unit length; where a directional light or a spot shines to
    bool directional = false;  ///< infinitely far away
    bool hasOnePlace = true;   ///< no choice of where on it a sample lies
    /// Shaders of lights without a shape of ours choose the place themselves, so only what they left can be judged.
    bool choosesItsPlace = false;
    bool photonsOnly = false;
    miTag shader = 0;
    const Placement* placement = nullptr;
    const LightSurface* surface = nullptr;       ///< of lights in the shape of an object
    const LightDistribution* profile = nullptr;  ///< by which its light is multiplied
};

/// The lights of a scene and the light lists of its instances. Read-only while rendering.
class LightTable {
public:
    LightTable(const Database& database, const SceneGeometry& geometry);
    ~LightTable();
    LightTable(const LightTable&) = delete;
    LightTable& operator=(const LightTable&) = delete;

    /// The one that was made last, for functions that are not told of which render they are; null where none is left.
    static const LightTable* latest() noexcept;

    /// Null where the tag is no light instance of the scene.
    const LightSource* find(miTag instance) const {
        return instance < byTag_.size() && byTag_[instance] ? &sources_[byTag_[instance] - 1] : nullptr;
    }

    /// The visible light that has the instance, or its object, for its shape; null where none has.
    const LightSource* lampOf(const FlatInstance& instance) const {
        if (lamps_.empty()) return nullptr;
        const auto found = lamps_.find(instance.instance);
        const auto lamp = found != lamps_.end() ? found : lamps_.find(instance.object);
        return lamp != lamps_.end() ? find(lamp->second) : nullptr;
    }

    std::span<const LightSource> sources() const { return sources_; }
    const std::vector<miTag>& all() const { return all_; }
    /// The lights that light the instance that was hit.
    const std::vector<miTag>& lightsFor(const FlatInstance& instance) const;
    /// False where the instance's shadow list says that it casts no shadow from this light.
    bool castsShadow(const FlatInstance& occluder, miTag light) const;
    /// The lights that the names of light instances (or instances of groups of lights) mean, or all others: written from
    /// `to` on, where there is room for all(). Allocates nothing: shaders ask for it at every call.
    /// @return behind the last one
    miTag* resolve(std::span<const miTag> names, bool exclusive, miTag* to) const;

private:
    /// By the instance that gives the list.
    using Lists = std::unordered_map<miTag, std::vector<miTag>>;
    static const std::vector<miTag>* listOf(const Lists& lists, miTag holder);
    std::vector<miTag> listed(const std::vector<miTag>& names, bool exclusive) const;

    void giveSurface(const Database& database, const SceneGeometry& geometry, LightSource& source);

    std::vector<LightSource> sources_;
    std::deque<LightSurface> surfaces_;
    std::vector<std::vector<miTag>> paths_;
    std::vector<std::uint32_t> byTag_;  ///< 1 + position in sources_, 0 = no light
    std::vector<miTag> all_;
    std::unordered_map<miTag, miTag> lamps_;  ///< visible lights by the instance or object of their shape
    Lists lists_, shadowLists_;
};

/// The ray of a light from a place on it to the point: a light state's position, direction, and distance, which is 0
/// for lights that are infinitely far away.
struct LightRay {
    miVector org, dir;
    double dist = 0;
};
LightRay lightRay(const LightSource& source, const miVector& place, const miVector& point);

/// The next sample of a light, as mi_sample_light hands it out: samples that do not light the point are counted and
/// passed over. Returns false when there are no more.
bool sampleLight(miColor* result, miVector* dir, miScalar* dotNl, miState* state, miTag light, int* samples);

/// A single sample of the whole shape. Returns false where it does not light the point.
bool sampleLightOnce(miColor* result, miVector* dir, miScalar* dotNl, miState* state, miTag light);

}  // namespace lumorender
