#include "geometry/on_demand.h"

#include "geometry/boxes.h"
#include "geometry/flattener.h"
#include "mi/light.h"
#include "mi/material.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/limits.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace lumorender {

namespace {

/// Of what geometry may take, so that not every object that comes asks for room again.
constexpr double kKept = 0.75;

constexpr double kHairNumber = 16;  ///< bytes for each number of a hair, with those of the kernels

std::string describe(const Imath::Box3d& box) {
    return fmt::format("({:g} {:g} {:g}) to ({:g} {:g} {:g})", box.min.x, box.min.y, box.min.z, box.max.x, box.max.y,
                       box.max.z);
}

Imath::Box3d extentOf(const BroughtGeometry& geometry) {
    Imath::Box3d extent;
    if (const Mesh* mesh = geometry.mesh.get()) {
        for (const miVector& p : mesh->positions) extent.extendBy(wide(p));
        for (const auto& step : mesh->laterPositions)
            for (const miVector& p : step) extent.extendBy(wide(p));
    }
    if (const Hair* hair = geometry.hair.get())
        for (const auto& step : hair->points)
            for (const CurvePoint& p : step) extent.extendBy(V3d(p.x, p.y, p.z));
    return extent;
}

bool displaceAny(const Database& database, const std::vector<miTag>& materials) {
    return std::any_of(materials.begin(), materials.end(), [&](miTag tag) {
        const auto* material = database.as<miMaterial>(tag, miSCENE_MATERIAL);
        return material && material->displace;
    });
}

/// Objects with a box whose geometry has to be there before the first ray: shapes of lights, and what is displaced.
std::unordered_set<miTag> wantedAtOnce(const Database& database, const FlatScene& scene) {
    std::unordered_set<miTag> shapes, objects;
    for (const FlatElement& element : scene.lights) {
        const auto* light = database.as<miLight>(element.element, miSCENE_LIGHT);
        if (light && light->area == miLIGHT_OBJECT) shapes.insert(light->primitive.object.object);
    }
    for (const FlatInstance& instance : scene.instances) {
        const auto* placeholder = database.detail<Placeholder>(instance.object);
        if (!placeholder) continue;
        if (shapes.contains(instance.instance) || shapes.contains(instance.object) ||
            displaceAny(database, placeholder->materials) ||
            (instance.materials && displaceAny(database, *instance.materials)))
            objects.insert(instance.object);
    }
    return objects;
}

}  // namespace

OnDemandObjects::OnDemandObjects(const Database& database, FlatScene& scene, MemoryBudget& budget,
                                 const ObjectSurfaces& surfaces, bool withoutHair)
    : database_(database),
      instances_(scene.instances),
      budget_(budget),
      surfaces_(surfaces),
      withoutHair_(withoutHair) {
    std::unordered_map<miTag, OnDemandObject*> known;
    const std::unordered_set<miTag> early = wantedAtOnce(database, scene);
    for (std::size_t i = 0; i < instances_.size(); ++i) {
        FlatInstance& instance = instances_[i];
        const auto* placeholder = database.detail<Placeholder>(instance.object);
        const auto* record = database.as<miObject>(instance.object, miSCENE_OBJECT);
        if (!placeholder || !record || !hasBox(*record) || early.contains(instance.object)) continue;
        OnDemandObject*& object = known[instance.object];
        if (!object) {
            object = &objects_.emplace_back();
            object->placeholder = placeholder;
            object->name = database.name(instance.object);
            object->box = boxOf(*record);
            object->owner = this;
        }
        object->instances.push_back(i);
        placed_.push_back(i);
        instance.onDemand = object;
        if (instance.materials) instance.surfaceMaterials = *instance.materials;
    }
}

const BroughtGeometry* OnDemandObjects::get(OnDemandObject& object) noexcept {
    const BroughtGeometry* brought = object.brought.load(std::memory_order_acquire);
    if (!brought) brought = bring(object);
    const unsigned round = round_.load(std::memory_order_relaxed);
    if (object.lastUse.load(std::memory_order_relaxed) != round) object.lastUse.store(round, std::memory_order_relaxed);
    return brought && brought->traced ? brought : nullptr;
}

/// What failed stays empty: it is tried, and told, once.
const BroughtGeometry* OnDemandObjects::bring(OnDemandObject& object) noexcept {
    try {
        const std::lock_guard lock(loading_);
        if (object.brought.load(std::memory_order_relaxed)) return object.brought.load(std::memory_order_relaxed);
        auto fresh = std::make_unique<BroughtGeometry>();
        try {
            fill(object, *fresh);
        } catch (const std::exception& failure) {
            if (!abortRequested())
                error("GEOM", "object \"{}\" of {}, {}: {}; it is left empty", object.name, object.placeholder->where,
                      object.placeholder->from, failure.what());
            fresh->traced.reset();
        }
        object.owned = std::move(fresh);
        object.brought.store(object.owned.get(), std::memory_order_release);
        return object.owned.get();
    } catch (...) {
        return nullptr;  // not even room for a message
    }
}

void OnDemandObjects::fill(OnDemandObject& object, BroughtGeometry& fresh) {
    fresh.source = object.placeholder->loader->load();
    if (!fresh.source) return;
    const auto& hair = fresh.source->hair;
    if (hair && withoutHair_) return;
    std::vector<const FlatInstance*> instances;
    for (const std::size_t i : object.instances) instances.push_back(&instances_[i]);
    const std::vector<PolygonGroupSource> surfaces = surfaces_.tessellated(*fresh.source, object.name, instances);
    fresh.bytes = hair ? static_cast<double>(hair->scalars.size()) * kHairNumber : meshBytes(*fresh.source, surfaces);
    if (budget_.takeAnyway(fresh.bytes)) roomIsWanted_ = true;
    if (hair) {
        fresh.hair = buildHair(*fresh.source, object.name);
    } else {
        fresh.mesh = buildMesh(*fresh.source, object.name, surfaces);
        fresh.source.reset();
    }
    if (!fresh.mesh && !fresh.hair) return;
    checkBox(object, fresh);
    for (const std::size_t i : object.instances) {
        FlatInstance& instance = instances_[i];
        instance.mesh = fresh.mesh.get();
        instance.hair = fresh.hair.get();
        fresh.materials.choose(instance);
        instance.moves = instance.motionSteps > 0 || (instance.mesh ? instance.mesh->moves() : instance.hair->moves());
    }
    tellOfDisplacement(object, fresh);
    fresh.traced = trace(fresh);
    ++timesBrought_;
    bytes_ += fresh.bytes;
    mostBytes_ = std::max(mostBytes_.load(), bytes_.load());
}

void OnDemandObjects::checkBox(const OnDemandObject& object, const BroughtGeometry& fresh) const {
    const Imath::Box3d extent = extentOf(fresh);
    const double tolerance = 1e-4 * (object.box.max - object.box.min).length();
    const Imath::Box3d wider(object.box.min - V3d(tolerance), object.box.max + V3d(tolerance));
    if (extent.isEmpty() || (wider.intersects(extent.min) && wider.intersects(extent.max))) return;
    warning("GEOM",
            "object \"{}\" of {}, {}: its geometry reaches from {}, beyond its box from {}: parts may be missing",
            object.name, object.placeholder->where, object.placeholder->from, describe(extent), describe(object.box));
}

void OnDemandObjects::tellOfDisplacement(const OnDemandObject& object, const BroughtGeometry& fresh) const {
    if (!fresh.mesh) return;
    for (const std::size_t i : object.instances)
        for (const miTag tag : instances_[i].surfaceMaterials)
            if (const auto* material = database_.as<miMaterial>(tag, miSCENE_MATERIAL))
                if (material->displace)
                    return warning("GEOM", "object \"{}\" of {}, {}: what comes behind a box is not displaced",
                                   object.name, object.placeholder->where, object.placeholder->from);
}

std::shared_lock<std::shared_mutex> OnDemandObjects::inUse() {
    if (objects_.empty()) return {};
    const std::lock_guard waiting(gate_);
    return std::shared_lock(inUse_);
}

void OnDemandObjects::makeRoom() {
    ++round_;
    if (!roomIsWanted_.load(std::memory_order_relaxed)) return;
    const std::lock_guard closed(gate_);
    const std::unique_lock alone(inUse_);
    if (!roomIsWanted_.exchange(false)) return;
    const double kept = kKept * static_cast<double>(limits().memoryBytes);
    std::vector<OnDemandObject*> present;
    for (OnDemandObject& object : objects_)
        if (object.owned && object.owned->bytes > 0) present.push_back(&object);
    std::sort(present.begin(), present.end(),
              [](const auto* a, const auto* b) { return a->lastUse.load() < b->lastUse.load(); });
    for (OnDemandObject* object : present) {
        if (budget_.taken() <= kept) return;
        letGo(*object);
    }
}

void OnDemandObjects::letGo(OnDemandObject& object) {
    for (const std::size_t i : object.instances) {
        FlatInstance& instance = instances_[i];
        instance.mesh = nullptr;
        instance.hair = nullptr;
        instance.surfaceMaterials = {};
    }
    budget_.give(object.owned->bytes);
    bytes_ -= object.owned->bytes;
    object.brought.store(nullptr, std::memory_order_release);
    object.owned.reset();
    ++timesLetGo_;
}

SceneGeometry::OnDemandCounts OnDemandObjects::counts() const {
    return {objects_.size(), timesBrought_, timesLetGo_, mostBytes_};
}

}  // namespace lumorender
