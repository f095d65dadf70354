#include "SDK/engine/shading_preamble.h"

#include "SDK/lumo.h"

#include "SDK/framework/renderer_access.h"
#include "binding/renderer.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

/* Gives surfaces without texture coordinates one coordinate at the origin, so that shaders may read and write it. */
bool ensureTextureList(miState* state) {
    miInteger spaces = 0;
    if (mi_query(miQ_NUM_TEXTURES, state, miNULLTAG, &spaces) && spaces != 0) return true;
    miVector zero = {0, 0, 0};
    mi_shaderstate_set(state, "lumoTexList", &zero, sizeof zero, miSS_LIFETIME_EYERAY);
    auto* list = static_cast<miVector*>(mi_shaderstate_get(state, "lumoTexList", nullptr));
    if (!list) {
        reportError("Internal error: tex_list not initialized.");
        return false;
    }
    state->tex_list = list;
    return true;
}

bool cameByReflectionOrRefraction(const miState* state) {
    for (; state; state = state->parent)
        if (state->type == miRAY_REFLECT || state->type == miRAY_REFRACT || state->type == miRAY_FINALGATHER)
            return true;
    return false;
}

void computeFootprint(miState* state, Vexabase& record, EngineRays rays) {
    // A sample whose weight has fallen below the threshold is not worth more than an estimate.
    const miColor& weight = record.contributionWeight;
    if (record.lowerImportance > std::max({weight.r, weight.g, weight.b}))
        return roughFootprint(state, record.footprintScale, record.footprint);
    if (rays == EngineRays::kAll && cameByReflectionOrRefraction(state))
        return secondaryFootprint(state, record.footprintScale, record.footprint);
    primaryFootprint(state, record.footprintScale, record.footprint);
}

}  // namespace

void prepareShading(miState* state, Vexabase& record, EngineRays rays) {
    if (!ensureTextureList(state)) return;
    const miScalar constant = record.constantFootprint;
    if (record.footprintMode == kFootprintConstant)
        record.footprint = {constant, constant, constant, constant, constant, constant};
    else
        computeFootprint(state, record, rays);
}

namespace {

/* Half a pixel's width, a little less so that neighbours do not blur into each other. */
constexpr miScalar kHalfPixel = 0.45f;
/* Texture extent per unit of length where the surface has no derivatives that would tell. */
constexpr miScalar kTexturePerLength = 1.5e-5f;
/* States above the current one that are looked at; renderers nest less deep. */
constexpr int kLongestPath = 256;

/* The ray's cosine with the surface, kept away from 0. */
miScalar tilt(const miState* state) { return std::max(std::fabs(state->dot_nd), 1e-5f); }

/* Half extents of an ellipse in texture space. `a` and `b` are its half axes on the tangent plane, `du` and `dv` the
 * surface's derivatives: each axis is solved for its texture components by least squares. False when the derivatives
 * do not span a plane. */
bool textureExtent(const miVector& a, const miVector& b, const miVector& du, const miVector& dv, Footprint& footprint) {
    const miScalar uu = mi_vector_dot(&du, &du), uv = mi_vector_dot(&du, &dv), vv = mi_vector_dot(&dv, &dv);
    const miScalar determinant = uu * vv - uv * uv;
    if (!(determinant > 1e-12f * uu * vv)) return false;

    const miScalar inverse = 1 / determinant;
    const auto alongU = [&](const miVector& t) {
        return (vv * mi_vector_dot(&t, &du) - uv * mi_vector_dot(&t, &dv)) * inverse;
    };
    const auto alongV = [&](const miVector& t) {
        return (uu * mi_vector_dot(&t, &dv) - uv * mi_vector_dot(&t, &du)) * inverse;
    };
    // In double precision, where the squares neither overflow nor vanish.
    const auto length = [](double x, double y) { return static_cast<miScalar>(std::sqrt(x * x + y * y)); };
    footprint.u = length(alongU(a), alongU(b));
    footprint.v = length(alongV(a), alongV(b));
    return true;
}

/* Half axes of the ellipse on the tangent plane: `along` points where the surface tilts away from the ray. */
void ellipseAxes(const miState* state, const Footprint& footprint, miVector& along, miVector& across) {
    const miVector& n = state->normal;
    along = n;
    mi_vector_mul(&along, -state->dot_nd);
    mi_vector_add(&along, &along, &state->dir);
    if (mi_vector_norm(&along) < 1e-4f) {
        // Seen head on there is no tilt: any direction on the plane serves.
        const miVector other = std::fabs(n.x) < 0.5f ? miVector{1, 0, 0} : miVector{0, 1, 0};
        mi_vector_prod(&along, &n, &other);
    }
    mi_vector_normalize(&along);
    mi_vector_prod(&across, &n, &along);
    mi_vector_mul(&along, footprint.along);
    mi_vector_mul(&across, footprint.across);
}

/* Where a cone of this radius around the ray meets the surface. */
void coneFootprint(const miState* state, miScalar radius, Footprint& footprint) {
    footprint.uvCross = footprint.lengthCross = 0;
    footprint.across = radius;
    footprint.along = radius / tilt(state);
    footprint.u = footprint.along * kTexturePerLength;
    footprint.v = footprint.across * kTexturePerLength;
    if (state->derivs) {
        miVector along, across;
        ellipseAxes(state, footprint, along, across);
        textureExtent(along, across, state->derivs[0], state->derivs[1], footprint);
    }
}

bool sameOrigin(const miState* a, const miState* b) {
    return a->org.x == b->org.x && a->org.y == b->org.y && a->org.z == b->org.z;
}

/* Length of the way from the eye to this hit. A ray that was merely continued keeps its origin and measures from there,
 * and so does the eye ray inside its lens shaders: those states add nothing. */
miScalar pathLength(const miState* state) {
    double length = state->dist;
    for (int i = 0; i < kLongestPath && state->parent; ++i) {
        if (!sameOrigin(state->parent, state)) length += state->parent->dist;
        state = state->parent;
    }
    return static_cast<miScalar>(length);
}

}  // namespace

void roughFootprint(miState* state, miScalar pixelSize, Footprint& footprint) {
    miVector eye;
    origin_from_camera(state, &eye);
    const miScalar size = pixelSize * kHalfPixel * mi_vector_dist(&eye, &state->point) / tilt(state);
    const miScalar textureSize = size * kTexturePerLength;
    footprint = {textureSize, textureSize, 0, size, size, 0};
}

void primaryFootprint(miState* state, miScalar pixelSize, Footprint& footprint) {
    // On a flat film all pixels at one depth are of one size; without perspective at every depth.
    if (state->camera && state->camera->orthographic) return coneFootprint(state, pixelSize * kHalfPixel, footprint);
    miVector point;
    mi_point_to_camera(state, &point, &state->point);
    coneFootprint(state, pixelSize * kHalfPixel * std::fabs(point.z), footprint);
}

void secondaryFootprint(miState* state, miScalar pixelSize, Footprint& footprint) {
    const bool perspective = !(state->camera && state->camera->orthographic);
    coneFootprint(state, pixelSize * kHalfPixel * (perspective ? pathLength(state) : 1), footprint);
}

}  // namespace lumo
