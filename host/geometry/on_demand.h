// Objects whose geometry is brought when a ray meets their box, and let go where memory is short.
#pragma once

#include "database/placeholder.h"
#include "geometry/hair.h"
#include "geometry/memory_budget.h"
#include "geometry/mesh.h"
#include "geometry/object_surfaces.h"
#include "geometry/scene_geometry.h"
#include "geometry/surface_materials.h"

#include <ImathBox.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace lumorender {

struct FlatScene;

/// What has come: a mesh, hairs, or nothing.
struct BroughtGeometry {
    std::unique_ptr<ObjectSource> source;  ///< that hairs refer to
    std::unique_ptr<Mesh> mesh;
    std::unique_ptr<Hair> hair;
    SurfaceMaterials materials;
    std::shared_ptr<void> traced;  ///< the kernels' structure over it, in object space
    double bytes = 0;
};

/// One such object, wherever it is placed.
struct OnDemandObject {
    const Placeholder* placeholder = nullptr;
    std::string name;
    Imath::Box3d box;  ///< in its own space, for the whole shutter interval
    std::vector<std::size_t> instances;
    std::unique_ptr<BroughtGeometry> owned;
    std::atomic<const BroughtGeometry*> brought{nullptr};  ///< `owned`, when it is complete
    std::atomic<unsigned> lastUse{0};
    class OnDemandObjects* owner = nullptr;
};

class OnDemandObjects {
public:
    /// @param scene whose instances are changed when an object comes or goes: mesh, hair, materials.
    OnDemandObjects(const Database& database, FlatScene& scene, MemoryBudget& budget, const ObjectSurfaces& surfaces,
                    bool withoutHair);

    bool empty() const { return objects_.empty(); }
    std::span<const std::size_t> instances() const { return placed_; }

    /// Builds the kernels' structure; needed before the first ray.
    std::function<std::shared_ptr<void>(const BroughtGeometry&)> trace;

    /// The object's geometry, brought now where it is not there; null where it is none. From any thread. Where it is
    /// there this costs two loads.
    const BroughtGeometry* get(OnDemandObject& object) noexcept;

    /// See SceneGeometry.
    std::shared_lock<std::shared_mutex> inUse();
    void makeRoom();

    SceneGeometry::OnDemandCounts counts() const;

private:
    const BroughtGeometry* bring(OnDemandObject& object) noexcept;
    void fill(OnDemandObject& object, BroughtGeometry& fresh);
    void checkBox(const OnDemandObject& object, const BroughtGeometry& fresh) const;
    void tellOfDisplacement(const OnDemandObject& object, const BroughtGeometry& fresh) const;
    void letGo(OnDemandObject& object);

    const Database& database_;
    std::vector<FlatInstance>& instances_;
    MemoryBudget& budget_;
    const ObjectSurfaces& surfaces_;
    const bool withoutHair_;
    std::deque<OnDemandObject> objects_;
    std::vector<std::size_t> placed_;  ///< instances of all of them
    std::mutex loading_;               ///< one object comes at a time
    std::mutex gate_;                  ///< whoever makes room holds it, so that nobody begins a tile meanwhile
    std::shared_mutex inUse_;
    std::atomic<bool> roomIsWanted_{false};
    std::atomic<unsigned> round_{0};  ///< tiles that are done
    std::atomic<std::size_t> timesBrought_{0}, timesLetGo_{0};
    std::atomic<double> mostBytes_{0}, bytes_{0};
};

}  // namespace lumorender
