/* lumoVexaShadow: shadow shader of surfaces that light passes through, tinted, less at grazing angles, and, where the
 * scene traces shadows in segments, by the length of the way inside.
 * lumoVexaFastShadow: shadow shader of opaque surfaces.
 *
 * Both attenuate the light of each pass, too, unless the object's pass mask leaves the pass out. That is why opaque
 * surfaces need one: an occluder without a shadow shader darkens all passes alike.
 *
 *   material "glass" "glass_engine" () shadow "lumoVexaShadow" ( "transparency" .8 .9 .8 ) end material
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface_shadow.h"

namespace lumo {

struct ShadowShaderParameters {
    miColor transparency;
    miScalar shadowAttenuation;
    miScalar transparencyDepth;
};

namespace {

struct ShadowShaderSource {
    const ShaderHelper<ShadowShaderParameters>& in;

    miColor transparency() const { return in(&ShadowShaderParameters::transparency); }
    miScalar shadowAttenuation() const { return in(&ShadowShaderParameters::shadowAttenuation); }
    miScalar transparencyDepth() const { return in(&ShadowShaderParameters::transparencyDepth); }
};

/* A caller that hands over an argument continues the segmented ray itself. */
miBoolean letThrough(miColor* result, const ShaderHelper<ShadowShaderParameters>& in, const void* argument) {
    miState* state = in.state();
    const ShadowShaderSource source{in};
    if (Vexabase* record = vexabaseOf(state)) return passShadow(result, state, *record, source, !argument);
    // Only the footprint of connected textures would be kept there.
    Vexabase spare;
    return passShadow(result, state, spare, source, !argument);
}

miBoolean block(miColor* result, const ShaderHelper<NoParameters>& in, const void*) {
    const FrameBuffers buffers = currentFrameBuffers(in.state());
    *result = BLACK;
    return applyShadowTransparencyToFrameBuffers(buffers.count(), buffers.entries.data(), &BLACK, miFALSE, in.state());
}

}  // namespace

LUMO_EXPORT_SHADOW_SHADER(lumoVexaShadow, letThrough, ShadowShaderParameters)
LUMO_EXPORT_SHADOW_SHADER(lumoVexaFastShadow, block, NoParameters)

}  // namespace lumo
