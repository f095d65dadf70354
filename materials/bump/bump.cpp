/* mib_bump_basis, mib_bump_map, mib_passthrough_bump_map: normals bent by the slopes of a picture. */
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct BumpBasis {
    miInteger project, ntex;
};

/* Directions of u and v in internal space, of unit length. */
struct Basis {
    miVector u, v;
};

struct BumpMap {
    miVector u, v, coord, step;
    miScalar factor;
    miBoolean torus_u, torus_v, alpha;
    miTag tex;
    miBoolean clamp;
};

enum Projection { kXZ = 1, kYZ, kSpherical, kCylindrical };

miVector fromObject(const miState* state, const miVector& given) {
    miVector result;
    mi_vector_from_object(state, &result, &given);
    return unit(result);
}

/* Those that belong to texture coordinates, or to the surface. */
Basis ofTexture(miState* state, int space) {
    const bool hasSpace = space >= 0 && space < textureSpaces(state);
    if (hasSpace && state->bump_x_list && state->bump_y_list)
        return {unit(state->bump_x_list[space]), unit(state->bump_y_list[space])};
    if (state->derivs) return {unit(state->derivs[0]), unit(state->derivs[1])};
    const Frame frame = frameAround(unit(state->normal, state->normal_geom));
    return {frame.u, frame.v};
}

/* East and north on a globe, or along a column, around the object's y axis. */
Basis around(miState* state, bool isGlobe) {
    miVector place;
    mi_point_to_object(state, &place, &state->point);
    const miVector east = unit({-place.z, 0, place.x}, {1, 0, 0}), up = {0, 1, 0};
    const miVector north = isGlobe ? unit(up - place * (place.y / std::max(dot(place, place), 1e-30f)), up) : up;
    return {fromObject(state, east), fromObject(state, north)};
}

bool bumpBasis(Basis& result, miState* state, BumpBasis& p) {
    const Parameters in(state);
    const miVector x = {1, 0, 0}, y = {0, 1, 0}, z = {0, 0, 1};
    switch (in(p.project)) {
        case kXZ: result = {fromObject(state, x), fromObject(state, z)}; break;
        case kYZ: result = {fromObject(state, y), fromObject(state, z)}; break;
        case kSpherical: result = around(state, true); break;
        case kCylindrical: result = around(state, false); break;
        default: result = ofTexture(state, in(p.ntex)); break;
    }
    return true;
}

/* How high the picture is at a place: its mean color, or its alpha. */
class Heights {
public:
    Heights(miState* state, const Parameters& in, const BumpMap& p)
        : state_(state),
          picture_(in(p.tex)),
          usesAlpha_(in.isOn(p.alpha)),
          wrapsU_(in.isOn(p.torus_u)),
          wrapsV_(in.isOn(p.torus_v)),
          clamps_(in.isOn(p.clamp)) {}

    miScalar at(const miVector& place) const {
        const miColor color =
            boundedPictureAt(state_, picture_, {coordinate(place.x, wrapsU_), coordinate(place.y, wrapsV_), place.z});
        return finite(usesAlpha_ ? color.a : (color.r + color.g + color.b) / 3);
    }

private:
    miScalar coordinate(miScalar a, bool wraps) const {
        return wraps ? fraction(a) : clamps_ ? clamped(a, 0, .999999f) : a;
    }

    miState* state_;
    miTag picture_;
    bool usesAlpha_, wrapsU_, wrapsV_, clamps_;
};

/* Bright is high: the normal leans away from where it gets brighter. */
void bend(miState* state, const BumpMap& p) {
    const Parameters in(state);
    const miScalar factor = finite(in(p.factor));
    if (factor == 0 || in(p.tex) == miNULLTAG) return;
    const auto orLittle = [](miScalar a) { return std::isfinite(a) && a != 0 ? a : .001f; };
    const miVector coord = in(p.coord), step = in(p.step);
    const Heights heights(state, in, p);
    const miScalar here = heights.at(coord);
    const miScalar alongU = heights.at(coord + miVector{orLittle(step.x), 0, 0}) - here;
    const miScalar alongV = heights.at(coord + miVector{0, orLittle(step.y), 0}) - here;
    const miVector before = unit(state->normal, state->normal_geom);
    const miVector bent = before - (in(p.u) * alongU + in(p.v) * alongV) * factor;
    state->normal = unit(bent, before);
    state->dot_nd = dot(state->normal, state->dir);
}

bool bumpMap(miVector& result, miState* state, BumpMap& p) {
    bend(state, p);
    result = state->normal;
    return true;
}

/* In a list of shaders: the color of those before stays. */
bool passthroughBumpMap(miColor&, miState* state, BumpMap& p) {
    bend(state, p);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_bump_basis, Basis, BumpBasis, bumpBasis)
MATERIALS_SHADER(mib_bump_map, miVector, BumpMap, bumpMap)
MATERIALS_SHADER(mib_passthrough_bump_map, miColor, BumpMap, passthroughBumpMap)

}  // namespace materials
