#include "render/new_points.h"

#include "geometry/vectors.h"
#include "render/final_gather_points.h"

namespace lumorender {

using namespace vectors;

namespace {

/// Shaders of one place ask more than once.
bool findOwn(const NewPoints& made, const GatherQuery& query, miColor& value) {
    for (std::size_t i = made.first; i < made.points->size(); ++i) {
        const GatherPoint& p = (*made.points)[i];
        if (p.id != query.id || !isZero(p.position - query.position) || !isZero(p.normal - query.normal)) continue;
        value = p.value;
        return true;
    }
    return false;
}

}  // namespace

bool findKnown(const GatherPoints& known, const NewPoints& made, GatherQuery query, miColor& value) {
    if (!made.points)
        query.enough = 0;
    else if (findOwn(made, query, value))
        return true;
    return known.interpolate(query, value);
}

}  // namespace lumorender
