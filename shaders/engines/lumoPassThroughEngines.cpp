/* lumoVexaSimpleShadingEngine, lumoVexaRenderTargetShadingEngine: shading engines for pictures without light.
 *
 * Both hand the color of the connected shader on, for eye rays only, and write no passes. The render-target engine sets
 * the first texture coordinate to the position in the image (0 to 1), so that the connected shader paints the screen.
 * Parameters: `color` (as a rule connected), `alpha` of the result.
 */
#include "SDK/framework/export_shader.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/engine/shading_preamble.h"

namespace lumo {

struct PassThroughEngineParameters {
    miColor color;
    miScalar alpha;
};

namespace {

using Helper = ShaderHelper<PassThroughEngineParameters>;

/* The first texture coordinate becomes the position of the pixel's center; without a camera it stays. */
void useScreenAsTexture(miState* state) {
    const miCamera* camera = state->camera;
    if (!camera || !state->tex_list) return;
    const double u = (static_cast<double>(state->raster_x) + 0.5) / camera->x_resolution;
    const double v = (static_cast<double>(state->raster_y) + 0.5) / camera->y_resolution;
    *state->tex_list = {static_cast<miScalar>(u), static_cast<miScalar>(v), 0};
}

miBoolean shadeWith(miColor* result, const Helper& in, void (*prepareTexture)(miState*)) {
    miState* state = in.state();
    if (state->type != miRAY_EYE) return miFALSE;
    Vexabase* record = requireVexabase(state, "vexa_shadingengine(): Internal state error.");
    if (!record) return miFALSE;
    prepareShading(state, *record, EngineRays::kEyeOnly);
    prepareTexture(state);
    record->surfaceMark = 0;

    *result = in.call(&PassThroughEngineParameters::color);
    result->a = in(&PassThroughEngineParameters::alpha);
    return miTRUE;
}

miBoolean simpleEngine(miColor* result, const Helper& in) {
    return shadeWith(result, in, [](miState*) {});
}

miBoolean renderTargetEngine(miColor* result, const Helper& in) { return shadeWith(result, in, useScreenAsTexture); }

}  // namespace

LUMO_EXPORT_ENGINE(lumoVexaSimpleShadingEngine, simpleEngine, miColor, PassThroughEngineParameters)
LUMO_EXPORT_ENGINE(lumoVexaRenderTargetShadingEngine, renderTargetEngine, miColor, PassThroughEngineParameters)

}  // namespace lumo
