#include "calls.h"

#include <algorithm>

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

Evaluation::Connection& Evaluation::connect(const void* parameter, std::function<void*(miState*)> shader) {
    Connection& connection = connections_[parameter];
    connection.shader = std::move(shader);
    return connection;
}

void* Evaluation::eval(miState* state, void* parameter, bool fresh) {
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

// Each call goes to its hook, or to the evaluation.
#define FORWARD(Result, name, parameters, target) \
    Result mi_##name parameters { return renderer().target; }

FORWARD(void*, phen_eval, (miState * s, void* parameter), evaluation.eval(s, parameter, false))
FORWARD(void*, phen_call, (miState * s, void* parameter), evaluation.eval(s, parameter, true))

FORWARD(miBoolean, trace_eye, (miColor * c, miState* s, const miVector* o, const miVector* d), tracing.eye(c, s, o, d))
FORWARD(miBoolean, trace_reflection, (miColor * c, miState* s, const miVector* d), tracing.reflection(c, s, d))
FORWARD(miBoolean, trace_refraction, (miColor * c, miState* s, const miVector* d), tracing.refraction(c, s, d))
FORWARD(miBoolean, trace_environment, (miColor * c, miState* s, const miVector* d), tracing.environment(c, s, d))
FORWARD(miBoolean, trace_transparent, (miColor * c, miState* s), tracing.transparent(c, s))
FORWARD(miBoolean, trace_continue, (miColor * c, miState* s), tracing.continued(c, s))
FORWARD(miBoolean, trace_shadow, (miColor * c, miState* s), tracing.shadow(c, s))
FORWARD(miBoolean, trace_shadow_seg, (miColor * c, miState* s), tracing.shadowSegment(c, s))
FORWARD(miBoolean, trace_probe, (miState * s, const miVector* d, const miVector* o), tracing.probe(s, d, o))
FORWARD(void, opacity_set, (miState * s, const miColor* opacity), tracing.opacitySet(s, opacity))

FORWARD(miBoolean, sample_light, (miColor * c, miVector* d, miScalar* cosine, miState* s, miTag light, int* n),
        lighting.sample(c, d, cosine, s, light, n))
FORWARD(miBoolean, instance_lightlist, (int* n, miTag** list, miState* s), lighting.instanceLights(n, list, s))
FORWARD(miBoolean, exclusive_lightlist, (int* n, miTag** list, miState* s), lighting.exclusiveLights(n, list, s))
FORWARD(miScalar, lightprofile_sample, (miState * s, miTag profile, miBoolean r), lighting.profile(s, profile, r))
FORWARD(miBoolean, compute_avg_radiance, (miColor * c, miState* s, miUchar side, miIrrad_options* options),
        lighting.averageRadiance(c, s, side, options))
FORWARD(miScalar, ambient_occlusion, (miState * s, miAmboccl_options* o, miVector* bent),
        lighting.occlusion(s, o, bent))
FORWARD(miBoolean, lookup_color_texture, (miColor * c, miState* s, miTag t, miVector* at),
        lighting.colorTexture(c, s, t, at))

miBoolean mi_sample(double* point, int* instance, miState*, miUshort dimensions, const miUint* count) {
    if (count && static_cast<miUint>(*instance) >= *count) return miFALSE;
    std::fill_n(point, dimensions, (*instance + 0.5) / (count ? *count : 1));
    ++*instance;
    return miTRUE;
}
