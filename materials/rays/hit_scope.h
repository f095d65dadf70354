/* The surface that is shaded, put back after rays and bumps. */
#pragma once

#include "shader.h"

namespace materials {

/* What trace calls hand back, and what shaders change for a while, is as before at the end of the scope. */
class HitScope {
public:
    explicit HitScope(miState* state)
        : state_(state),
          point_(state->point),
          normal_(state->normal),
          normal_geom_(state->normal_geom),
          motion_(state->motion),
          dist_(state->dist),
          dot_nd_(state->dot_nd),
          importance_(state->importance),
          label_(state->label),
          pri_(state->pri),
          refraction_volume_(state->refraction_volume),
          environment_(state->environment) {}

    ~HitScope() {
        state_->point = point_;
        state_->normal = normal_;
        state_->normal_geom = normal_geom_;
        state_->motion = motion_;
        state_->dist = dist_;
        state_->dot_nd = dot_nd_;
        state_->importance = importance_;
        state_->label = label_;
        state_->pri = pri_;
        state_->refraction_volume = refraction_volume_;
        state_->environment = environment_;
    }

    HitScope(const HitScope&) = delete;
    HitScope& operator=(const HitScope&) = delete;

private:
    miState* state_;
    miVector point_, normal_, normal_geom_, motion_;
    double dist_;
    miScalar dot_nd_, importance_;
    miUint label_;
    miRc_intersection* pri_;
    miTag refraction_volume_, environment_;
};

}  // namespace materials
