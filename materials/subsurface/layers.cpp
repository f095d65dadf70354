#include "subsurface/layers.h"

namespace materials {

namespace {

miScalar screened(miScalar a, miScalar b, miScalar c) {
    return 1 - (1 - clamped(a, 0, 1)) * (1 - clamped(b, 0, 1)) * (1 - clamped(c, 0, 1));
}

miColor screened(const miColor& a, const miColor& b, const miColor& c) {
    return {screened(a.r, b.r, c.r), screened(a.g, b.g, c.g), screened(a.b, b.b, c.b), 1};
}

void scale(Term& term, const miColor& factor) {
    term.result = term.result * factor;
    term.level = term.level * factor;
}

}  // namespace

void composeLayers(SubsurfaceOutputs& out, bool screen, bool scatteredOnly) {
    if (scatteredOnly) {
        out.diffuse = {kBlack, kBlack, kBlack};
        out.specular = kBlack;
    }
    const miColor sum = out.diffuse.result + out.front.result + out.back.result;
    if (screen) {
        const miColor together = screened(out.diffuse.result, out.front.result, out.back.result);
        for (Term* term : {&out.diffuse, &out.front, &out.back}) scale(*term, quotient(together, sum));
    }
    out.result = out.diffuse.result + out.front.result + out.back.result + out.specular;
}

miColor colorOf(miState* state, miTag shader) {
    AnyResult answer;
    if (shader == miNULLTAG || !mi_call_shader_x(answer.color(), miSHADER_MATERIAL, state, shader, nullptr))
        return kBlack;
    return finite(*answer.color()) * 1;
}

void bend(miState* state, miTag bump) {
    if (bump == miNULLTAG) return;
    const miVector before = state->normal;
    AnyResult ignored;
    mi_call_shader_x(ignored.color(), miSHADER_TEXTURE, state, bump, nullptr);
    state->normal = isFinite(state->normal) ? unit(state->normal, before) : before;
    state->dot_nd = dot(state->normal, state->dir);
}

}  // namespace materials
