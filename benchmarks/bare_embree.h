// The same rays through the ray tracing kernels alone: what all costs are compared with.
#pragma once

#include "database/elements.h"
#include "geometry/embree.h"
#include "support/geometry.h"
#include "tracing/camera.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <vector>

namespace lumorender {

/// Eye rays on a regular grid of edge x edge per pixel.
struct RaySet {
    int width = 0, height = 0, edge = 1;
    const miVector* light = nullptr;
};

/// Processor time of all threads: other programs on the machine change it less than the time of day.
inline double processorSeconds() {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

inline double secondsOf(const std::function<void()>& work) {
    const double start = processorSeconds();
    work();
    return processorSeconds() - start;
}

/// The scene's triangles in one flat Embree scene: positions and indices, nothing else.
class BareEmbree {
    static constexpr int kTile = 32;

public:
    explicit BareEmbree(const Database& database) : device_(rtcNewDevice(nullptr)), scene_(rtcNewScene(device_)) {
        for (miTag tag = 1; tag < database.end(); ++tag)
            if (const auto* object = database.detail<ObjectSource>(tag))
                for (const PolygonGroupSource& group : object->groups) addGroup(group);
        rtcCommitScene(scene_);
    }
    ~BareEmbree() {
        rtcReleaseScene(scene_);
        rtcReleaseDevice(device_);
    }
    BareEmbree(const BareEmbree&) = delete;
    BareEmbree& operator=(const BareEmbree&) = delete;

    std::size_t triangles() const { return triangles_; }

    /// Traces the eye rays of all pixels in tiles, as the host does, and where `light` is given a shadow ray from every
    /// point that faces it. Returns the processor seconds it took.
    double trace(const Camera& camera, const RaySet& rays) const {
        std::atomic<long> hits{0};
        const double seconds = secondsOf([&] {
            const int columns = (rays.width + kTile - 1) / kTile;
            const int rows = (rays.height + kTile - 1) / kTile;
            tbb::parallel_for(0, columns * rows, [&](int tile) {
                hits += traceTile(camera, tile % columns * kTile, tile / columns * kTile, rays);
            });
        });
        if (hits == 0) std::puts("no ray hit anything");
        return seconds;
    }

private:
    void addGroup(const PolygonGroupSource& group) {
        std::vector<unsigned> indices;
        for (const PolygonSource& polygon : group.polygons)
            for (std::uint32_t k = 2; k < polygon.count; ++k)
                for (const std::uint32_t corner : {0U, k - 1, k})
                    indices.push_back(static_cast<unsigned>(group.corners[polygon.first + corner]));
        RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        auto* positions = static_cast<miVector*>(rtcSetNewGeometryBuffer(
            geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, sizeof(miVector), group.vertices.size()));
        for (std::size_t i = 0; i < group.vertices.size(); ++i)
            positions[i] = group.vectors[static_cast<std::size_t>(group.vertices[i].position)];
        auto* triangles = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                  3 * sizeof(unsigned), indices.size() / 3);
        std::copy(indices.begin(), indices.end(), static_cast<unsigned*>(triangles));
        triangles_ += indices.size() / 3;
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene_, geometry);
        rtcReleaseGeometry(geometry);
    }

    long traceTile(const Camera& camera, int x0, int y0, const RaySet& rays) const {
        long hits = 0;
        for (int y = y0; y < std::min(y0 + kTile, rays.height); ++y)
            for (int x = x0; x < std::min(x0 + kTile, rays.width); ++x)
                for (int sample = 0; sample < rays.edge * rays.edge; ++sample)
                    hits += traceRay(camera, x + (sample % rays.edge + 0.5) / rays.edge,
                                     y + (sample / rays.edge + 0.5) / rays.edge, rays.light);
        return hits;
    }

    bool traceRay(const Camera& camera, double x, double y, const miVector* light) const {
        miVector org;
        miVector dir;
        camera.eyeRay(x, y, 0, {0, 0}, org, dir);
        RTCRayHit ray = {};
        ray.ray = {org.x, org.y, org.z, 0, dir.x, dir.y, dir.z, 0, std::numeric_limits<float>::infinity(), ~0U, 0, 0};
        ray.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        ray.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
        RayContext context;
        initContext(context);
        traceNearest(scene_, context, nullptr, ray);
        const bool hit = ray.hit.geomID != RTC_INVALID_GEOMETRY_ID;
        return hit && light ? traceShadow(ray, *light) : hit;
    }

    /// True where light arrives.
    bool traceShadow(const RTCRayHit& eye, const miVector& light) const {
        const miVector normal = {eye.hit.Ng_x, eye.hit.Ng_y, eye.hit.Ng_z};
        const miVector dir = {eye.ray.dir_x, eye.ray.dir_y, eye.ray.dir_z};
        const miVector point = miVector{eye.ray.org_x, eye.ray.org_y, eye.ray.org_z} + dir * eye.ray.tfar;
        const miVector toLight = light - point;
        if ((dot(toLight, normal) > 0) == (dot(dir, normal) > 0)) return false;
        RTCRay ray = {point.x, point.y, point.z, 1e-4F, toLight.x, toLight.y, toLight.z, 0, 1, ~0U, 0, 0};
        RayContext context;
        initContext(context);
        traceAny(scene_, context, nullptr, ray);
        return ray.tfar > 0;
    }

    RTCDevice device_;
    RTCScene scene_;
    std::size_t triangles_ = 0;
};

}  // namespace lumorender
