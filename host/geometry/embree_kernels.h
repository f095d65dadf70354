// The ray tracing kernels: acceleration structures over the flat instances, and the rays through them.
#pragma once

#include "geometry/embree.h"
#include "geometry/hair.h"
#include "geometry/mesh.h"
#include "geometry/on_demand.h"
#include "geometry/scene_geometry.h"

#include <atomic>
#include <memory>
#include <span>
#include <vector>

namespace lumorender {

struct JudgingContext;

/// Meshes and hairs that are placed once and stand still become part of one structure in world space; the others get a
/// structure of their own, which instances refer to.
class EmbreeKernels {
public:
    /// The flags of which an instance needs at least one for any ray to hit it.
    static constexpr std::uint32_t kCastBits = miTRACE_VISIBLE | miTRACE_SHADOW_CAST | miTRACE_REFLECTION_CAST |
                                               miTRACE_REFRACTION_CAST | miTRACE_TRANSPARENCY_CAST |
                                               miTRACE_FINALGATHER | kMeetsPhotons;

    /// Builds on all threads. The instances and their meshes must outlive the kernels and stay where they are.
    /// `timed`: the exposure takes time, so things move while rays are traced. `boxes`: numbers of the instances whose
    /// objects come on demand, and of those that have shapes. Throws Failure where memory runs out.
    EmbreeKernels(std::span<const FlatInstance> instances, bool timed, std::span<const std::size_t> boxes = {},
                  const ShapeFinder& shapes = {});

    bool intersect(const Ray& ray, Hit& hit, const FoundHit* found = nullptr) const;
    /// See SceneGeometry.
    void look(std::span<const Ray> rays, FoundHit* found) const;
    bool canLook() const { return packet_ > 0 && !judges_; }
    bool occluded(const Ray& ray) const;
    void bounds(miVector& low, miVector& high) const;

    /// A structure over a mesh or hairs, in object space, for objects that come on demand. From any thread.
    std::shared_ptr<void> traced(const Mesh* mesh, const Hair* hair) const;

    /// Memory that the kernels have allocated.
    std::size_t bytes() const { return static_cast<std::size_t>(bytes_.load()); }

private:
    struct Release {
        void operator()(RTCDevice device) const { rtcReleaseDevice(device); }
        void operator()(RTCScene scene) const { rtcReleaseScene(scene); }
        void operator()(RTCGeometry geometry) const { rtcReleaseGeometry(geometry); }
    };
    using Device = std::unique_ptr<RTCDeviceTy, Release>;
    using Scene = std::unique_ptr<RTCSceneTy, Release>;
    using Geometry = std::unique_ptr<RTCGeometryTy, Release>;

    /// A mesh or the hairs of an object, and where they are used.
    struct Use {
        const Mesh* mesh = nullptr;
        const Hair* hair = nullptr;
        std::vector<std::uint32_t> instances;
        Scene scene;     ///< of its own, or
        Geometry baked;  ///< its triangles or curves in world space
    };

    std::span<const FlatInstance> instances_;
    bool timed_;
    float reach_ = 0;                     ///< how far from the origin rays may begin
    bool judges_ = false;                 ///< not all that the kernels find is a hit
    int packet_ = 0;                      ///< rays that this machine traces at once: 16, 8, or none together
    std::span<const std::size_t> boxes_;  ///< instances of objects that come on demand, or have shapes
    ShapeFinder shapes_;
    unsigned boxSteps_ = 1;
    std::atomic<long long> bytes_ = 0;  ///< outlives the device, which counts here
    Device device_;
    Scene world_;

    std::vector<Use> collectUses();
    bool standsAlone(const Use& use) const;
    void buildUse(Use& use) const;
    Scene newScene() const;
    Geometry newGeometry(const Use& use, const FlatInstance* bakedFor) const;
    Geometry newCurves(const Hair& hair, const FlatInstance* bakedFor) const;
    void setCurvePoints(RTCGeometry geometry, unsigned step, const std::vector<CurvePoint>& points,
                        const FlatInstance* bakedFor) const;
    Geometry newTriangles(const Mesh& mesh, const FlatInstance* bakedFor) const;
    void setPositions(RTCGeometry geometry, unsigned step, const std::vector<miVector>& positions,
                      const FlatInstance* bakedFor) const;
    void attach(const Use& use, std::uint32_t instance) const;
    void checkDevice() const;
    template <class Packet, std::size_t width>
    void lookTogether(std::span<const Ray> rays, FoundHit* found) const;

    void attachBoxes(std::span<const std::size_t> placed);
    bool meetsShape(std::uint32_t number, const RTCRay& query, const JudgingContext& context) const;
    static void boundsOfBox(const RTCBoundsFunctionArguments* arguments);
    static void intersectBox(const RTCIntersectFunctionNArguments* arguments);
    static void occludedByBox(const RTCOccludedFunctionNArguments* arguments);
    /// Brings what is behind the box, if the ray meets it, and traces it.
    template <class Trace>
    void behindBox(unsigned box, const RTCRay& query, const JudgingContext& context, const Trace& trace) const;
};

}  // namespace lumorender
