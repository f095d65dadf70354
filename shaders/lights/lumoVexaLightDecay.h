/* How the light of a position in space falls with the distance, in fog, and by direction. */
#pragma once

#include "shaders/lights/lumoVexaLight.h"

namespace lumo {

/* `intensity` after the way `dist`: divided by it `rate` times, for rates 1 to 3. Within distance 1 there is no decay,
 * so that nothing burns out next to the light. */
miScalar decayed(miScalar intensity, miInteger rate, double dist);

/* What the fog around the light gives back along the ray that the state's parent travelled: 0 to 1 within the radius.
 */
miScalar fogFactor(const miState* state, miScalar radius, miInteger type, miInteger decayRate);

/* Of a light with `decayRate` and `FogParameters fog`. */
template <class P>
miScalar intensityAtPoint(const LightCall& call, const ShaderHelper<P>& in, miScalar intensity) {
    const auto fog = [&in](auto member) { return in(&P::fog, member); };
    const miInteger rate = in(&P::decayRate);
    if (call.record().evaluatesFog)
        intensity *= fogFactor(call.state(), fog(&FogParameters::fogRadius), fog(&FogParameters::fogType), rate) *
                     fog(&FogParameters::fogIntensity);
    else
        intensity = decayed(intensity, rate, call.state()->dist);
    if (const miTag profile = fog(&FogParameters::lightProfile))
        intensity *= mi_lightprofile_sample(call.state(), profile, miTRUE);
    return intensity;
}

}  // namespace lumo
