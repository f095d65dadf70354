/* The weight with which secondary rays that start here count in the pixel. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/framework/renderer_access.h"

namespace lumo {

/* Changes of the weight while it lives; afterwards the four values are as before. */
class WeightScope {
public:
    explicit WeightScope(Vexabase& record) : weight_(record.contributionWeight), before_(weight_) {}
    ~WeightScope() { weight_ = before_; }

    WeightScope(const WeightScope&) = delete;
    WeightScope& operator=(const WeightScope&) = delete;

    /* By a surface's share of the light, red, green and blue. Glow makes what is seen on the surface brighter than it
     * is, so it raises the weight too; it never lowers it. */
    void multiply(const miColor& share, miScalar glowIntensity) const {
        const miScalar alpha = weight_.a;
        weight_ = weight_ * share;
        weight_.a = alpha;
        if (glowIntensity > 1) scaleRgb(weight_, glowIntensity);
    }

private:
    miColor& weight_;
    const miColor before_;
};

}  // namespace lumo
