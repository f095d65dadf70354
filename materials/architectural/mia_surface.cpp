#include "architectural/mia_surface.h"

#include "rays/hit_scope.h"

namespace materials {

namespace {

enum BumpMode { kAddCamera = 1, kAddWorld, kAddObject, kReplaceCamera, kReplaceWorld, kReplaceObject };

miVector inInternalSpace(const miState* state, const miVector& bump, int mode) {
    miVector result = bump;
    switch (mode) {
        case kAddCamera: mi_vector_from_camera(state, &result, &bump); break;
        case kAddWorld: mi_vector_from_world(state, &result, &bump); break;
        case kAddObject: mi_vector_from_object(state, &result, &bump); break;
        case kReplaceCamera: mi_normal_from_camera(state, &result, &bump); break;
        case kReplaceWorld: mi_normal_from_world(state, &result, &bump); break;
        default: mi_normal_from_object(state, &result, &bump); break;
    }
    return result;
}

/* The zero vector, which is what is there without a connection, changes nothing in any mode. */
miVector bumpedBy(const miState* state, const miVector& normal, const miVector& bump, int mode) {
    const bool nothing = !isFinite(bump) || dot(bump, bump) == 0;
    if (nothing || mode < kAddCamera || mode > kReplaceObject) return normal;
    const miVector change = inInternalSpace(state, bump, mode);
    if (mode < kReplaceCamera) return unit(normal + change, normal);
    const miVector replaced = unit(change, normal);
    return dot(replaced, state->normal_geom) < 0 ? -replaced : replaced;
}

/* The normal that a bump shader leaves in the state. */
miVector bumpedByShader(miState* state, const miVector& normal, miTag shader) {
    if (shader == miNULLTAG) return normal;
    const HitScope hit(state);
    AnyResult ignored;
    state->normal = normal;
    mi_call_shader_x(ignored.color(), miSHADER_TEXTURE, state, shader, nullptr);
    return isFinite(state->normal) ? unit(state->normal, normal) : normal;
}

/* Direction of the lobe's first axis, or 0: along a texture space, or around the object's own y axis. */
miVector brushDirection(const miState* state, int channel, const miVector& normal) {
    constexpr int kBumpBasis = -2, kDerivatives = -3, kSpaces = 64;
    miVector axis = {0, 1, 0};
    if (channel <= kDerivatives && state->derivs) return state->derivs[0];
    const bool inSpace = (channel >= 0 && channel < kSpaces) || channel == kBumpBasis;
    int spaces = 0;
    if (inSpace && state->bump_x_list && mi_query(miQ_NUM_BUMPS, const_cast<miState*>(state), miNULLTAG, &spaces)) {
        const int space = std::max(channel, 0);
        if (space < spaces) {
            mi_vector_from_object(state, &axis, &state->bump_x_list[space]);
            return axis;
        }
    }
    if (inSpace && state->derivs) return state->derivs[0];
    mi_vector_from_object(state, &axis, &axis);
    return cross(axis, normal);
}

}  // namespace

MiaSurface::MiaSurface(const MiaCall& call) : view(-call.state->dir) {
    const auto& [state, p, x, in] = call;
    const int mode = x ? in(x->bump_mode) : 0;
    const miVector normal = unit(state->normal, state->normal_geom);
    smooth = x ? bumpedBy(state, normal, in(x->overall_bump), mode) : normal;
    bumped = bumpedByShader(state, smooth, in(p.bump));
    if (x) bumped = bumpedBy(state, bumped, in(x->standard_bump), mode);
    diffuse = in.isOn(p.no_diffuse_bump) ? smooth : bumped;
    base = call.hasBaseLayer() ? bumpedBy(state, smooth, in(x->refl_base_bump), mode) : bumped;
}

Facets facetsOf(const MiaCall& call, const miVector& normal, miScalar gloss) {
    constexpr miScalar kLeastWidth = 1 / 256.0f;
    const auto& [state, p, x, in] = call;
    const miScalar width = widthOfGloss(gloss);
    const miScalar ratio = in.within(p.anisotropy, .01f, 100);
    if (ratio == 1) return {frameAround(normal), width, width};
    const Frame frame = frameAround(normal, brushDirection(state, in(p.anisotropy_channel), normal));
    const miScalar angle = 2 * kPi * finite(in(p.anisotropy_rotation));
    const miVector u = frame.u * std::cos(angle) + frame.v * std::sin(angle);
    return {{u, cross(normal, u), normal}, width, clamped(width * ratio, kLeastWidth, 1)};
}

}  // namespace materials
