/* contour_store_function, contour_contrast_function_levels and their simple forms: where contours are. */
#include "contour/contour_info.h"
#include "math/color.h"
#include "math/vector.h"
#include "module/parameters.h"

namespace materials {

miScalar degreesBetween(const ContourInfo& a, const ContourInfo& b) {
    return std::acos(clamped(dot(a.normal, b.normal), -1, 1)) * (180 / kPi);
}

namespace {

struct Levels {
    miScalar zdelta, ndelta;
    miBoolean diff_mat, diff_label, diff_index, contrast;
    miInteger min_level, max_level;
};

struct Deltas {
    miScalar zdelta, ndelta;
};

bool store(void* info, int* size, miState* state, const miColor& color) {
    auto& to = *static_cast<ContourInfo*>(info);
    miVector point;
    mi_point_to_camera(state, &point, &state->point);
    int primitive = 0;
    mi_query(miQ_PRI_INDEX, state, miNULLTAG, &primitive);
    to = {state->point, state->normal,   state->dir,
          -point.z,     state->material, state->instance,
          state->label, primitive,       state->reflection_level + state->refraction_level,
          color};
    *size = sizeof to;
    return true;
}

bool isDeeper(const ContourInfo& a, const ContourInfo& b, miScalar by) {
    return by > 0 && std::abs(a.depth - b.depth) > by;
}

bool isTurned(const ContourInfo& a, const ContourInfo& b, miScalar degrees) {
    return degrees > 0 && degreesBetween(a, b) > degrees;
}

bool hasOtherColor(const miColor& a, const miColor& b, const miColor& contrast) {
    return std::abs(a.r - b.r) > contrast.r || std::abs(a.g - b.g) > contrast.g || std::abs(a.b - b.b) > contrast.b;
}

bool levelsDiffer(const ContourInfo* a, const ContourInfo* b, int level, miState* state, Levels& p) {
    const Parameters in(state);
    const int most = in(p.max_level);
    if (level < in(p.min_level) || (most > 0 && level > most)) return false;
    if (!a || !b) return a || b;
    return isDeeper(*a, *b, in(p.zdelta)) || isTurned(*a, *b, in(p.ndelta)) ||
           (in.isOn(p.diff_mat) && a->material != b->material) || (in.isOn(p.diff_label) && a->label != b->label) ||
           (in.isOn(p.diff_index) && (a->primitive != b->primitive || a->instance != b->instance)) ||
           (in.isOn(p.contrast) && hasOtherColor(a->color, b->color, state->options->contrast));
}

bool simplyDiffer(const ContourInfo* a, const ContourInfo* b, miState* state, Deltas& p) {
    const Parameters in(state);
    if (!a || !b) return a || b;
    return a->instance != b->instance || isDeeper(*a, *b, in(p.zdelta)) || isTurned(*a, *b, in(p.ndelta));
}

}  // namespace

}  // namespace materials

using namespace materials;

extern "C" {

DLLEXPORT miBoolean contour_store_function(void* info, int* size, miState* state, void*, miColor* color) noexcept;
miBoolean contour_store_function(void* info, int* size, miState* state, void*, miColor* color) noexcept {
    return store(info, size, state, *color);
}

DLLEXPORT miBoolean contour_store_function_simple(void* info, int* size, miState* state, void*,
                                                  miColor* color) noexcept;
miBoolean contour_store_function_simple(void* info, int* size, miState* state, void*, miColor* color) noexcept {
    return store(info, size, state, *color);
}

DLLEXPORT miBoolean contour_contrast_function_levels(void* a, void* b, int level, miState* state,
                                                     Levels* parameters) noexcept;
miBoolean contour_contrast_function_levels(void* a, void* b, int level, miState* state, Levels* parameters) noexcept {
    return levelsDiffer(static_cast<ContourInfo*>(a), static_cast<ContourInfo*>(b), level, state, *parameters);
}

DLLEXPORT miBoolean contour_contrast_function_simple(void* a, void* b, int level, miState* state,
                                                     Deltas* parameters) noexcept;
miBoolean contour_contrast_function_simple(void* a, void* b, int, miState* state, Deltas* parameters) noexcept {
    return simplyDiffer(static_cast<ContourInfo*>(a), static_cast<ContourInfo*>(b), state, *parameters);
}

}  // extern "C"
