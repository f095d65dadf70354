#include "elements/object_defaults.h"

#include "elements/object_flags.h"
#include "mi/codes.h"
#include "support/geometry.h"

#include <algorithm>

namespace lumorender {

namespace {

class Bounds {
public:
    explicit Bounds(const ObjectSource& source) : source_(source) {}

    void include(const miVector& given) {
        const miVector p = source_.hasTransform ? transformed(given, source_.transform) : given;
        low_ = {std::min(low_.x, p.x), std::min(low_.y, p.y), std::min(low_.z, p.z)};
        high_ = {std::max(high_.x, p.x), std::max(high_.y, p.y), std::max(high_.z, p.z)};
    }

    void store(miObject& object) const {
        if (low_.x > high_.x) return;
        object.bbox_min = low_;
        object.bbox_max = high_;
    }

private:
    static miVector transformed(const miVector& p, const miMatrix& m) {
        return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12], p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
                p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
    }

    const ObjectSource& source_;
    miVector low_{miHUGE_SCALAR, miHUGE_SCALAR, miHUGE_SCALAR};
    miVector high_{-miHUGE_SCALAR, -miHUGE_SCALAR, -miHUGE_SCALAR};
};

}  // namespace

void setDefaults(miObject& object) {
    object.type = miOBJECT_POLYGONS;
    object.shadow = object.reflection = object.refraction = object.finalgather = kObjectFlagOff;
    object.transparency = kFlagOn;
    object.caustic = object.globillum = kObjectFlagOff;
    object.min_samples = -128;
    object.max_samples = 127;
}

void setDefaults(miInstance& instance) {
    narrow(M44d(), instance.tf.global_to_local);
    narrow(M44d(), instance.tf.local_to_global);
    narrow(M44d(), instance.motion_transform);
    instance.tf.identity = 1;
}

/// Curves and surfaces lie between their vertices; those of trimming curves and textures lie in spaces of their own.
void setBounds(miObject& object, const ObjectSource& source) {
    Bounds bounds(source);
    for (const PolygonGroupSource& group : source.groups) {
        const auto take = [&](int number) {
            const VertexSource& vertex = group.vertices[static_cast<std::size_t>(number)];
            bounds.include(group.vectors[static_cast<std::size_t>(vertex.position)]);
        };
        if (group.surfaces.empty() && group.surfaces.curves.empty())
            for (std::size_t i = 0; i < group.vertices.size(); ++i) take(static_cast<int>(i));
        else
            for (const int corner : group.corners)
                if (corner >= 0) take(corner);
        for (const SurfaceSource& surface : group.surfaces.surfaces)
            for (const ControlPoint& point : surface.points) take(point.vertex);
        for (const SubdivisionSource& mesh : group.surfaces.subdivisions)
            for (const int corner : mesh.corners) take(corner);
    }
    if (source.hair)
        for (std::size_t i = 0; i < source.hair->hairs(); ++i)
            for (std::size_t k = 0; k < source.hair->vertices(i); ++k) {
                const float* v = source.hair->vertex(i, k);
                bounds.include({v[0], v[1], v[2]});
            }
    bounds.store(object);
}

}  // namespace lumorender
