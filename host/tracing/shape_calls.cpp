#include "tracing/shape_calls.h"

#include "geometry/shader_shape.h"
#include "support/messages.h"
#include "tracing/context.h"
#include "tracing/shader_calls.h"

namespace lumorender {

namespace {

/// A state of its own: that of the ray knows no hit yet, and must not know this one before it is the nearest.
void prepare(miState& state, const FlatInstance& instance, const ObjectRay& ray, ShapePlace& place,
             miVector* derivatives) {
    state.org = ray.org;
    state.dir = ray.dir;
    state.dist = ray.dist;
    state.instance = instance.instance;
    state.material = place.material;
    state.label = place.label;
    state.point = state.normal = state.normal_geom = state.motion = state.tex = {0, 0, 0};
    state.inv_normal = miFALSE;
    state.pri = nullptr;
    state.child = nullptr;
    state.tex_list = &place.texture;
    state.bump_x_list = state.bump_y_list = nullptr;
    state.derivs = derivatives;
}

}  // namespace

bool findShape(const miState& asking, const FlatInstance& instance, ObjectRay& ray, ShapePlace& place) {
    ThreadContext& context = contextOf(&asking);
    const Arena::Mark mark = context.arena.mark();
    auto& state = *static_cast<miState*>(context.arena.allocate(sizeof(miState)));
    state = asking;
    miVector derivatives[miDERIVATIVES] = {};
    prepare(state, instance, ray, place, derivatives);
    miColor result = {0, 0, 0, 0};
    bool found = false;
    try {
        found = callShader(context, &state, instance.shape->shader, miSHADER_OTHER, &result);
    } catch (...) {
        error("GEOM", "an intersection shader of instance \"{}\" ended by an exception",
              context.scene->database->name(instance.instance));
    }
    if (found) {
        ray.dist = state.dist;
        const miVector& tex = state.tex;
        place.normal = state.normal;
        if (tex.x != 0 || tex.y != 0 || tex.z != 0) place.texture = tex;
        place.du = derivatives[0];
        place.dv = derivatives[1];
        place.material = state.material;
        place.label = state.label;
    }
    context.arena.release(mark);
    return found;
}

}  // namespace lumorender
