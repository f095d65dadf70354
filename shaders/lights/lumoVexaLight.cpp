#include "shaders/lights/lumoVexaLight.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "SDK/framework/renderer_access.h"

namespace lumo {

LightCall::LightCall(miState* state, const char* warning) : state_(state), record_(requireVexabase(state, warning)) {
    if (!record_) return;
    const FrameBuffers buffers = currentFrameBuffers(state);
    count_ = buffers.count();
    entries_ = buffers.entries.data();
    if (count_ > 0) setupLightContributions(count_, entries_, state);
}

bool LightCall::wantsShadow() const {
    const bool counts = largestChannel(record_->contributionWeight) > record_->lowerImportance;
    const bool inShadowRay = state_->parent && state_->parent->type == miRAY_SHADOW;
    return counts && !record_->light.withoutSampleTerms && !inShadowRay;
}

bool LightCall::tracesShadow(miInteger shadowRays, miInteger rayDepthLimit) const {
    return state_->options->trace && shadowRays != 0 &&
           rayLevel(state_) < std::min(rayDepthLimit, record_->shadowDepthLimit);
}

/* Between the two importance thresholds the number of rays rises from 1 to all. */
miUint LightCall::rayCount(miInteger shadowRays) const {
    constexpr double kMost = 65536;  // so that a slip of the keyboard does not stop the render
    const double m = static_cast<double>(largestChannel(record_->contributionWeight));
    const double aboveLower = m - static_cast<double>(record_->lowerImportance);
    const double aboveUpper = m - static_cast<double>(record_->upperImportance);
    const double rays =
        aboveUpper >= 0 ? shadowRays : (shadowRays * aboveLower - aboveUpper) / (aboveLower - aboveUpper);
    // Comparisons in this order make NaN one ray.
    return rays > 1 ? static_cast<miUint>(std::min(rays, kMost)) : 1;
}

void LightCall::leaveUnshadowed(const miColor& result) const { setLightIrradiance(count_, entries_, &result); }

void LightCall::shadowFromMaps(miColor& result, const miColor& shadowColor) const {
    Transmission t;
    t.isLit = traceShadow(count_, entries_, &t.color, &result, &shadowColor, miTRUE, state_);
    shadow(result, shadowColor, t);
}

void LightCall::shadowFromRays(miColor& result, const miColor& shadowColor, const ShadowEmitter& emitter,
                               miInteger shadowRays) const {
    Transmission t;
    if (isSoft(emitter, state_)) {
        const miUint rays = rayCount(shadowRays);
        traceShadowAccumulateBegin(count_, entries_);
        t = traceSoftShadow(count_, entries_, state_, emitter, rays);
        traceShadowAccumulateEnd(count_, entries_, rays, &result, &shadowColor);
    } else {
        t.isLit = traceShadow(count_, entries_, &t.color, &result, &shadowColor, miFALSE, state_);
    }
    shadow(result, shadowColor, t);
}

void LightCall::shadow(miColor& result, const miColor& shadowColor, const Transmission& t) const {
    LightData& data = record_->light;
    if (!t.isLit) {
        result = shadowColor;
        data.shadowFraction = 1;
        return;
    }
    const miScalar alpha = result.a;
    result = t.color * result + (1 - t.color) * shadowColor;
    result.a = alpha;
    data.shadowFraction = 1 - (t.color.r + t.color.g + t.color.b) / 3;
}

void LightCall::describe(bool isAmbient, bool emitsDiffuse, bool emitsSpecular) const {
    LightData& data = record_->light;
    data.isAmbient = isAmbient;
    data.emitsDiffuse = emitsDiffuse;
    data.emitsSpecular = emitsSpecular;
    data.corners = nullptr;
}

void LightCall::showEmitter(miColor& result) const {
    result.a = 1;
    record_->lightOutput[0] = BLACK;
    record_->lightOutput[1] = WHITE;
    record_->lightOutput[2] = BLACK;
}

miBoolean giveNothing(const LightCall& call, miColor& result) {
    result = BLACK;
    if (call.isLightRay()) return miFALSE;
    call.showEmitter(result);
    return miTRUE;
}

void LightTexture::place(miState* state, const miVector& coordinate) {
    state_ = state;
    list_ = state->tex_list;
    own_ = list_ ? *list_ : coordinate;
    if (list_)
        *list_ = coordinate;
    else
        state_->tex_list = &own_;
}

LightTexture::~LightTexture() {
    if (!state_) return;
    if (list_) *list_ = own_;
    state_->tex_list = list_;
}

miVector pointInLight(miState* state) {
    miVector point = state->point;
    mi_point_to_light(state, &point, &state->point);
    return point;
}

miVector lightDirection(const LightCall& call) {
    miVector dir = call.state()->dir;
    if (!call.isLightRay()) mi_vector_neg(&dir);
    return dir;
}

miVector sphericalCoordinate(const miVector& p) {
    constexpr miScalar kPi = std::numbers::pi_v<miScalar>;
    const miScalar fromAxis = std::hypot(p.x, p.z);
    // Next to the plane z = 0 the longitude is that of the front, though the angle is defined there: textures have been
    // painted around the seam that this makes.
    const miScalar u = std::fabs(p.z) >= VEXA_EPS ? std::atan2(p.x, p.z) * 0.5f / kPi + 0.5f : 0.5f;
    const miScalar v = fromAxis >= VEXA_EPS ? std::atan(p.y / fromAxis) / kPi + 0.5f : 0.5f;
    return {u, v, p.z};
}

}  // namespace lumo
