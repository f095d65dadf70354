// Boxes of objects that come on demand, and of those whose surface shaders find: all of them are one geometry, whose
// primitives are instances. What is behind a box is traced when a ray meets it, in the space of the object.
#include "geometry/boxes.h"
#include "geometry/embree_kernels.h"
#include "geometry/embree_rays.h"
#include "geometry/placement_at.h"
#include "geometry/shader_shape.h"
#include "support/geometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumorender {

namespace {

void extendBy(RTCBounds& bounds, const Imath::Box3d& box, const M44d& localToWorld) {
    // In single precision a box is as large as before, or larger.
    const auto below = [](double v) {
        return std::nextafter(static_cast<float>(v), -std::numeric_limits<float>::infinity());
    };
    const auto above = [](double v) {
        return std::nextafter(static_cast<float>(v), std::numeric_limits<float>::infinity());
    };
    for (int corner = 0; corner < 8; ++corner) {
        const V3d local(corner & 1 ? box.max.x : box.min.x, corner & 2 ? box.max.y : box.min.y,
                        corner & 4 ? box.max.z : box.min.z);
        const V3d p = transformPoint(local, localToWorld);
        bounds.lower_x = std::min(bounds.lower_x, below(p.x));
        bounds.lower_y = std::min(bounds.lower_y, below(p.y));
        bounds.lower_z = std::min(bounds.lower_z, below(p.z));
        bounds.upper_x = std::max(bounds.upper_x, above(p.x));
        bounds.upper_y = std::max(bounds.upper_y, above(p.y));
        bounds.upper_z = std::max(bounds.upper_z, above(p.z));
    }
}

/// Rounding of where boxes are.
constexpr double kBoxMargin = 1e-6;

const Imath::Box3d& boxOf(const FlatInstance& instance) {
    return instance.shape ? instance.shape->box : instance.onDemand->box;
}

RTCRay localRay(const RTCRay& world, const V3d& org, const V3d& dir) {
    RTCRay local = world;
    local.org_x = static_cast<float>(org.x);
    local.org_y = static_cast<float>(org.y);
    local.org_z = static_cast<float>(org.z);
    local.dir_x = static_cast<float>(dir.x);
    local.dir_y = static_cast<float>(dir.y);
    local.dir_z = static_cast<float>(dir.z);
    local.mask = ~0U;
    return local;
}

}  // namespace

void EmbreeKernels::attachBoxes(std::span<const std::size_t> placed) {
    boxes_ = placed;
    if (placed.empty()) return;
    judges_ = true;  // hairs may come
    Geometry boxes(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_USER));
    checkDevice();
    unsigned steps = 1;
    for (const std::size_t i : placed)
        if (timed_) steps = std::max(steps, 1U + instances_[i].motionSteps);
    rtcSetGeometryUserPrimitiveCount(boxes.get(), static_cast<unsigned>(placed.size()));
    rtcSetGeometryTimeStepCount(boxes.get(), steps);
    rtcSetGeometryUserData(boxes.get(), this);
    rtcSetGeometryBoundsFunction(boxes.get(), boundsOfBox, this);
    rtcSetGeometryIntersectFunction(boxes.get(), intersectBox);
    rtcSetGeometryOccludedFunction(boxes.get(), occludedByBox);
    rtcSetGeometryMask(boxes.get(), ~0U);  // instances choose
    rtcCommitGeometry(boxes.get());
    rtcAttachGeometryByID(world_.get(), boxes.get(), static_cast<unsigned>(instances_.size()));
    boxSteps_ = steps;
}

void EmbreeKernels::boundsOfBox(const RTCBoundsFunctionArguments* arguments) {
    const auto& kernels = *static_cast<const EmbreeKernels*>(arguments->geometryUserPtr);
    const FlatInstance& instance = kernels.instances_[kernels.boxes_[arguments->primID]];
    constexpr float kFar = std::numeric_limits<float>::infinity();
    RTCBounds& bounds = *arguments->bounds_o;
    bounds = {kFar, kFar, kFar, 0, -kFar, -kFar, -kFar, 0};
    // Where its steps are not those of the geometry it is given room for its whole way.
    const unsigned last = instance.motionSteps;
    const bool fits = last + 1 == kernels.boxSteps_;
    for (unsigned step = 0; step <= last; ++step)
        if (!fits || step == arguments->timeStep)
            extendBy(bounds, boxOf(instance), instance.placement[step].localToWorld);
}

void EmbreeKernels::intersectBox(const RTCIntersectFunctionNArguments* arguments) {
    if (arguments->valid[0] == 0) return;
    auto& query = *reinterpret_cast<RTCRayHit*>(arguments->rayhit);
    const auto& kernels = *static_cast<const EmbreeKernels*>(arguments->geometryUserPtr);
    const auto& context = *reinterpret_cast<const JudgingContext*>(arguments->context);
    const auto number = static_cast<unsigned>(kernels.boxes_[arguments->primID]);
    if (kernels.instances_[number].shape) {
        if (!kernels.meetsShape(number, query.ray, context)) return;
        query.ray.tfar = static_cast<float>(context.shape->dist);
        query.hit.geomID = number;
        query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
        query.hit.primID = 0;
        return;
    }
    kernels.behindBox(arguments->primID, query.ray, context, [&](RTCScene scene, RTCRay& local, JudgingContext& inner) {
        RTCRayHit found;
        found.ray = local;
        found.hit.geomID = found.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
        traceNearest(scene, inner.base, inner.filter, found);
        if (found.hit.geomID == RTC_INVALID_GEOMETRY_ID) return;
        query.ray.tfar = found.ray.tfar;
        query.hit = found.hit;
        query.hit.geomID = number;
        query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    });
}

void EmbreeKernels::occludedByBox(const RTCOccludedFunctionNArguments* arguments) {
    if (arguments->valid[0] == 0) return;
    auto& query = *reinterpret_cast<RTCRay*>(arguments->ray);
    const auto& kernels = *static_cast<const EmbreeKernels*>(arguments->geometryUserPtr);
    const auto& context = *reinterpret_cast<const JudgingContext*>(arguments->context);
    const auto number = static_cast<unsigned>(kernels.boxes_[arguments->primID]);
    if (kernels.instances_[number].shape) {
        if (kernels.meetsShape(number, query, context)) query.tfar = -std::numeric_limits<float>::infinity();
        return;
    }
    kernels.behindBox(arguments->primID, query, context, [&](RTCScene scene, RTCRay& local, JudgingContext& inner) {
        traceAny(scene, inner.base, inner.filter, local);
        if (local.tfar < 0) query.tfar = local.tfar;
    });
}

template <class Trace>
void EmbreeKernels::behindBox(unsigned box, const RTCRay& query, const JudgingContext& context,
                              const Trace& trace) const {
    const FlatInstance& instance = instances_[boxes_[box]];
    if ((query.mask & instance.flags & kCastBits) == 0) return;
    const PlacementAt placement(instance, static_cast<double>(query.time));
    const V3d org = placement.pointToLocal(V3d(query.org_x, query.org_y, query.org_z));
    const V3d dir = placement.vectorToLocal(V3d(query.dir_x, query.dir_y, query.dir_z));
    OnDemandObject& object = *instance.onDemand;
    double near = static_cast<double>(query.tnear), far = static_cast<double>(query.tfar);
    if (!clip(object.box, kBoxMargin, org, dir, near, far)) return;
    const BroughtGeometry* brought = object.owner->get(object);
    if (!brought) return;
    RTCRay local = localRay(query, org, dir);
    JudgingContext inner = contextOf(*context.ray, {&instance, 1}, context.filter, context.shape);
    trace(static_cast<RTCScene>(brought->traced.get()), local, inner);
}

/// Where a nearer place has been found already, it stays the one that the context knows.
bool EmbreeKernels::meetsShape(std::uint32_t number, const RTCRay& query, const JudgingContext& context) const {
    const FlatInstance& instance = instances_[number];
    if ((query.mask & instance.flags & kCastBits) == 0) return false;
    const PlacementAt placement(instance, static_cast<double>(query.time));
    ShapeHit hit;
    // The kernels' end of the ray is in single precision: a place at the end of the whole ray counts, too.
    const double far = std::min(static_cast<double>(query.tfar), context.ray->far);
    if (!meetShape(shapes_, *context.ray, instance, placement, static_cast<double>(query.tnear), far, hit))
        return false;
    *context.shape = hit;
    return true;
}

std::shared_ptr<void> EmbreeKernels::traced(const Mesh* mesh, const Hair* hair) const {
    Use use;
    use.mesh = mesh;
    use.hair = hair;
    use.scene = newScene();
    const Geometry geometry = newGeometry(use, nullptr);
    rtcAttachGeometry(use.scene.get(), geometry.get());
    rtcCommitScene(use.scene.get());
    checkDevice();
    return {use.scene.release(), [](void* scene) { rtcReleaseScene(static_cast<RTCScene>(scene)); }};
}

}  // namespace lumorender
