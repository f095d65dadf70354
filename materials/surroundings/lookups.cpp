/* mib_lookup_spherical, _cube1, _cube6, _cylindrical, _background: pictures of what is around, or on surfaces. */
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct Spherical {
    miVector dir;
    miScalar rotate;
    miTag tex;
};

struct CubePlace {
    miVector point, dir, size;
};

struct Cube1 {
    CubePlace place;
    miTag tex;
};

struct Cube6 {
    CubePlace place;
    miTag tex[6]; /* -x +x -y +y -z +z */
};

struct Cylindrical {
    miMatrix xform;
    miScalar begin, end;
    miTag tex;
};

struct Background {
    miVector zoom, pan;
    miBoolean torus_u, torus_v;
    miTag tex;
};

bool isGiven(const miVector& a) { return isFinite(a) && dot(a, a) > 0; }

/* In world space; that of the ray where none is given. */
miVector directionOf(const miState* state, const miVector& given) {
    if (isGiven(given)) return unit(given);
    miVector dir;
    mi_vector_to_world(state, &dir, &state->dir);
    return unit(dir, {0, 0, -1});
}

bool spherical(miColor& result, miState* state, Spherical& p) {
    const Parameters in(state);
    const miVector dir = directionOf(state, in(p.dir));
    const miScalar turn = finite(in(p.rotate)) / (2 * kPi);
    result = pictureAt(state, in(p.tex), {fraction(wayAround(dir) + turn), clamped(wayUp(dir), 0, 1), 0});
    return true;
}

/* A face of the cube, and the place on it: 0 to 1, as somebody in the cube sees it. */
struct Face {
    int number;
    miScalar u, v;
};

/* Upright on four sides; the top and the bottom continue the one in front, at -z. */
Face faceOf(const miVector& a) {
    const miVector s = {std::fabs(a.x), std::fabs(a.y), std::fabs(a.z)};
    const auto placed = [](int number, miScalar right, miScalar up, miScalar depth) {
        const miScalar scale = depth > 0 ? .5f / depth : 0;
        return Face{number, .5f + right * scale, .5f + up * scale};
    };
    if (s.x >= s.y && s.x >= s.z) return a.x < 0 ? placed(0, -a.z, a.y, s.x) : placed(1, a.z, a.y, s.x);
    if (s.y >= s.z) return a.y < 0 ? placed(2, a.x, -a.z, s.y) : placed(3, a.x, a.z, s.y);
    return a.z < 0 ? placed(4, a.x, a.y, s.z) : placed(5, -a.x, a.y, s.z);
}

/* Where a ray from a point leaves a box around the origin, in half sizes; its direction without a box or outside of it. */
miVector placeOnCube(const miState* state, const Parameters& in, const CubePlace& p) {
    const miVector dir = directionOf(state, in(p.dir)), size = in(p.size), given = in(p.point);
    if (!isFinite(size) || !(size.x > 0) || !(size.y > 0) || !(size.z > 0)) return dir;
    miVector point = given;
    if (!isGiven(given)) mi_point_to_world(state, &point, &state->org);
    const miVector scale = {2 / size.x, 2 / size.y, 2 / size.z};
    const miVector from = {point.x * scale.x, point.y * scale.y, point.z * scale.z};
    const miVector way = {dir.x * scale.x, dir.y * scale.y, dir.z * scale.z};
    if (!(std::max({std::fabs(from.x), std::fabs(from.y), std::fabs(from.z)}) <= 1)) return dir;
    const auto reach = [](miScalar a, miScalar step) {
        return step != 0 ? ((step > 0 ? 1 : -1) - a) / step : miHUGE_SCALAR;
    };
    return from + way * std::min({reach(from.x, way.x), reach(from.y, way.y), reach(from.z, way.z)});
}

/* The last row or column of a face belongs to it. */
miScalar inFace(miScalar a) { return clamped(a, 0, .999999f); }

bool cube1(miColor& result, miState* state, Cube1& p) {
    const Parameters in(state);
    const Face face = faceOf(placeOnCube(state, in, p.place));
    const miScalar row = static_cast<miScalar>(5 - face.number) + inFace(face.v);
    result = pictureAt(state, in(p.tex), {inFace(face.u), row / 6, 0});
    return true;
}

bool cube6(miColor& result, miState* state, Cube6& p) {
    const Parameters in(state);
    const Face face = faceOf(placeOnCube(state, in, p.place));
    result = pictureAt(state, in(p.tex[face.number]), {inFace(face.u), inFace(face.v), 0});
    return true;
}

/* A cylinder around y with the radius 1, from y = -1 to 1, in the space that the matrix leads to from the world's. */
bool cylindrical(miColor& result, miState* state, Cylindrical& p) {
    const Parameters in(state);
    result = kNothing;
    miVector from, dir;
    mi_point_to_world(state, &from, &state->org);
    mi_vector_to_world(state, &dir, &state->dir);
    const miMatrix& xform = in(p.xform);
    if (xform[15] != 0) {
        mi_point_transform(&from, &from, xform);
        mi_vector_transform(&dir, &dir, xform);
    }
    /* The farther of the two places: the wall behind. */
    const miScalar a = dir.x * dir.x + dir.z * dir.z, b = from.x * dir.x + from.z * dir.z;
    const miScalar c = from.x * from.x + from.z * from.z - 1;
    const miScalar root = b * b - a * c;
    if (!(a > 0) || !(root >= 0)) return true;
    const miScalar way = (std::sqrt(root) - b) / a;
    const miVector place = from + dir * way;
    if (!(way > 0) || !(std::fabs(place.y) <= 1)) return true;
    const miScalar begin = finite(in(p.begin)) / (2 * kPi), end = finite(in(p.end)) / (2 * kPi);
    const bool isWhole = begin == end;
    const miScalar around = isWhole ? wayAround(place) : fraction(wayAround(place) - begin) / (end - begin);
    result = boundedPictureAt(state, in(p.tex), {around, inFace(.5f + place.y / 2), 0});
    return true;
}

bool background(miColor& result, miState* state, Background& p) {
    const Parameters in(state);
    const miVector zoom = in(p.zoom), pan = in(p.pan), place = sampleOnScreen(state);
    const auto coordinate = [](miScalar at, miScalar scale, miScalar shift, bool wraps) {
        const miScalar moved = at * (scale != 0 ? scale : 1) + shift;
        return wraps ? fraction(moved) : moved;
    };
    result = boundedPictureAt(state, in(p.tex),
                              {coordinate(place.x, zoom.x, pan.x, in.isOn(p.torus_u)),
                               coordinate(place.y, zoom.y, pan.y, in.isOn(p.torus_v)), 0});
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_lookup_spherical, miColor, Spherical, spherical)
MATERIALS_SHADER(mib_lookup_cube1, miColor, Cube1, cube1)
MATERIALS_SHADER(mib_lookup_cube6, miColor, Cube6, cube6)
MATERIALS_SHADER(mib_lookup_cylindrical, miColor, Cylindrical, cylindrical)
MATERIALS_SHADER(mib_lookup_background, miColor, Background, background)

}  // namespace materials
