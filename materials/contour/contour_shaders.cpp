/* contour_shader_...: color and width of contours, by the surfaces on both their sides. Widths are percent of the
   picture's width. */
#include "contour/contour_info.h"
#include "math/color.h"
#include "math/vector.h"
#include "module/parameters.h"

namespace materials {

namespace {

/* What lies on the two sides; behind the last surface there is nothing. */
struct Sides {
    const ContourInfo& near;
    const ContourInfo* far;
};

struct Pen {
    miColor color;
    miScalar width;
};

/* A width between two, by a share of 0 to 1. */
miScalar between(const Parameters& in, const miScalar& low, const miScalar& high, miScalar share) {
    return mix(in(low), in(high), clamped(share, 0, 1));
}

struct Simple {
    miColor color;
    miScalar width;
};

bool simple(Pen& pen, const Sides&, miState* state, Simple& p) {
    const Parameters in(state);
    pen = {in(p.color), in(p.width)};
    return true;
}

/* Around objects only, and not within them. */
bool silhouette(Pen& pen, const Sides& sides, miState* state, Simple& p) {
    if (sides.far && sides.far->instance == sides.near.instance) return false;
    return simple(pen, sides, state, p);
}

struct Widths {
    miColor color;
    miScalar min_width, max_width;
};

/* The sharper an edge the wider: all of it at right angles, and where there is nothing behind. */
bool curvature(Pen& pen, const Sides& sides, miState* state, Widths& p) {
    const Parameters in(state);
    const miScalar sharp = sides.far ? degreesBetween(sides.near, *sides.far) / 90 : 1;
    pen = {in(p.color), between(in, p.min_width, p.max_width, sharp)};
    return true;
}

/* Dark surfaces have wide lines. */
bool widthFromColor(Pen& pen, const Sides& sides, miState* state, Widths& p) {
    const Parameters in(state);
    pen = {in(p.color), between(in, p.max_width, p.min_width, largest(sides.near.color))};
    return true;
}

/* Thin on the side that the light comes to, wide on the other one. */
miScalar shareAwayFrom(const miVector& toLight, const ContourInfo& info) {
    return (1 - dot(unit(toLight), info.normal)) / 2;
}

/* From the surface to a light instance: to its origin, or against the direction of one that is infinitely far. */
miVector directionTo(miState* state, miTag light, const ContourInfo& info) {
    miVector origin = {0, 0, 0}, direction = {0, 0, 0};
    int type = miLIGHT_ORIGIN;
    mi_query(miQ_LIGHT_TYPE, state, light, &type);
    const miTag before = state->light_instance;
    state->light_instance = light;  // whose space both are in
    const bool isFar = type == miLIGHT_DIRECTION && mi_query(miQ_LIGHT_DIRECTION, state, light, &direction);
    const bool isKnown = isFar || mi_query(miQ_LIGHT_ORIGIN, state, light, &origin);
    mi_vector_from_light(state, &direction, &direction);
    mi_point_from_light(state, &origin, &origin);
    state->light_instance = before;
    return isFar ? -direction : isKnown ? origin - info.point : miVector{0, 0, 0};
}

struct WidthFromLight {
    miColor color;
    miScalar min_width, max_width;
    miTag light;
};

bool widthFromLight(Pen& pen, const Sides& sides, miState* state, WidthFromLight& p) {
    const Parameters in(state);
    const miVector way = directionTo(state, in(p.light), sides.near);
    pen = {in(p.color), between(in, p.min_width, p.max_width, shareAwayFrom(way, sides.near))};
    return true;
}

struct WidthFromDirection {
    miColor color;
    miScalar min_width, max_width;
    miVector light_dir;
};

bool widthFromDirection(Pen& pen, const Sides& sides, miState* state, WidthFromDirection& p) {
    const Parameters in(state);
    pen = {in(p.color), between(in, p.min_width, p.max_width, shareAwayFrom(-in(p.light_dir), sides.near))};
    return true;
}

struct Fade {
    miScalar near_z;
    miColor near_color;
    miScalar near_width, far_z;
    miColor far_color;
    miScalar far_width;
};

Pen mixed(const Pen& a, const Pen& b, miScalar share) {
    Pen pen = {mix(a.color, b.color, share), mix(a.width, b.width, share)};
    pen.color.a = mix(a.color.a, b.color.a, share);
    return pen;
}

/* Depths of old scenes are z in camera space, below zero; distances above zero mean the same. */
Pen fadedByDepth(const Parameters& in, const ContourInfo& info, Fade& p) {
    const miScalar near = std::abs(in(p.near_z)), far = std::abs(in(p.far_z));
    const miScalar share = far > near ? clamped((info.depth - near) / (far - near), 0, 1) : 0;
    return mixed({in(p.near_color), in(p.near_width)}, {in(p.far_color), in(p.far_width)}, share);
}

bool depthFade(Pen& pen, const Sides& sides, miState* state, Fade& p) {
    pen = fadedByDepth(Parameters(state), sides.near, p);
    return true;
}

struct FrameFade {
    miInteger frame1;
    miColor color1;
    miScalar width1;
    miInteger frame2;
    miColor color2;
    miScalar width2;
};

bool frameFade(Pen& pen, const Sides&, miState* state, FrameFade& p) {
    const Parameters in(state);
    const int first = in(p.frame1), last = in(p.frame2), frame = state->camera->frame;
    const miScalar length = static_cast<miScalar>(last) - static_cast<miScalar>(first);
    const miScalar share =
        length > 0 ? clamped((static_cast<miScalar>(frame) - static_cast<miScalar>(first)) / length, 0, 1) : 0;
    pen = mixed({in(p.color1), in(p.width1)}, {in(p.color2), in(p.width2)}, share);
    return true;
}

struct LayerThinner {
    miColor color;
    miScalar width, factor;
};

bool layerThinner(Pen& pen, const Sides& sides, miState* state, LayerThinner& p) {
    const Parameters in(state);
    const auto level = static_cast<miScalar>(sides.near.level);
    pen = {in(p.color), in(p.width) * std::pow(clamped(in(p.factor), 0, 1), level)};
    return true;
}

struct FactorColor {
    miScalar factor, width;
};

Pen dimmed(const Parameters& in, const ContourInfo& info, const miScalar& factor, miScalar width) {
    return {positive(finite(info.color * in(factor))), width};
}

bool factorColor(Pen& pen, const Sides& sides, miState* state, FactorColor& p) {
    const Parameters in(state);
    pen = dimmed(in, sides.near, p.factor, in(p.width));
    return true;
}

struct MaxColor {
    miScalar width;
};

/* The brightest of both sides, channel by channel. */
bool maxColor(Pen& pen, const Sides& sides, miState* state, MaxColor& p) {
    const miColor a = sides.near.color, b = sides.far ? sides.far->color : kBlack;
    pen = {{std::max(a.r, b.r), std::max(a.g, b.g), std::max(a.b, b.b), 1}, Parameters(state)(p.width)};
    return true;
}

struct Combination {
    Fade fade;
    miScalar factor;
    miTag light;
    miScalar min_width_factor;
};

/* Depth fade; a factor other than 0 takes the surface's color; a light makes lines on its side thinner. */
bool combination(Pen& pen, const Sides& sides, miState* state, Combination& p) {
    const Parameters in(state);
    pen = fadedByDepth(in, sides.near, p.fade);
    if (in(p.factor) != 0) pen = dimmed(in, sides.near, p.factor, pen.width);
    const miTag light = in(p.light);
    if (light) {
        const miScalar share = shareAwayFrom(directionTo(state, light, sides.near), sides.near);
        pen.width *= mix(in(p.min_width_factor), 1, clamped(share, 0, 1));
    }
    return true;
}

/* Draws nothing that no line can be. */
template <class P>
miBoolean drawn(miContour_endpoint* end, void* near, void* far, miState* state, P* parameters,
                bool (*shader)(Pen&, const Sides&, miState*, P&)) {
    if (!near) return miFALSE;
    Pen pen = {};
    if (!shader(pen, {*static_cast<ContourInfo*>(near), static_cast<ContourInfo*>(far)}, state, *parameters))
        return miFALSE;
    end->color = finite(pen.color);
    end->color.a = clamped(end->color.a, 0, 1);
    end->width = clamped(pen.width, 0, 100);
    return end->width > 0 ? miTRUE : miFALSE;
}

}  // namespace

#define CONTOUR_SHADER(NAME, PARAMETERS, FUNCTION)                                                               \
    extern "C" {                                                                                                 \
    DLLEXPORT miBoolean NAME(miContour_endpoint*, void*, void*, miState*, PARAMETERS*) noexcept;                 \
    miBoolean NAME(miContour_endpoint* end, void* near, void* far, miState* state, PARAMETERS* given) noexcept { \
        return drawn(end, near, far, state, given, FUNCTION);                                                    \
    }                                                                                                            \
    }

CONTOUR_SHADER(contour_shader_simple, Simple, simple)
CONTOUR_SHADER(contour_shader_silhouette, Simple, silhouette)
CONTOUR_SHADER(contour_shader_curvature, Widths, curvature)
CONTOUR_SHADER(contour_shader_widthfromcolor, Widths, widthFromColor)
CONTOUR_SHADER(contour_shader_widthfromlight, WidthFromLight, widthFromLight)
CONTOUR_SHADER(contour_shader_widthfromlightdir, WidthFromDirection, widthFromDirection)
CONTOUR_SHADER(contour_shader_depthfade, Fade, depthFade)
CONTOUR_SHADER(contour_shader_framefade, FrameFade, frameFade)
CONTOUR_SHADER(contour_shader_layerthinner, LayerThinner, layerThinner)
CONTOUR_SHADER(contour_shader_factorcolor, FactorColor, factorColor)
CONTOUR_SHADER(contour_shader_maxcolor, MaxColor, maxColor)
CONTOUR_SHADER(contour_shader_combi, Combination, combination)

}  // namespace materials
