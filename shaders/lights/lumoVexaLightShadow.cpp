#include "shaders/lights/lumoVexaLightShadow.h"

#include <algorithm>
#include <cmath>

#include "SDK/framework/double_vector.h"
#include "SDK/passes/frame_buffers.h"

#include "shaders/lights/light_samples.h"
#include "shaders/lights/lumoVexaLightShape.h"

namespace lumo {
namespace {

/* Whatever a soft shadow does to the state's ray is undone. */
class RayScope {
public:
    explicit RayScope(miState* state) : state_(state), org_(state->org), dir_(state->dir), dist_(state->dist) {}
    ~RayScope() {
        state_->org = org_;
        state_->dir = dir_;
        state_->dist = dist_;
    }

    RayScope(const RayScope&) = delete;
    RayScope& operator=(const RayScope&) = delete;

private:
    miState* const state_;
    const miVector org_, dir_;
    const double dist_;
};

/* A ray from there to the state's point. From a place that is nowhere the ray stays as it is. */
void aimFrom(const DoubleVector& place, miState* state) {
    const DoubleVector way = DoubleVector(state->point) - place;
    const double dist = length(way);
    if (!std::isfinite(dist)) return;
    state->org = place.rounded();
    state->dir = normalised(way).rounded();
    state->dist = dist;
}

/* The light's disc, and shadow rays from it. */
class EmitterDisc {
public:
    EmitterDisc(const miState* state, const ShadowEmitter& emitter)
        : kind_(emitter.kind),
          point_(state->point),
          axis_(normalised(DoubleVector(state->dir))),
          center_(state->org),
          distance_(length(point_ - center_)),
          radius_(radiusOf(emitter)) {
        // Two axes at right angles to the ray; the coordinate axis that the ray follows least gives the first.
        const double x = std::fabs(axis_.x), y = std::fabs(axis_.y), z = std::fabs(axis_.z);
        const DoubleVector least = x <= y && x <= z ? DoubleVector(1, 0, 0)
                                   : y <= z         ? DoubleVector(0, 1, 0)
                                                    : DoubleVector(0, 0, 1);
        u_ = normalised(cross(axis_, least));
        v_ = cross(axis_, u_);
    }

    /* The ray from a point of the disc, given in a disc of radius 1. */
    void aim(miState* state, const DiscPoint& at) const {
        const DoubleVector offset = (u_ * at.x + v_ * at.y) * radius_;
        if (kind_ == ShadowEmitter::kAngle) {
            // A distant light's way has a direction only. What length it has stays.
            const DoubleVector dir = normalised(axis_ + offset);
            state->dir = dir.rounded();
            state->org = (point_ - dir * distance_).rounded();
            return;
        }
        aimFrom(center_ + offset, state);
    }

private:
    /* For angles that at distance 1. */
    static double radiusOf(const ShadowEmitter& emitter) {
        constexpr double kWidest = 1.55;  // half of it; just below a right angle
        const double size = static_cast<double>(emitter.size);
        return emitter.kind == ShadowEmitter::kAngle ? std::tan(std::min(size / 2, kWidest)) : size;
    }

    const ShadowEmitter::Kind kind_;
    const DoubleVector point_, axis_, center_;
    const double distance_, radius_;
    DoubleVector u_, v_;
};

}  // namespace

bool isSoft(const ShadowEmitter& emitter, miState* state) {
    if (!emitter.shape && !(emitter.size > 0 && std::isfinite(emitter.size))) return false;
    miInteger gathering = 0;
    return !mi_query(miQ_FINALGATHER_STATE, state, miNULLTAG, &gathering) || gathering == 0;
}

Transmission traceSoftShadow(miUint count, FrameBufferInfo* entries, miState* state, const ShadowEmitter& emitter,
                             miUint rays) {
    const RayScope scope(state);
    const EmitterDisc disc(state, emitter);
    const LightSamples samples(state, rays);
    Transmission sum{kBlack, false};
    for (miUint i = 0; i < rays; ++i) {
        if (emitter.shape)
            aimFrom((*emitter.shape)[samples[i]], state);
        else
            disc.aim(state, toDisc(samples[i]));
        miColor through;
        if (!traceShadowAccumulate(count, entries, &through, state)) continue;
        sum.color = sum.color + through;
        sum.isLit = true;
    }
    // Divided, so that a point with nothing in the way of any ray has exactly the full light.
    sum.color = sum.color / static_cast<miScalar>(rays);
    return sum;
}

}  // namespace lumo
