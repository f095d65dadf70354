/* Photons that meet an architectural material. */
#pragma once

#include "architectural/mia_parameters.h"

namespace materials {

/*
 * Leaves the photon where there is diffuse light to be seen, and sends it on as the surface shares light out. Without
 * refractive caustics light that comes straight from a lamp does not go through: the transparent shadow has let it pass.
 */
bool scatterPhoton(const MiaCall& call, miColor energy);

}  // namespace materials
