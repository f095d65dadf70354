#include "calls.h"

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

Evaluation::Connection& Evaluation::connect(const void* parameter, std::function<void*(miState*)> shader)
{
    Connection& connection = connections_[parameter];
    connection.shader = std::move(shader);
    return connection;
}

void* Evaluation::eval(miState* state, void* parameter, bool fresh)
{
    ++(fresh ? calls : evaluations);
    const auto found = connections_.find(parameter);
    if (found == connections_.end()) {
        renderer().violation("evaluation of an address that is no connected parameter");
        return nullptr;
    }
    ++(fresh ? found->second.calls : found->second.evaluations);
    return found->second.shader(state);
}

}  // namespace twin

using twin::renderer;

void* mi_phen_eval(miState* state, void* parameter)
{
    return renderer().evaluation.eval(state, parameter, false);
}

void* mi_phen_call(miState* state, void* parameter)
{
    return renderer().evaluation.eval(state, parameter, true);
}

miBoolean mi_call_shader(miColor* result, miShader_type type, miState* state, miTag shader)
{
    return renderer().tracing.shader(result, type, state, shader, nullptr);
}

miBoolean mi_call_shader_x(miColor* result, miShader_type type, miState* state, miTag shader, void* argument)
{
    return renderer().tracing.shader(result, type, state, shader, argument);
}

miBoolean mi_trace_eye(miColor* result, miState* state, const miVector* origin, const miVector* dir)
{
    return renderer().tracing.eye(result, state, origin, dir);
}

miBoolean mi_trace_reflection(miColor* result, miState* state, const miVector* dir)
{
    return renderer().tracing.reflection(result, state, dir);
}

miBoolean mi_trace_refraction(miColor* result, miState* state, const miVector* dir)
{
    return renderer().tracing.refraction(result, state, dir);
}

miBoolean mi_trace_environment(miColor* result, miState* state, const miVector* dir)
{
    return renderer().tracing.environment(result, state, dir);
}

miBoolean mi_trace_transparent(miColor* result, miState* state)
{
    return renderer().tracing.transparent(result, state);
}

miBoolean mi_trace_continue(miColor* result, miState* state)
{
    return renderer().tracing.continued(result, state);
}

miBoolean mi_trace_shadow(miColor* result, miState* state)
{
    return renderer().tracing.shadow(result, state);
}

miBoolean mi_trace_shadow_seg(miColor* result, miState* state)
{
    return renderer().tracing.shadowSegment(result, state);
}

miBoolean mi_trace_probe(miState* state, const miVector* dir, const miVector* origin)
{
    return renderer().tracing.probe(state, dir, origin);
}

void mi_opacity_set(miState* state, const miColor* opacity)
{
    renderer().tracing.opacitySet(state, opacity);
}

miBoolean mi_opacity_get(miState* state, miColor* opacity)
{
    return renderer().tracing.opacityGet(state, opacity);
}

miBoolean mi_sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state, miTag light, int* samples)
{
    return renderer().lighting.sample(result, dir, dot_nl, state, light, samples);
}

miBoolean mi_instance_lightlist(int* n, miTag** lights, miState* state)
{
    return renderer().lighting.instanceLights(n, lights, state);
}

miBoolean mi_exclusive_lightlist(int* n, miTag** lights, miState* state)
{
    return renderer().lighting.exclusiveLights(n, lights, state);
}

miScalar mi_lightprofile_sample(miState* state, miTag profile, miBoolean relative)
{
    return renderer().lighting.profile(state, profile, relative);
}

miBoolean mi_compute_irradiance(miColor* result, miState* state)
{
    return renderer().lighting.irradiance(result, state);
}

miBoolean mi_compute_avg_radiance(miColor* result, miState* state, miUchar side, miIrrad_options* options)
{
    return renderer().lighting.averageRadiance(result, state, side, options);
}

miScalar mi_ambient_occlusion(miState* state, miAmboccl_options* options, miVector* bent)
{
    return renderer().lighting.occlusion(state, options, bent);
}

miBoolean mi_lookup_color_texture(miColor* result, miState* state, miTag texture, miVector* coordinate)
{
    return renderer().lighting.colorTexture(result, state, texture, coordinate);
}
