#include "lights/lights.h"

#include "mi/camera.h"
#include "mi/instance.h"
#include "mi/options.h"
#include "tracing/shader_calls.h"
#include "lights/shadows.h"
#include "tracing/tracing.h"
#include "tracing/volumes.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/messages.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <unordered_set>
#include <utility>

namespace lumorender {

namespace {

LightSource placeLight(const Database& database, const FlatElement& element) {
    LightSource source;
    source.instance = element.instance;
    source.light = database.as<miLight>(element.element, miSCENE_LIGHT);
    const M44d& m = element.placement->localToWorld;
    source.origin = narrow(transformPoint(wide(source.light->origin), m));
    source.direction = narrow(unit(transformVector(wide(source.light->direction), m)));
    source.directional = source.light->type == miLIGHT_DIRECTION;
    source.hasOnePlace = source.light->area == miLIGHT_NONE || source.directional;
    source.choosesItsPlace = source.light->area == miLIGHT_USER && !source.directional;
    source.photonsOnly = source.light->photons_only;
    source.shader = source.light->shader;
    source.placement = element.placement;
    source.profile = profileOfLight(database, *source.light);
    return source;
}

float cosineToLight(const miState& caller, const miVector& lightDir) { return -dot(caller.normal, lightDir); }

/// A light with a profile of its own is as bright as its shader says where it shines brightest.
void applyProfile(const LightSource& source, const miVector& dir, miColor& color) {
    const V3d way = transformVector(wide(dir), source.placement->worldToLocal);
    const auto share = static_cast<float>(shineAlong(*source.profile, source.light, way, true));
    color.r *= share;
    color.g *= share;
    color.b *= share;
}

/// Where in its cell of the grid the sample lies: the samples of a pixel fill each cell evenly.
miVector2d gridPosition(const LightGrid& grid, int sample, miState* state) {
    const std::uint32_t seed = takeSeed(*state);
    const double u = sample % grid.u + scrambledSobol(state->qmc_instance, 0, seed);
    const double v = sample / grid.u + scrambledSobol(state->qmc_instance, 1, seed);
    return {static_cast<float>(u / grid.u), static_cast<float>(v / grid.v)};
}

/// While a light shader runs it may ask where its sample lies.
class SampleScope {
public:
    SampleScope(ThreadContext& context, const LightPlace& place)
        : context_(context), before_(std::exchange(context.lightSample, place)) {}
    ~SampleScope() { context_.lightSample = before_; }
    SampleScope(const SampleScope&) = delete;
    SampleScope& operator=(const SampleScope&) = delete;

private:
    ThreadContext& context_;
    LightPlace before_;
};

/// Where a sample goes to; direction and cosine may be null.
struct LightSample {
    miColor* color;
    miVector* dir;
    miScalar* dotNl;
};

/// False where the sample adds nothing: it lies below the surface, or the light shader says so.
bool takeSample(const LightSource& source, const LightGrid& grid, int number, const LightSample& to, miState* state) {
    if (source.photonsOnly) return false;
    ThreadContext& context = contextOf(state);
    LightPlace place;
    miVector origin = source.origin;
    if (!source.hasOnePlace) {
        place.position = gridPosition(grid, number, state);
        const std::optional<LightPoint> point =
            pointOnLight(*source.light, *source.placement, source.surface, state->point,
                         static_cast<double>(place.position.u), static_cast<double>(place.position.v));
        if (!point) return false;
        origin = point->place;
        place.normal = point->normal;
    }

    RayRecord& record = childRay(context, state);
    const RayInFlight inFlight(context, record);
    miState& child = record.state;
    child.type = miRAY_LIGHT;
    child.light_instance = source.instance;
    child.count = static_cast<miUshort>(number);
    const LightRay ray = lightRay(source, origin, state->point);
    child.org = ray.org;
    child.dir = ray.dir;
    child.dist = ray.dist;
    child.dot_nd = cosineToLight(*state, child.dir);
    // Light from below the surface is no light, unless the caller took the hit record away.
    const bool isLate = source.choosesItsPlace;
    if (!isLate && state->pri && child.dot_nd <= 0) return false;

    *to.color = {0, 0, 0, 0};
    const SampleScope sample(context, place);
    if (!callShader(context, &child, source.shader, miSHADER_LIGHT, to.color)) return false;
    if (source.profile) applyProfile(source, child.dir, *to.color);
    if (isLate && state->pri && child.dot_nd <= 0) return false;
    if (!shadowsHaveSegments(*child.options) && !applyVolume(context, &child, to.color, true)) return false;
    if (to.dir) *to.dir = {-child.dir.x, -child.dir.y, -child.dir.z};
    if (to.dotNl) *to.dotNl = child.dot_nd;
    return true;
}

std::atomic<const LightTable*> latestTable = nullptr;

}  // namespace

LightTable::~LightTable() {
    const LightTable* self = this;
    latestTable.compare_exchange_strong(self, nullptr);
}

const LightTable* LightTable::latest() noexcept { return latestTable.load(std::memory_order_acquire); }

LightTable::LightTable(const Database& database, const SceneGeometry& geometry) {
    byTag_.assign(database.end(), 0);
    for (const FlatElement& element : geometry.lights()) {
        if (byTag_[element.instance] != 0) continue;
        sources_.push_back(placeLight(database, element));
        paths_.push_back(element.path);
        byTag_[element.instance] = static_cast<std::uint32_t>(sources_.size());
        all_.push_back(element.instance);
        giveSurface(database, geometry, sources_.back());
    }
    for (const FlatInstance& instance : geometry.instances()) {
        throwIfAborted();
        const auto add = [&](Lists& lists, miTag holder, bool shadow) {
            if (holder == 0 || lists.contains(holder)) return;
            const auto* detail = database.detail<InstanceDetail>(holder);
            const auto* record = database.as<miInstance>(holder, miSCENE_INSTANCE);
            if (!detail || !record) return;
            const bool exclusive = shadow ? record->shadow_excl != 0 : record->exclusive != 0;
            lists.emplace(holder, listed(shadow ? detail->shadowLights : detail->lights, exclusive));
        };
        add(lists_, instance.lightListInstance, false);
        add(shadowLists_, instance.shadowListInstance, true);
    }
    latestTable.store(this, std::memory_order_release);
}

void LightTable::giveSurface(const Database& database, const SceneGeometry& geometry, LightSource& source) {
    if (source.light->area == miLIGHT_NONE) return;
    if (source.directional)
        return warning("RC", "light instance \"{}\": an infinitely far light has no area, its shape is left out",
                       database.name(source.instance));
    if (source.light->area != miLIGHT_OBJECT) return;
    const miTag shape = source.light->primitive.object.object;
    const LightSurface& surface = surfaces_.emplace_back(geometry, shape);
    if (surface.empty())
        return warning("RC",
                       "light instance \"{}\": \"{}\" has no geometry in the scene, the light shines from its origin",
                       database.name(source.instance), database.name(shape));
    source.surface = &surface;
    if (source.light->visible) lamps_.emplace(shape, source.instance);
}

miTag* LightTable::resolve(std::span<const miTag> names, bool exclusive, miTag* to) const {
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        const std::vector<miTag>& path = paths_[i];
        const bool named = std::any_of(names.begin(), names.end(), [&](miTag name) {
            return name == sources_[i].instance || std::find(path.begin(), path.end(), name) != path.end();
        });
        if (named != exclusive) *to++ = sources_[i].instance;
    }
    return to;
}

/// The same for lists of any length.
std::vector<miTag> LightTable::listed(const std::vector<miTag>& names, bool exclusive) const {
    const std::unordered_set<miTag> known(names.begin(), names.end());
    std::vector<miTag> lights;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        const bool named =
            std::any_of(paths_[i].begin(), paths_[i].end(), [&](miTag tag) { return known.contains(tag); });
        if (named != exclusive) lights.push_back(sources_[i].instance);
    }
    return lights;
}

const std::vector<miTag>* LightTable::listOf(const Lists& lists, miTag holder) {
    const auto found = lists.find(holder);
    return found == lists.end() ? nullptr : &found->second;
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

LightRay lightRay(const LightSource& source, const miVector& place, const miVector& point) {
    if (source.directional) return {source.origin, source.direction, 0};
    const V3d way = wide(point) - wide(place);
    return {place, narrow(unit(way)), length(way)};
}

bool sampleLight(miColor* result, miVector* dir, miScalar* dotNl, miState* state, miTag light, int* samples) {
    const ThreadContext& context = contextOf(state);
    const LightSource* source = context.scene->lights ? context.scene->lights->find(light) : nullptr;
    if (!source || *samples < 0) return false;
    // Shaders call until nothing comes any more. Most lights have one place to sample.
    if (source->hasOnePlace) {
        if (*samples > 0 || abortRequested()) return false;
        return takeSample(*source, {}, (*samples)++, {result, dir, dotNl}, state);
    }
    // Of one of many places that are gathered one sample is enough: all together they cover the light.
    const bool gathers = context.gather.depth > 0;
    const int level = state->reflection_level + state->refraction_level;
    const LightGrid grid = gathers ? LightGrid{} : lightGrid(*source->light, level);
    while (*samples < grid.count() && !abortRequested())
        if (takeSample(*source, grid, (*samples)++, {result, dir, dotNl}, state)) return true;
    return false;
}

bool sampleLightOnce(miColor* result, miVector* dir, miScalar* dotNl, miState* state, miTag light) {
    const ThreadContext& context = contextOf(state);
    const LightSource* source = context.scene->lights ? context.scene->lights->find(light) : nullptr;
    return source && takeSample(*source, {}, 0, {result, dir, dotNl}, state);
}

}  // namespace lumorender
