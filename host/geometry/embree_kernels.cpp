#include "geometry/embree_kernels.h"

#include "geometry/embree_rays.h"
#include "geometry/precise_hit.h"
#include "geometry/shader_shape.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/lanes.h"
#include "support/messages.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <unordered_map>

namespace lumorender {

namespace {

/// Without this flag about one ray in a million slips through a closed mesh, several in a hundred of those that aim
/// exactly at an edge between two triangles, one in ten of those that aim at a vertex. With it none, none, and one in a
/// thousand, in unlucky places one in seventy: both triangles decide their common edge alike, but where several edges
/// meet each is decided for itself, in single precision. It costs 10 to 20 percent of the tracing time.
constexpr RTCSceneFlags kWatertight = RTC_SCENE_FLAG_ROBUST;

/// What the kernels know of a hit. Its point, and a shape's place, are left to whoever finds them.
void takeHit(const RTCRay& ray, const RTCHit& found, const FlatInstance& instance, Hit& hit) {
    hit.instance = &instance;
    hit.primitive = found.primID;
    hit.u = found.u;
    hit.v = found.v;
    hit.dist = static_cast<double>(ray.tfar);
    hit.time = ray.time;
    hit.sides = 0;
}

/// The same of a hit that was found together with others.
void takeFound(const FoundHit& found, const FlatInstance& instance, float time, Hit& hit) {
    hit.instance = &instance;
    hit.primitive = found.primitive;
    hit.u = found.u;
    hit.v = found.v;
    hit.dist = found.dist;
    hit.time = time;
    hit.sides = found.sides;
    hit.point = found.point;
}

/// Where several triangles meet, rays that are traced together may each find another of them than alone, which depends
/// on the others.
bool isWellInside(float u, float v) {
    constexpr float kBorder = 1e-4F;
    return u > kBorder && v > kBorder && u + v < 1 - kBorder;
}

/// How many rays the machine traces at once.
int packetOf(RTCDevice device) {
    if (rtcGetDeviceProperty(device, RTC_DEVICE_PROPERTY_NATIVE_RAY16_SUPPORTED)) return 16;
    return rtcGetDeviceProperty(device, RTC_DEVICE_PROPERTY_NATIVE_RAY8_SUPPORTED) ? 8 : 0;
}

void takeShape(const Ray& ray, const ShapeHit& shape, Hit& hit) {
    hit.dist = shape.dist;
    hit.sides = shape.side;
    hit.point = wide(ray.org) + wide(ray.dir) * shape.dist;
    hit.place = shape.place;
}

std::uint32_t instanceOf(unsigned instanceId, unsigned geometryId) {
    return instanceId != RTC_INVALID_GEOMETRY_ID ? instanceId : geometryId;
}

/// How far apart triangles that meet in an edge or a corner are hit by a ray that goes through there. The kernels count
/// a ray that passes a little beside a triangle, too, and steep triangles make much of that.
double crossingDepth(const Hit& hit) {
    return 4e-6 * std::max({hit.dist, std::abs(hit.point.x), std::abs(hit.point.y), std::abs(hit.point.z)});
}

bool isSameCrossing(const Hit& behind, const FlatInstance& instance, double dist) {
    return behind.sides != 0 && behind.instance == &instance && std::abs(dist - behind.dist) <= crossingDepth(behind);
}

/// Rejects hits on the side that rays may not hit, those of a crossing that has been counted, and those beside a hair,
/// which has no sides.
void judgeHit(const RTCFilterFunctionNArguments* arguments) {
    // Rays come one by one.
    if (arguments->valid[0] == 0) return;
    const auto& context = *reinterpret_cast<const JudgingContext*>(arguments->context);
    const auto& query = *reinterpret_cast<const RTCRay*>(arguments->ray);
    const auto& found = *reinterpret_cast<const RTCHit*>(arguments->hit);
    const FlatInstance& instance = context.instances[instanceOf(found.instID[0], found.geomID)];
    if (instance.hair) {
        Hit hit;
        takeHit(query, found, instance, hit);
        arguments->valid[0] = meetHair(*context.ray, hit) ? -1 : 0;
        return;
    }
    // Ray and normal are in the same space, whichever it is.
    const char face = context.ray->face ? context.ray->face : instance.face;
    const float facing = found.Ng_x * query.dir_x + found.Ng_y * query.dir_y + found.Ng_z * query.dir_z;
    if ((face == 'f' && facing > 0) || (face == 'b' && facing < 0)) arguments->valid[0] = 0;
    const Hit* behind = context.ray->behind;
    const std::uint8_t side = facing > 0 ? Hit::kBack : Hit::kFront;
    if (behind && (behind->sides & side) && isSameCrossing(*behind, instance, static_cast<double>(query.tfar)))
        arguments->valid[0] = 0;
}

float timeOf(const Ray& ray, bool timed) { return timed && ray.time > 0 ? std::min(ray.time, 1.0F) : 0.0F; }

/// The kernels end the program over numbers whose square a float cannot hold, and over what is no number.
constexpr float kFarthest = 1.8e18F;

bool isInReach(const miVector& v, float reach) {
    return std::abs(v.x) <= reach && std::abs(v.y) <= reach && std::abs(v.z) <= reach;
}

/// How far away rays may begin so that they are within the kernels' numbers in the instance's space, too. What moves is
/// smaller within a step than at both of its ends.
float reachOf(const FlatInstance& instance) {
    constexpr double kSmallerBetween = 1e4;
    double largest = 0, farthest = 0;
    for (int step = 0; step <= instance.motionSteps; ++step)
        for (int j = 0; j < 3; ++j) {
            const M44d& m = instance.placement[step].worldToLocal;
            for (int i = 0; i < 3; ++i) largest = std::max(largest, std::abs(m[i][j]));
            farthest = std::max(farthest, std::abs(m[3][j]));
        }
    const double factor = std::max(3 * largest, 1.0) * (instance.moves ? kSmallerBetween : 1);
    return static_cast<float>((static_cast<double>(kFarthest) - farthest) / factor);
}

/// Nothing but turning, moving and scaling by the same factor in all directions.
bool keepsShapes(const M44d& m) {
    const V3d x = row(m, 0), y = row(m, 1), z = row(m, 2);
    const double size = dot(x, x), tolerance = 1e-6 * size;
    return std::abs(dot(y, y) - size) <= tolerance && std::abs(dot(z, z) - size) <= tolerance &&
           std::abs(dot(x, y)) <= tolerance && std::abs(dot(y, z)) <= tolerance && std::abs(dot(z, x)) <= tolerance;
}

bool isTraceable(const Ray& ray, float reach) {
    const bool hasInterval = !std::isnan(ray.near) && !std::isnan(ray.far);
    return isInReach(ray.org, reach) && isInReach(ray.dir, reach) && !isZero(ray.dir) && hasInterval;
}

float beginOf(double near) { return std::max(static_cast<float>(near), 0.0F); }
float endOf(double far) { return static_cast<float>(std::min(far, 1e38)); }

/// In four floats at once, as the kernels read them: what was just written in parts would be waited for.
void aim(RTCRay& query, const Ray& ray, bool timed) {
    // The other side of what is crossed at an edge may lie before the first one by some rounding.
    const double near = ray.behind && ray.behind->sides ? ray.near - crossingDepth(*ray.behind) : ray.near;
    const Lanes start = {ray.org.x, ray.org.y, ray.org.z, beginOf(near)};
    const Lanes direction = {ray.dir.x, ray.dir.y, ray.dir.z, timeOf(ray, timed)};
    static_assert(offsetof(RTCRay, tnear) == 12 && offsetof(RTCRay, dir_x) == 16 && offsetof(RTCRay, time) == 28);
    auto* const words = reinterpret_cast<std::byte*>(&query);
    std::memcpy(words, &start, sizeof start);
    std::memcpy(words + sizeof start, &direction, sizeof direction);
    query.tfar = endOf(ray.far);
    query.mask = static_cast<unsigned>(ray.visibility);
    query.id = query.flags = 0;
}

/// Building asks now and then whether it is to go on.
bool mayGoOn(void*, double) { return !abortRequested(); }

RTCFilterFunctionN filterFor(const Ray& ray, bool sceneJudges) {
    return sceneJudges || ray.behind || ray.face == 'f' || ray.face == 'b' ? judgeHit : nullptr;
}

}  // namespace

EmbreeKernels::EmbreeKernels(std::span<const FlatInstance> instances, bool timed, std::span<const std::size_t> boxes,
                             const ShapeFinder& shapes)
    : instances_(instances), timed_(timed), shapes_(shapes), device_(rtcNewDevice(nullptr)) {
    if (!device_) throw Failure("the ray tracing kernels do not start on this machine");
    const auto count = [](void* bytes, ssize_t change, bool) {
        *static_cast<std::atomic<long long>*>(bytes) += change;
        return true;
    };
    rtcSetDeviceMemoryMonitorFunction(device_.get(), count, &bytes_);
    judges_ = std::any_of(instances.begin(), instances.end(),
                          [](const auto& instance) { return instance.face != 'a' || instance.hair; });

    packet_ = packetOf(device_.get());
    reach_ = kFarthest;
    for (const FlatInstance& instance : instances) reach_ = std::min(reach_, reachOf(instance));
    std::vector<Use> uses = collectUses();
    tbb::parallel_for(std::size_t{0}, uses.size(), [&](std::size_t i) { buildUse(uses[i]); });
    world_ = newScene();
    for (const Use& use : uses)
        for (const std::uint32_t instance : use.instances) {
            throwIfAborted();
            attach(use, instance);
        }
    attachBoxes(boxes);
    rtcCommitScene(world_.get());
    checkDevice();
}

std::vector<EmbreeKernels::Use> EmbreeKernels::collectUses() {
    std::vector<Use> uses;
    std::unordered_map<const void*, std::size_t> numbers;
    for (std::uint32_t i = 0; i < instances_.size(); ++i) {
        const FlatInstance& instance = instances_[i];
        const void* shape = instance.hair ? static_cast<const void*>(instance.hair) : instance.mesh;
        if (!shape || (instance.flags & kCastBits) == 0) continue;
        const auto [found, isNew] = numbers.try_emplace(shape, uses.size());
        if (isNew) uses.push_back({instance.mesh, instance.hair, {}, {}, {}});
        uses[found->second].instances.push_back(i);
    }
    return uses;
}

/// Mirrored meshes would turn their triangles inside out in world space, so they stay instances; and hairs whose width
/// would depend on the direction.
bool EmbreeKernels::standsAlone(const Use& use) const {
    if (use.instances.size() != 1) return false;
    const FlatInstance& instance = instances_[use.instances[0]];
    const M44d& open = instance.placement->localToWorld;
    if (use.hair && (use.hair->isRibbon() || !keepsShapes(open))) return false;
    return (instance.motionSteps == 0 || !timed_) && !mirrors(open);
}

void EmbreeKernels::buildUse(Use& use) const {
    if (standsAlone(use)) {
        use.baked = newGeometry(use, &instances_[use.instances[0]]);
        return;
    }
    use.scene = newScene();
    const Geometry geometry = newGeometry(use, nullptr);
    rtcAttachGeometry(use.scene.get(), geometry.get());
    rtcCommitScene(use.scene.get());
}

EmbreeKernels::Scene EmbreeKernels::newScene() const {
    Scene scene(rtcNewScene(device_.get()));
    checkDevice();
    rtcSetSceneFlags(scene.get(), kWatertight | kFilterComesWithRay);
    rtcSetSceneProgressMonitorFunction(scene.get(), mayGoOn, nullptr);
    return scene;
}

EmbreeKernels::Geometry EmbreeKernels::newGeometry(const Use& use, const FlatInstance* bakedFor) const {
    return use.hair ? newCurves(*use.hair, bakedFor) : newTriangles(*use.mesh, bakedFor);
}

EmbreeKernels::Geometry EmbreeKernels::newTriangles(const Mesh& mesh, const FlatInstance* bakedFor) const {
    Geometry triangles(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_TRIANGLE));
    checkDevice();
    const std::size_t steps = timed_ ? 1 + mesh.laterPositions.size() : 1;
    rtcSetGeometryTimeStepCount(triangles.get(), static_cast<unsigned>(steps));
    rtcSetSharedGeometryBuffer(triangles.get(), RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, mesh.indices.data(), 0,
                               3 * sizeof(std::uint32_t), mesh.triangles());
    for (unsigned step = 0; step < steps; ++step)
        setPositions(triangles.get(), step, step == 0 ? mesh.positions : mesh.laterPositions[step - 1], bakedFor);
    rtcSetGeometryMask(triangles.get(), ~0U);  // instances choose; the default of version 4 is one bit
    rtcCommitGeometry(triangles.get());
    return triangles;
}

void EmbreeKernels::setPositions(RTCGeometry geometry, unsigned step, const std::vector<miVector>& positions,
                                 const FlatInstance* bakedFor) const {
    const M44d matrix = bakedFor ? bakedFor->placement->localToWorld : M44d();
    if (matrix == M44d()) {
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, step, RTC_FORMAT_FLOAT3, positions.data(), 0,
                                   sizeof(miVector), positions.size());
        return;
    }
    void* buffer = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, step, RTC_FORMAT_FLOAT3, sizeof(miVector),
                                           positions.size());
    checkDevice();
    std::transform(positions.begin(), positions.end(), static_cast<miVector*>(buffer),
                   [&](const miVector& p) { return narrow(transformPoint(wide(p), matrix)); });
}

/// The kernels know an instance by its position in the list, whichever way it is built.
void EmbreeKernels::attach(const Use& use, std::uint32_t instance) const {
    const FlatInstance& flat = instances_[instance];
    if (use.baked) {
        rtcSetGeometryMask(use.baked.get(), flat.flags & kCastBits);
        rtcCommitGeometry(use.baked.get());
        rtcAttachGeometryByID(world_.get(), use.baked.get(), instance);
        return;
    }
    const Geometry geometry(rtcNewGeometry(device_.get(), RTC_GEOMETRY_TYPE_INSTANCE));
    checkDevice();
    rtcSetGeometryInstancedScene(geometry.get(), use.scene.get());
    const unsigned places = timed_ ? 1U + flat.motionSteps : 1U;
    rtcSetGeometryTimeStepCount(geometry.get(), places);
    for (unsigned step = 0; step < places; ++step) {
        const M44d& m = flat.placement[step].localToWorld;
        float columns[12];
        for (unsigned i = 0; i < 12; ++i) columns[i] = static_cast<float>(m[i / 3][i % 3]);
        rtcSetGeometryTransform(geometry.get(), step, RTC_FORMAT_FLOAT3X4_COLUMN_MAJOR, columns);
    }
    rtcSetGeometryMask(geometry.get(), flat.flags & kCastBits);
    rtcCommitGeometry(geometry.get());
    rtcAttachGeometryByID(world_.get(), geometry.get(), instance);
}

void EmbreeKernels::checkDevice() const {
    const RTCError problem = rtcGetDeviceError(device_.get());
    throwIfAborted();
    if (problem == RTC_ERROR_NONE) return;
    if (problem == RTC_ERROR_OUT_OF_MEMORY) throw Failure("not enough memory for the geometry of the scene");
    throw Failure(fmt::format("the ray tracing kernels failed with error {}", static_cast<int>(problem)));
}

bool EmbreeKernels::intersect(const Ray& ray, Hit& hit, const FoundHit* found) const {
    if (found && found->instance != FoundHit::kUnknown) {
        if (found->instance == FoundHit::kNothing) return false;
        takeFound(*found, instances_[found->instance], timeOf(ray, timed_), hit);
        if (!found->isExact()) makePrecise(ray, hit);
        if (hit.dist > ray.near) return true;
    }
    if (!isTraceable(ray, reach_)) return false;
    RTCRayHit query;
    aim(query.ray, ray, timed_);
    ShapeHit shape;
    JudgingContext context = contextOf(ray, instances_, filterFor(ray, judges_), &shape);
    for (;;) {
        query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
        traceNearest(world_.get(), context.base, context.filter, query);
        if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;

        takeHit(query.ray, query.hit, instances_[instanceOf(query.hit.instID[0], query.hit.geomID)], hit);
        if (hit.instance->hair)
            meetHair(ray, hit);
        else if (hit.instance->shape)
            takeShape(ray, shape, hit);
        else
            makePrecise(ray, hit);
        const bool goesOn = ray.behind && isSameCrossing(*ray.behind, *hit.instance, hit.dist);
        if (goesOn ? (hit.sides & ray.behind->sides) == 0 : hit.dist > ray.near) {
            if (goesOn) hit.sides |= ray.behind->sides;
            return true;
        }

        // In single precision it lay behind `near`, or elsewhere than the crossing; in truth it does not.
        query.ray.tnear = std::nextafter(query.ray.tfar, std::numeric_limits<float>::infinity());
        query.ray.tfar = endOf(ray.far);
    }
}

template <class Packet, std::size_t width>
void EmbreeKernels::lookTogether(std::span<const Ray> rays, FoundHit* found) const {
    alignas(64) int valid[width] = {};
    alignas(64) Packet packet;
    if (rays.size() < width) packet = {};
    std::fill_n(packet.ray.id, width, 0U);
    std::fill_n(packet.ray.flags, width, 0U);
    std::fill_n(packet.hit.geomID, width, RTC_INVALID_GEOMETRY_ID);
    std::fill_n(packet.hit.instID[0], width, RTC_INVALID_GEOMETRY_ID);
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const Ray& ray = rays[i];
        valid[i] = isTraceable(ray, reach_) ? -1 : 0;
        packet.ray.org_x[i] = ray.org.x, packet.ray.org_y[i] = ray.org.y, packet.ray.org_z[i] = ray.org.z;
        packet.ray.dir_x[i] = ray.dir.x, packet.ray.dir_y[i] = ray.dir.y, packet.ray.dir_z[i] = ray.dir.z;
        packet.ray.tnear[i] = beginOf(ray.near), packet.ray.tfar[i] = endOf(ray.far);
        packet.ray.time[i] = timeOf(ray, timed_), packet.ray.mask[i] = static_cast<unsigned>(ray.visibility);
    }
    RayContext context;
    initContext(context);
    traceTogether(valid, world_.get(), context, packet);
    for (std::size_t i = 0; i < rays.size(); ++i) {
        found[i].instance = FoundHit::kUnknown;
        found[i].sides = 0;
        if (!valid[i]) continue;
        const std::uint32_t instance = instanceOf(packet.hit.instID[0][i], packet.hit.geomID[i]);
        if (instance == RTC_INVALID_GEOMETRY_ID) {
            found[i].instance = FoundHit::kNothing;
        } else if (isWellInside(packet.hit.u[i], packet.hit.v[i])) {
            found[i].instance = instance;
            found[i].primitive = packet.hit.primID[i];
            found[i].u = packet.hit.u[i];
            found[i].v = packet.hit.v[i];
            found[i].dist = static_cast<double>(packet.ray.tfar[i]);
        }
    }
}

void EmbreeKernels::look(std::span<const Ray> rays, FoundHit* found) const {
    const auto width = static_cast<std::size_t>(packet_);
    for (std::size_t first = 0; first < rays.size(); first += width) {
        const auto part = rays.subspan(first, std::min(width, rays.size() - first));
        if (width == 16)
            lookTogether<RTCRayHit16, 16>(part, found + first);
        else
            lookTogether<RTCRayHit8, 8>(part, found + first);
    }
}

bool EmbreeKernels::occluded(const Ray& ray) const {
    if (!isTraceable(ray, reach_)) return false;
    RTCRay query;
    aim(query, ray, timed_);
    ShapeHit shape;
    JudgingContext context = contextOf(ray, instances_, filterFor(ray, judges_), &shape);
    traceAny(world_.get(), context.base, context.filter, query);
    return query.tfar < 0;
}

void EmbreeKernels::bounds(miVector& low, miVector& high) const {
    RTCBounds box;
    rtcGetSceneBounds(world_.get(), &box);
    const bool empty = !(box.lower_x <= box.upper_x);
    low = empty ? miVector{0, 0, 0} : miVector{box.lower_x, box.lower_y, box.lower_z};
    high = empty ? miVector{0, 0, 0} : miVector{box.upper_x, box.upper_y, box.upper_z};
}

}  // namespace lumorender
