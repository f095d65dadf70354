#include "geometry/scene_geometry.h"

#include "database/placeholder.h"
#include "geometry/embree_kernels.h"
#include "geometry/flattener.h"
#include "geometry/hair.h"
#include "geometry/light_shapes.h"
#include "geometry/mesh.h"
#include "geometry/object_surfaces.h"
#include "geometry/boxes.h"
#include "geometry/on_demand.h"
#include "geometry/shader_shape.h"
#include "geometry/surface.h"
#include "mi/options.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/messages.h"

#include <ImathBox.h>
#include <ImathBoxAlgo.h>

#include <tbb/parallel_for.h>

#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <tuple>
#include <unordered_set>

namespace lumorender {

namespace {

class EmbreeGeometry : public SceneGeometry {
public:
    EmbreeGeometry(const Database& database, miTag rootGroup, const miOptions& options, const GeneratedScene& generated,
                   bool outline, const GeometryRules& rules)
        : database_(database),
          scene_(flatten(database, rootGroup, options, generated, outline, budget_)),
          surfaces_(rules, scene_.cameras),
          shapeFinder_(rules.shapes),
          timed_(options.motion != 0 || options.shutter > options.shutter_delay) {
        const auto start = std::chrono::steady_clock::now();
        onDemand_.emplace(database, scene_, budget_, surfaces_, options.no_hair != 0);
        if (outline) return;
        findShapes(database);
        buildMeshes(database, options.no_hair != 0);
        for (const FlatElement& light : scene_.lights) addLightShape(database, light);
        for (FlatInstance& instance : scene_.instances) {
            if (!instance.mesh && !instance.hair) continue;
            surfaceMaterials_.choose(instance);
            instance.moves =
                instance.motionSteps > 0 || (instance.mesh ? instance.mesh->moves() : instance.hair->moves());
        }
        seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    void replaceMesh(std::span<const std::size_t> instances, std::unique_ptr<Mesh> mesh) override {
        budget_.take(static_cast<double>(mesh->triangles()) * kDisplacedTriangle, "a displaced object");
        for (const std::size_t i : instances) scene_.instances[i].mesh = mesh.get();
        meshes_.push_back(std::move(mesh));
    }

    void complete() override {
        const auto start = std::chrono::steady_clock::now();
        std::unordered_set<const Mesh*> used;
        for (const FlatInstance& instance : scene_.instances) used.insert(instance.mesh);
        std::erase_if(meshes_, [&](const auto& mesh) { return !used.contains(mesh.get()); });
        boxes_.assign(onDemand_->instances().begin(), onDemand_->instances().end());
        boxes_.insert(boxes_.end(), shapedInstances_.begin(), shapedInstances_.end());
        kernels_.emplace(scene_.instances, timed_, boxes_, shapeFinder_);
        onDemand_->trace = [this](const BroughtGeometry& brought) {
            return kernels_->traced(brought.mesh.get(), brought.hair.get());
        };
        seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    bool intersect(const Ray& ray, Hit& hit, const FoundHit* found) const override {
        return kernels_ && kernels_->intersect(ray, hit, found);
    }
    void look(std::span<const Ray> rays, FoundHit* found) const override {
        if (canLook()) kernels_->look(rays, found);
    }
    bool canLook() const override { return kernels_ && kernels_->canLook(); }
    bool occluded(const Ray& ray) const override { return kernels_ && kernels_->occluded(ray); }

    HitListSizes listSizes(const FlatInstance& instance) const override {
        if (instance.hair) return listSizesOf(*instance.hair);
        if (instance.shape) return listSizesOf(*instance.shape);
        return instance.mesh ? listSizesOf(*instance.mesh) : HitListSizes();
    }
    void fillState(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals) const override {
        if (hit.instance->hair) return fillHair(hit, state, lists, flipNormals);
        if (hit.instance->shape) return fillShape(hit, state, lists, flipNormals);
        fillSurface(hit, state, lists, flipNormals);
    }

    std::span<const FlatInstance> instances() const override { return scene_.instances; }
    std::span<const FlatElement> lights() const override { return scene_.lights; }
    std::span<const FlatElement> cameras() const override { return scene_.cameras; }
    std::span<const miTag> generators() const override { return scene_.generators; }
    const NamedPlacement* placement(miTag instance) const override {
        const auto found = scene_.placements.find(instance);
        return found == scene_.placements.end() ? nullptr : &found->second;
    }

    Statistics statistics() const override {
        Statistics result;
        result.instances = scene_.instances.size();
        result.meshes = meshes_.size();
        for (const auto& mesh : meshes_) result.triangles += mesh->triangles();
        for (const auto& hair : hairs_) {
            result.hairs += hair->hairs();
            result.hairPieces += hair->pieces();
            result.hairBytes += hair->bytes();
        }
        result.kernelBytes = kernels_->bytes();
        result.buildSeconds = seconds_;
        result.onDemand = onDemand_->counts();
        return result;
    }
    std::shared_lock<std::shared_mutex> inUse() const override { return onDemand_->inUse(); }
    void makeRoom() const override { onDemand_->makeRoom(); }
    void bounds(miVector& low, miVector& high) const override {
        if (kernels_) return kernels_->bounds(low, high);
        Imath::Box3d box;
        for (const FlatInstance& instance : scene_.instances) extend(box, instance);
        low = high = {0, 0, 0};
        if (box.isEmpty()) return;
        low = narrow(box.min);
        high = narrow(box.max);
    }
    void bounds(SceneRole role, miVector& low, miVector& high) const override {
        std::call_once(extentsAreKnown_, [&] { findExtents(); });
        low = extents_[static_cast<std::size_t>(role)][0];
        high = extents_[static_cast<std::size_t>(role)][1];
    }

private:
    static constexpr double kDisplacedTriangle = 200;  ///< bytes, with those of the ray tracing kernels

    const Database& database_;
    MemoryBudget budget_;
    FlatScene scene_;
    const ObjectSurfaces surfaces_;
    const ShapeFinder shapeFinder_;
    const bool timed_;  ///< things move while rays are traced
    SurfaceMaterials surfaceMaterials_;
    mutable std::optional<OnDemandObjects> onDemand_;  ///< comes and goes while rays are traced
    std::map<miTag, ShaderShape> shapes_;              ///< by object
    std::vector<std::size_t> shapedInstances_, boxes_;
    std::vector<std::unique_ptr<Mesh>> meshes_;
    std::vector<std::unique_ptr<ObjectSource>> sources_;  ///< of hairs that were loaded
    std::vector<std::unique_ptr<Hair>> hairs_;
    std::optional<EmbreeKernels> kernels_;
    double seconds_ = 0;
    mutable std::once_flag extentsAreKnown_;
    mutable std::array<std::array<miVector, 2>, 5> extents_ = {};  ///< by SceneRole: zero where nothing has it

    static bool has(const FlatInstance& instance, SceneRole role) {
        constexpr PhotonFlags kPhotons[] = {{}, kGlobillumCast, kGlobillumReceive, kCausticCast, kCausticReceive};
        if (role == SceneRole::CastsShadows) return (instance.flags & miTRACE_SHADOW_CAST) != 0;
        return (instance.photons & kPhotons[static_cast<std::size_t>(role)]) != 0;
    }

    /// Few shaders ask, and those do so again and again.
    void findExtents() const {
        std::array<Imath::Box3d, 5> boxes;
        for (const FlatInstance& instance : scene_.instances) {
            const auto* object = database_.as<miObject>(instance.object, miSCENE_OBJECT);
            if (!object || !hasBox(*object)) continue;
            const Imath::Box3d placed = Imath::transform(boxOf(*object), instance.placement->localToWorld);
            for (std::size_t role = 0; role < boxes.size(); ++role)
                if (has(instance, static_cast<SceneRole>(role))) boxes[role].extendBy(placed);
        }
        for (std::size_t role = 0; role < boxes.size(); ++role)
            if (!boxes[role].isEmpty()) extents_[role] = {narrow(boxes[role].min), narrow(boxes[role].max)};
    }

    /// As far as anything of the instance is before it is displaced, when the shutter opens.
    static void extend(Imath::Box3d& box, const FlatInstance& instance) {
        const M44d& place = instance.placement->localToWorld;
        if (instance.mesh)
            for (const miVector& p : instance.mesh->positions) box.extendBy(transformPoint(wide(p), place));
        if (instance.hair)
            for (const CurvePoint& p : instance.hair->points.front())
                box.extendBy(transformPoint({p.x, p.y, p.z}, place));
        if (instance.shape) box.extendBy(Imath::transform(instance.shape->box, place));
    }

    /// Objects with intersection shaders.
    void findShapes(const Database& database) {
        for (std::size_t i = 0; i < scene_.instances.size(); ++i) {
            FlatInstance& instance = scene_.instances[i];
            const auto* object = database.as<miObject>(instance.object, miSCENE_OBJECT);
            if (!object || object->functions == 0) continue;
            const auto [entry, isNew] = shapes_.try_emplace(instance.object);
            if (isNew) entry->second = {object->functions, boxOf(*object)};
            if (isNew && !hasBox(*object))
                error("GEOM", "object {} has an intersection shader and no box that it could lie in, left out",
                      quotedName(database, instance.object));
            instance.shape = &entry->second;
            instance.moves = instance.motionSteps > 0;
            if (instance.materials) instance.surfaceMaterials = *instance.materials;
            if (hasBox(*object)) shapedInstances_.push_back(i);
        }
    }

    /// What an object is made of: a mesh, hairs, or nothing.
    struct Shape {
        std::unique_ptr<Mesh> mesh;
        std::unique_ptr<Hair> hair;
        std::unique_ptr<ObjectSource> source;  ///< where it is not the database's
    };

    /// Of the objects that some ray may hit.
    void buildMeshes(const Database& database, bool withoutHair) {
        std::unordered_map<miTag, std::size_t> numbers;
        std::vector<miTag> objects;
        std::vector<std::vector<const FlatInstance*>> instances;
        for (const FlatInstance& instance : scene_.instances) {
            if ((instance.flags & EmbreeKernels::kCastBits) == 0 || instance.onDemand || instance.shape) continue;
            const auto [number, isNew] = numbers.try_emplace(instance.object, objects.size());
            if (isNew) {
                objects.push_back(instance.object);
                instances.emplace_back();
            }
            instances[number->second].push_back(&instance);
        }

        // Objects without a box come now, one after another, as their loaders want it.
        std::vector<Shape> built(objects.size());
        for (std::size_t i = 0; i < objects.size(); ++i)
            if (const auto* placeholder = database.detail<Placeholder>(objects[i])) {
                built[i].source = placeholder->loader->load();
                if (built[i].source) scene_.shared.approximations[objects[i]] = dividingRules(*built[i].source);
            }
        tbb::parallel_for(std::size_t{0}, objects.size(), [&](std::size_t i) {
            throwIfAborted();
            buildObject(database, objects[i], instances[i], withoutHair, built[i]);
        });
        for (FlatInstance& instance : scene_.instances) {
            const auto number = numbers.find(instance.object);
            if (number == numbers.end()) continue;
            instance.mesh = built[number->second].mesh.get();
            instance.hair = built[number->second].hair.get();
            if (!built[number->second].source) continue;
            instance.approximation =
                chosenApproximation(scene_.shared.approximations[instance.object], instance.inheritedApproximation,
                                    instance.overridesApproximation);
        }
        for (Shape& shape : built) {
            if (shape.mesh) meshes_.push_back(std::move(shape.mesh));
            if (shape.hair && shape.source) sources_.push_back(std::move(shape.source));
            if (shape.hair) hairs_.push_back(std::move(shape.hair));
        }
    }

    /// Shadow rays do not meet the shape: its light comes by light samples. Shaders of lights may look through it.
    void addLightShape(const Database& database, const FlatElement& element) {
        auto mesh = lightShape(*database.as<miLight>(element.element, miSCENE_LIGHT));
        if (!mesh) return;
        FlatInstance& shape = scene_.instances.emplace_back();
        shape.instance = element.instance;
        shape.placement = element.placement;
        shape.motionSteps = element.motionSteps;
        shape.flags = miTRACE_VISIBLE | miTRACE_REFLECTION_CAST | miTRACE_REFRACTION_CAST | miTRACE_TRANSPARENCY_CAST |
                      miTRACE_REFLECTION_RECEIVE | miTRACE_REFRACTION_RECEIVE | miTRACE_TRANSPARENCY_RECEIVE |
                      miTRACE_FINALGATHER;
        shape.isLight = true;
        shape.mesh = mesh.get();
        meshes_.push_back(std::move(mesh));
    }

    void buildObject(const Database& database, miTag object, const std::vector<const FlatInstance*>& instances,
                     bool withoutHair, Shape& shape) {
        const auto* source = shape.source ? shape.source.get() : database.detail<ObjectSource>(object);
        const std::string name(database.name(object));
        if (!source && database.detail<Placeholder>(object)) return;  // has been said
        if (!source)
            error("GEOM", "object {} has no geometry that can be traced, left out", quotedName(database, object));
        else if (!source->hair) {
            const std::vector<PolygonGroupSource> surfaces = surfaces_.tessellated(*source, name, instances);
            budget_.take(meshBytes(*source, surfaces), fmt::format("object \"{}\"", name));
            shape.mesh = buildMesh(*source, name, surfaces);
        } else if (!withoutHair) {
            constexpr double kNumber = 16;  // bytes for each number of a hair, with those of the kernels
            budget_.take(static_cast<double>(source->hair->scalars.size()) * kNumber,
                         fmt::format("object \"{}\"", name));
            shape.hair = buildHair(*source, name);
        }
    }
};

}  // namespace

void SceneGeometry::makeExact(const Ray& ray, FoundHit& found) const {
    Hit hit;
    if (!found.isHit() || !intersect(ray, hit, &found)) return;
    const auto instance = static_cast<std::uint32_t>(hit.instance - instances().data());
    found = {instance, hit.primitive, hit.u, hit.v, hit.dist, hit.sides, hit.point};
}

std::unique_ptr<SceneGeometry> SceneGeometry::build(const Database& database, miTag rootGroup, const miOptions& options,
                                                    const GeometryRules& rules) {
    auto geometry = collect(database, rootGroup, options, {}, rules);
    geometry->complete();
    return geometry;
}

std::unique_ptr<SceneGeometry> SceneGeometry::collect(const Database& database, miTag rootGroup,
                                                      const miOptions& options, const GeneratedScene& generated,
                                                      const GeometryRules& rules) {
    return std::make_unique<EmbreeGeometry>(database, rootGroup, options, generated, false, rules);
}

std::unique_ptr<SceneGeometry> SceneGeometry::outline(const Database& database, miTag rootGroup,
                                                      const miOptions& options, const GeneratedScene& generated) {
    return std::make_unique<EmbreeGeometry>(database, rootGroup, options, generated, true, GeometryRules());
}

}  // namespace lumorender
