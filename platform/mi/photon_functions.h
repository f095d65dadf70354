/*
 * The functions that photon, photon volume and emitter shaders call, and those that read what photons have left. Energies
 * are flux. The manuals of this interface name all of them; where they leave the arguments to a header that nobody has
 * any more, the signature is known from use, and says so.
 */
#pragma once

#include "codes.h"
#include "state.h"
#include "types.h"

miBEGIN_C

/* From emitter shaders: follows a photon of a light from state->org along state->dir. */
miBoolean mi_photon_light(miColor* energy, miState* state);

/*
 * From photon shaders: follow the photon from state->point. False where it ends there: it has come deep enough, or the
 * surface does not pass on photons.
 */
miBoolean mi_photon_reflection_specular(miColor* energy, miState* state, miVector* dir);
miBoolean mi_photon_reflection_glossy(miColor* energy, miState* state, miVector* dir);
miBoolean mi_photon_reflection_diffuse(miColor* energy, miState* state, miVector* dir);
miBoolean mi_photon_transmission_specular(miColor* energy, miState* state, miVector* dir);
miBoolean mi_photon_transmission_glossy(miColor* energy, miState* state, miVector* dir);
miBoolean mi_photon_transmission_diffuse(miColor* energy, miState* state, miVector* dir);
miBoolean mi_photon_transparent(miColor* energy, miState* state); /* straight on */
miBoolean mi_photon_volume_scattering(miColor* energy, miState* state, miVector* dir);

/* Leaves the energy that arrives in the map that it belongs to, if any: light straight from a light is in none. */
miBoolean mi_store_photon(miColor* energy, miState* state);
miBoolean mi_store_volume_photon(miColor* energy, miState* state); /* known from use */

/*
 * Russian roulette: one of the miPHOTON_ codes of reflection and transmission, or miPHOTON_ABSORB, in proportion to what
 * the colors are on average. The chosen color is divided by how probable it was, so that the photon goes on with its
 * energy times that color. `transp` is the share that is transmitted. Null stands for black.
 */
miRay_type mi_choose_scatter_type(miState* state, miScalar transp, miColor* diffuse, miColor* glossy,
                                  miColor* specular);
/* The order of the four is known from use. */
miRay_type mi_choose_simple_scatter_type(miState* state, miColor* diffuse_reflection, miColor* diffuse_transmission,
                                         miColor* specular_reflection, miColor* specular_transmission);

/* In volumes, all known from use: a distance that falls as exp(-k t), and directions; directionality is from -1 to 1. */
miScalar mi_scattering_pathlength(miState* state, miScalar k);
void mi_scattering_dir_specular(miVector* dir, miState* state); /* straight on */
void mi_scattering_dir_diffuse(miVector* dir, miState* state);
void mi_scattering_dir_directional(miVector* dir, miState* state, miScalar directionality);

/* Flux that photons have scattered in a unit of volume at state->point, several times or after surfaces. */
miBoolean mi_compute_volume_irradiance(miColor* result, miState* state); /* known from use */

miEND_C
