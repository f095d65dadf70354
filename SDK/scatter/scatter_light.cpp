#include "SDK/scatter/scatter_light.h"

#include "SDK/color/color.h"

#include <cmath>

namespace lumo {
namespace {

/* The mode of the render says whether its lights cast shadows. */
bool castsShadows(miState* state, const Vexabase& record) {
    CompositionState composition;
    bc_construct(&composition, record.compositionMode, state);
    const bool casts = composition.perSample != 0;
    bc_destruct(&composition);
    return casts;
}

bool isFinite(const miColor& c) { return std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b); }

}  // namespace

EntryScope::EntryScope(miState* state, Vexabase& record)
    : state_(state),
      record_(record),
      closed_(publishedFrameBuffers(state).entries),
      hit_(state),
      geometric_(state->normal_geom),
      dotNd_(state->dot_nd),
      before_(record),
      withoutShadows_(!castsShadows(state, record)) {}

EntryScope::~EntryScope() {
    state_->normal_geom = geometric_;
    state_->dot_nd = dotNd_;
    record_ = before_;
}

miColor EntryScope::lightAt(const EntryPoint& entry) const {
    state_->point = entry.point;
    state_->normal = entry.normal;
    state_->normal_geom = entry.geometric;
    return lightHere();
}

miColor EntryScope::lightHere() const {
    int count = 0;
    miTag* lights = nullptr;
    mi_instance_lightlist(&count, &lights, state_);
    miColor sum = kBlack;
    for (int i = 0; lights && i < count; ++i)
        if (lights[i] != miNULLTAG) sum = sum + lightFrom(lights[i]);
    return sum;
}

miColor EntryScope::lightFrom(miTag light) const {
    LightData& data = record_.light;
    data = LightData{};
    data.withoutSampleTerms = withoutShadows_;
    miColor color, sum = kBlack;
    miVector direction;
    miScalar cosine = 0;
    int samples = 0;
    while (mi_sample_light(&color, &direction, &cosine, state_, light, &samples)) {
        if (data.isAmbient || !data.emitsDiffuse) continue;
        if (data.corners) cosine = arealight_lambertian_reflect(&state_->point, &state_->normal, data.corners);
        if (cosine > 0 && isFinite(color * cosine)) sum = sum + color * cosine;
    }
    return samples > 0 ? sum / static_cast<miScalar>(samples) : kBlack;
}

}  // namespace lumo
