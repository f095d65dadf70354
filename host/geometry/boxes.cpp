#include "geometry/boxes.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

Imath::Box3d boxOf(const miObject& object) {
    Imath::Box3d box(wide(object.bbox_min), wide(object.bbox_max));
    const V3d low = wide(object.bbox_min_m), high = wide(object.bbox_max_m);
    if (object.mbox_explicit || low != high) {
        box.extendBy(low);
        box.extendBy(high);
    }
    return box;
}

bool clip(const Imath::Box3d& box, double margin, const V3d& org, const V3d& dir, double& near, double& far) {
    const V3d wider = (box.max - box.min) * margin;
    for (int axis = 0; axis < 3; ++axis) {
        const double a = (box.min[axis] - wider[axis] - org[axis]) / dir[axis];
        const double b = (box.max[axis] + wider[axis] - org[axis]) / dir[axis];
        if (std::isnan(a) || std::isnan(b)) continue;  // within a side's plane
        near = std::max(near, std::min(a, b));
        far = std::min(far, std::max(a, b));
    }
    return near <= far * (1 + margin);
}

}  // namespace lumorender
