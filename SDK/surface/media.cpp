#include "SDK/surface/media.h"

#include <algorithm>

namespace lumo {
namespace {

/* Rays that a surface mirrored, or let pass as if it were not there, did not cross its boundary. */
bool isRefracted(const miState& ray, const miState& from) {
    return ray.type == miRAY_REFRACT && ray.refraction_level > from.refraction_level;
}

/* Thin sheets refract, but nobody is inside of them: the ray goes on in the same index. */
bool isSheet(const miState& hit) { return hit.ior == hit.ior_in; }

}  // namespace

OpenSolids::OpenSolids(const miState* state) {
    const miState* below = state;
    for (const miState* above = state->parent; above && !around_; below = above, above = above->parent) {
        if (!isRefracted(*below, *above)) continue;
        if (above->inv_normal)
            close(above->material);
        else if (!takeClosed(above->material) && (above->material == state->material || !isSheet(*above)))
            (inner_ ? around_ : inner_) = above;
    }
}

bool OpenSolids::takeClosed(miTag material) {
    miTag* const end = closed_ + closedCount_;
    miTag* const found = std::find(closed_, end, material);
    if (found == end) return false;
    *found = closed_[--closedCount_];
    return true;
}

void OpenSolids::close(miTag material) {
    if (closedCount_ < kMostClosed) closed_[closedCount_++] = material;
}

}  // namespace lumo
