/* Shine of skin: two highlights and a faint reflection, all stronger at the edge. */
#pragma once

#include "lights/light_list.h"

namespace materials {

/* Parameters as they stand in the lists of both shaders. */
struct SkinShine {
    miScalar overall_weight, edge_factor;
    miColor primary_spec_color;
    miScalar primary_weight, primary_edge_weight, primary_shinyness;
    miColor secondary_spec_color;
    miScalar secondary_weight, secondary_edge_weight, secondary_shinyness;
    miScalar reflect_weight, reflect_edge_weight, reflect_shinyness;
    miBoolean reflect_environment_only;
    miTag environment;
};

/*
 * Each highlight is color * (weight + edge weight * edge) * (mirrored view . light) ^ shinyness, with
 * edge = (1 - n.v) ^ (1 + edge_factor / 2 + shinyness / 10); the reflection has the weights of its own, and a lobe of the
 * width 1 / (1 + reflect_shinyness). The normal is the state's.
 */
miColor skinShine(miState* state, const SkinShine& parameters, const LightList& lights);

}  // namespace materials
