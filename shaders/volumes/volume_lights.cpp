#include "shaders/volumes/volume_lights.h"

#include "SDK/surface/surface_lights.h"

#include <cmath>
#include <numbers>

namespace lumo {

miScalar henyeyGreenstein(miScalar cosine, miScalar g) {
    constexpr miScalar kSphere = 4 * std::numbers::pi_v<miScalar>;
    const miScalar k = 1 + g * g - 2 * g * cosine;
    return (1 - g * g) / (kSphere * k * std::sqrt(k));
}

MediumLights::MediumLights(const MediumCall& call, Vexabase& record, const PassWriter& passes, bool throughVolume)
    : call_(call),
      state_(call.in.state()),
      record_(record),
      passes_(passes),
      lightBefore_(record.light),
      point_(state_->point),
      normal_(state_->normal),
      geometric_(state_->normal_geom),
      dotNd_(state_->dot_nd),
      instance_(state_->instance),
      volume_(state_->volume),
      refractionVolume_(state_->refraction_volume),
      hit_(state_->pri) {
    CompositionState composition;
    bc_construct(&composition, record.compositionMode, state_);
    withoutShadows_ = !composition.perSample;
    terms_ = composition.perLight ? composition.mask : 0;
    bc_destruct(&composition);

    // Without a hit no light counts as behind a surface, and all lights of the scene are asked.
    state_->pri = nullptr;
    state_->instance = miNULLTAG;
    state_->volume = throughVolume ? volume_ : miNULLTAG;
    state_->refraction_volume = volume_;
    state_->normal = state_->dir;
    mi_vector_neg(&state_->normal);
    state_->normal_geom = state_->normal;
    state_->dot_nd = -1;
    if (terms_ & (kTermDirect | kTermDirectNoShadow)) mi_instance_lightlist(&lightCount_, &lights_, state_);
}

MediumLights::~MediumLights() {
    state_->point = point_;
    state_->normal = normal_;
    state_->normal_geom = geometric_;
    state_->dot_nd = dotNd_;
    state_->instance = instance_;
    state_->volume = volume_;
    state_->refraction_volume = refractionVolume_;
    state_->pri = hit_;
    record_.light = lightBefore_;
}

miColor MediumLights::scatter(const ScatterPoint& point) {
    miColor sum = kBlack;
    if (!lights_) return sum;
    state_->point = call_.internal.at(point.t).rounded();
    for (int i = 0; i < lightCount_; ++i)
        if (lights_[i] != miNULLTAG) sum = sum + scatterFrom(lights_[i], point);
    return sum;
}

miColor MediumLights::scatterFrom(miTag light, const ScatterPoint& point) {
    LightData& data = record_.light;
    data = LightData{};
    data.withoutSampleTerms = withoutShadows_;
    LitSums sums;
    miColor color;
    miVector direction;
    miScalar cosine = 0;
    int samples = 0;
    passes_.beginLight();
    while (mi_sample_light(&color, &direction, &cosine, state_, light, &samples)) {
        passes_.takeForeignLight(color, light);
        const miColor term = point.weight * strength(point, direction);
        sums.add(term, color, data.color);
        addToPasses(term);
    }
    passes_.endLight(samples);
    if (samples <= 0) return kBlack;
    return sums.color[terms_ & kTermDirect ? 0 : 1] / static_cast<miScalar>(samples);
}

/* What the coefficient of scattering is times, to get radiance from a light's color. To lights surfaces answer with
 * color x cosine, which makes a color c an irradiance of pi c. Ambient light comes from everywhere. */
miScalar MediumLights::strength(const ScatterPoint& point, const miVector& direction) const {
    const LightData& data = record_.light;
    if (data.isAmbient) return 1;
    if (!data.emitsDiffuse) return 0;
    const miScalar phase =
        std::numbers::pi_v<miScalar> * henyeyGreenstein(mi_vector_dot(&direction, &state_->dir), point.meanCosine);
    if (!data.corners) return phase;
    // As on a surface that faces the light.
    return phase * std::fmax(0.0f, arealight_lambertian_reflect(&state_->point, &direction, data.corners));
}

void MediumLights::addToPasses(const miColor& term) const {
    for (const PassType type : {kPassScatter, kPassShadow, kPassBeauty, kPassBeautyNoShadow})
        passes_.addLit(type, term);
    passes_.addLitLuminance(kPassShadowLuminance, term);
}

}  // namespace lumo
