/* Light that media scatter once: from the lights into the ray. */
#pragma once

#include "SDK/framework/vexabase.h"
#include "SDK/surface/surface_point.h"
#include "shaders/volumes/scatter_path.h"

namespace lumo {

/* Share of the light that is scattered into a unit of solid angle; `cosine` is that between the directions in which light
 * travels before and after (Henyey and Greenstein 1941). Its integral over all directions is 1. `g`, -1 to 1 without the
 * ends, is the mean cosine: above 0 forward, below backward, 0 evenly. */
miScalar henyeyGreenstein(miScalar cosine, miScalar g);

/* While it lives lights may be asked anywhere on the ray, and nothing is known of what the ray hit. Then the state and
 * the record's light data are as before. */
class MediumLights {
public:
    /* Without `throughVolume` light comes through nothing on its way. */
    MediumLights(const MediumCall& call, Vexabase& record, const PassWriter& passes, bool throughVolume);
    ~MediumLights();

    MediumLights(const MediumLights&) = delete;
    MediumLights& operator=(const MediumLights&) = delete;

    /* Light that is scattered at the point, and reaches the eye. Each light is added to the passes. */
    miColor scatter(const ScatterPoint& point);

private:
    miColor scatterFrom(miTag light, const ScatterPoint& point);
    miScalar strength(const ScatterPoint& point, const miVector& direction) const;
    void addToPasses(const miColor& term) const;

    const MediumCall& call_;
    miState* const state_;
    Vexabase& record_;
    const PassWriter& passes_;
    const LightData lightBefore_;
    const miVector point_, normal_, geometric_;
    const miScalar dotNd_;
    const miTag instance_, volume_, refractionVolume_;
    miRc_intersection* const hit_;
    miInteger withoutShadows_ = 0;
    miUint terms_ = 0;
    int lightCount_ = 0;
    miTag* lights_ = nullptr;
};

}  // namespace lumo
