// Free-form and subdivision surfaces of objects, as finely as the scene and the camera want them.
#pragma once

#include "database/elements.h"
#include "geometry/scene_geometry.h"

namespace lumorender {

/// Knows what approximations hold for an object in its places. From any thread.
class ObjectSurfaces {
public:
    /// The cameras must outlive this.
    ObjectSurfaces(GeometryRules rules, const std::vector<FlatElement>& cameras)
        : rules_(std::move(rules)), cameras_(cameras) {}

    /// Groups of triangles in place of the surfaces, if the object has any. All its instances share them: they are as fine
    /// as any of these wants it.
    std::vector<PolygonGroupSource> tessellated(const ObjectSource& source, const std::string& name,
                                                const std::vector<const FlatInstance*>& instances) const;

private:
    const GeometryRules rules_;
    const std::vector<FlatElement>& cameras_;
};

}  // namespace lumorender
