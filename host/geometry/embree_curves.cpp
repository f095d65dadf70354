// Hairs as curves of the ray tracing kernels.
#include "geometry/embree_kernels.h"

#include <algorithm>

namespace lumorender {

namespace {

RTCGeometryType curveType(const Hair& hair) {
    if (hair.isRibbon()) return RTC_GEOMETRY_TYPE_NORMAL_ORIENTED_BEZIER_CURVE;
    return hair.curved ? RTC_GEOMETRY_TYPE_FLAT_BEZIER_CURVE : RTC_GEOMETRY_TYPE_FLAT_LINEAR_CURVE;
}

/// Straight parts per curved piece. The kernels compute at least four at once.
float tessellationRate(const Hair& hair) { return static_cast<float>(std::clamp(hair.source->approximation, 4, 16)); }

}  // namespace

EmbreeKernels::Geometry EmbreeKernels::newCurves(const Hair& hair, const FlatInstance* bakedFor) const {
    Geometry curves(rtcNewGeometry(device_.get(), curveType(hair)));
    checkDevice();
    const std::size_t steps = timed_ ? hair.points.size() : 1;
    rtcSetGeometryTimeStepCount(curves.get(), static_cast<unsigned>(steps));
    rtcSetSharedGeometryBuffer(curves.get(), RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT, hair.starts.data(), 0,
                               sizeof(std::uint32_t), hair.pieces());
    for (unsigned step = 0; step < steps; ++step) {
        setCurvePoints(curves.get(), step, hair.points[step], bakedFor);
        if (hair.isRibbon())
            rtcSetSharedGeometryBuffer(curves.get(), RTC_BUFFER_TYPE_NORMAL, step, RTC_FORMAT_FLOAT3,
                                       hair.normals.data(), 0, sizeof(miVector), hair.normals.size());
    }
    if (hair.curved && !hair.isRibbon()) rtcSetGeometryTessellationRate(curves.get(), tessellationRate(hair));
    rtcSetGeometryMask(curves.get(), ~0U);
    rtcCommitGeometry(curves.get());
    return curves;
}

void EmbreeKernels::setCurvePoints(RTCGeometry geometry, unsigned step, const std::vector<CurvePoint>& points,
                                   const FlatInstance* bakedFor) const {
    const M44d matrix = bakedFor ? bakedFor->placement->localToWorld : M44d();
    if (matrix == M44d()) {
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, step, RTC_FORMAT_FLOAT4, points.data(), 0,
                                   sizeof(CurvePoint), points.size());
        return;
    }
    void* buffer = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, step, RTC_FORMAT_FLOAT4,
                                           sizeof(CurvePoint), points.size());
    checkDevice();
    const auto scale = static_cast<float>(meanScale(matrix));
    std::transform(points.begin(), points.end(), static_cast<CurvePoint*>(buffer), [&](const CurvePoint& p) {
        const miVector moved = narrow(transformPoint(V3d(p.x, p.y, p.z), matrix));
        return CurvePoint{moved.x, moved.y, moved.z, p.radius * scale};
    });
}

}  // namespace lumorender
