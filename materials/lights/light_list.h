/* The lights of a shader's `mode` and `lights`, and the samples of each. */
#pragma once

#include "module/parameters.h"

#include "math/vector.h"

namespace materials {

/* An `array light` in a parameter block. */
struct LightArray {
    miInteger start, count;
    miTag first[1];
};

/*
 * Light instances to go through.
 *
 * mode 0 (and numbers without a meaning of their own): the list as it stands
 *      1: those lights of the scene that are in the list
 *      2: all lights of the scene but those
 *      4: the lights of the instance that is shaded, whatever the list says
 */
class LightList {
public:
    /* None. */
    LightList() = default;

    LightList(miState* state, const miInteger& mode, const LightArray& array);

    /* The list as it stands. */
    LightList(miState* state, const LightArray& array);

    /* Those of the instance that is shaded. */
    explicit LightList(miState* state);

    const miTag* begin() const { return first_; }
    const miTag* end() const { return first_ + count_; }

private:
    const miTag* first_ = nullptr;
    int count_ = 0;
};

struct LightSample {
    miColor color;
    miVector dir; /* towards the light */
    miTag light;
};

/*
 * Sum over all lights of the mean over each one's samples. `take(Sum&, const LightSample&)` adds a sample; a Sum begins
 * as zero and has add(const Sum&, factor). Light from below state->normal does not come, unless state->pri is null.
 */
template <class Sum, class Take>
Sum sumOfLights(miState* state, const LightList& lights, const Take& take) {
    Sum total{};
    for (const miTag light : lights) {
        Sum sum{};
        LightSample sample{kBlack, {0, 0, 0}, light};
        miScalar cosine = 0;
        int samples = 0;
        while (mi_sample_light(&sample.color, &sample.dir, &cosine, state, light, &samples)) take(sum, sample);
        if (samples > 0) total.add(sum, 1 / static_cast<miScalar>(samples));
    }
    return total;
}

/* Has the light a shape that rays see? */
bool isVisibleShape(miState* state, miTag light);

}  // namespace materials
