/* mib_texture_vector, _remap, _rotate: coordinates for textures. */
#include "module/export.h"
#include "module/parameters.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct TextureVector {
    miInteger select, selspace, vertex, project;
};

struct TextureRemap {
    miVector input;
    miMatrix transform;
    miVector repeat;
    miBoolean alt[3], torus[3];
    miVector min, max, offset;
};

struct TextureRotate {
    miVector input;
    miScalar angle;
};

enum Select {
    kPoint = -1,
    kNormal = -2,
    kMotion = -3,
    kRay = -4,
    kFirstDerivative = -5,
    kLastDerivative = -9,
    kSky = -10
};
enum Space { kAsItIs, kWorld, kCamera, kObject, kScreen };
enum Projection { kXY, kXZ, kYZ, kSpherical, kCylindrical };

/* Of one corner of the triangle, 0 to 2, in object space. */
bool cornerOf(miVector& result, miState* state, int which, int index, int corner) {
    const miVector* corners[3] = {};
    if (!mi_tri_vectors(state, which, index, &corners[0], &corners[1], &corners[2])) return false;
    result = *corners[corner];
    return true;
}

/* In internal space; zero where the surface has nothing of the kind. */
miVector selected(miState* state, int select, int vertex) {
    miVector found = {0, 0, 0};
    const bool ofCorner = vertex >= 1 && vertex <= 3;
    if (select >= 0) {
        if (ofCorner && cornerOf(found, state, 't', select, vertex - 1)) return found;
        return select < textureSpaces(state) ? state->tex_list[select] : found;
    }
    switch (select) {
        case kPoint:
            if (!ofCorner || !cornerOf(found, state, 'p', 0, vertex - 1)) return state->point;
            mi_point_from_object(state, &found, &found);
            return found;
        case kNormal:
            if (!ofCorner || !cornerOf(found, state, 'n', 0, vertex - 1)) return state->normal;
            mi_normal_from_object(state, &found, &found);
            return unit(found);
        case kMotion: return state->motion;
        case kRay:
        case kSky: return state->dir;
        default: break;
    }
    const bool isDerivative = select <= kFirstDerivative && select >= kLastDerivative && state->derivs;
    return isDerivative ? state->derivs[kFirstDerivative - select] : found;
}

/* Texture coordinates have no space. */
miVector inSpace(const miState* state, const miVector& given, int select, int space) {
    miVector result = given;
    if (select >= 0) return result;
    const bool isPoint = select == kPoint, isNormal = select == kNormal;
    switch (space) {
        case kWorld:
            (isPoint ? mi_point_to_world : isNormal ? mi_normal_to_world : mi_vector_to_world)(state, &result, &given);
            break;
        case kCamera:
            (isPoint    ? mi_point_to_camera
             : isNormal ? mi_normal_to_camera
                        : mi_vector_to_camera)(state, &result, &given);
            break;
        case kObject:
            (isPoint    ? mi_point_to_object
             : isNormal ? mi_normal_to_object
                        : mi_vector_to_object)(state, &result, &given);
            break;
        case kScreen: return isPoint ? onScreen(state, given) : given;
        default: break;
    }
    return result;
}

miVector projected(const miVector& a, int projection) {
    switch (projection) {
        case kXZ: return {a.x, a.z, a.y};
        case kYZ: return {a.y, a.z, a.x};
        case kSpherical: return {wayAround(a), wayUp(a), length(a)};
        case kCylindrical: return {wayAround(a), a.y, std::hypot(a.x, a.z)};
        default: return a;
    }
}

bool textureVector(miVector& result, miState* state, TextureVector& p) {
    const Parameters in(state);
    const int select = in(p.select);
    const miVector found = selected(state, select, in(p.vertex));
    result = projected(inSpace(state, found, select, in(p.selspace)), in(p.project));
    return true;
}

/* One coordinate: copies, every other one mirrored if wanted, then the part of the picture that is used. */
miScalar remapped(miScalar a, miScalar repeat, bool alternates, bool wraps, miScalar low, miScalar high) {
    const bool isRepeated = repeat != 0 && repeat != 1;
    if (isRepeated) a *= repeat;
    if (isRepeated || wraps) {
        const bool isOdd = fraction(a / 2) >= .5f;
        a = fraction(a);
        if (alternates && isOdd) a = 1 - a;
    }
    return low != high ? mix(low, high, a) : a;
}

bool textureRemap(miVector& result, miState* state, TextureRemap& p) {
    const Parameters in(state);
    miVector a = in(p.input);
    const miMatrix& transform = in(p.transform);
    if (transform[15] != 0) mi_point_transform(&a, &a, transform);
    const miVector repeat = in(p.repeat), low = in(p.min), high = in(p.max), offset = in(p.offset);
    result = offset + miVector{remapped(a.x, repeat.x, in.isOn(p.alt[0]), in.isOn(p.torus[0]), low.x, high.x),
                               remapped(a.y, repeat.y, in.isOn(p.alt[1]), in.isOn(p.torus[1]), low.y, high.y),
                               remapped(a.z, repeat.z, in.isOn(p.alt[2]), in.isOn(p.torus[2]), low.z, high.z)};
    return true;
}

bool textureRotate(miVector& result, miState* state, TextureRotate& p) {
    const Parameters in(state);
    const miVector a = in(p.input);
    const miScalar angle = finite(in(p.angle)), c = std::cos(angle), s = std::sin(angle);
    result = {a.x * c - a.y * s, a.x * s + a.y * c, a.z};
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_texture_vector, miVector, TextureVector, textureVector)
MATERIALS_SHADER(mib_texture_remap, miVector, TextureRemap, textureRemap)
MATERIALS_SHADER(mib_texture_rotate, miVector, TextureRotate, textureRotate)

}  // namespace materials
