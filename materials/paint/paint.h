/* Metallic paint: pigment, flakes and the highlights of a clear coat. */
#pragma once

#include "lights/light_list.h"
#include "module/term.h"
#include "paint/flakes.h"

namespace materials {

/* Values of the parameters that paints share. */
struct PaintSettings {
    miColor ambient, base, edge, lit;
    miScalar edgeBias, litBias;
    miScalar diffuseWeight, diffuseBias, irradianceWeight;

    struct Highlight {
        miColor color; /* with its weight */
        miScalar exponent;
    } highlight, second;
    bool glazed;

    miColor flakeColor; /* with its weight */
    miScalar flakeReflect, flakeExponent, flakeDecay;

    template <class P>
    PaintSettings(const Parameters& in, const P& p)
        : ambient(in.color(p.ambient)),
          base(in.reflectance(p.base_color)),
          edge(in.reflectance(p.edge_color)),
          lit(in.reflectance(p.lit_color)),
          edgeBias(in.within(p.edge_color_bias, 0, 1000)),
          litBias(in.within(p.lit_color_bias, 0, 1000)),
          diffuseWeight(in.within(p.diffuse_weight, 0, 1000)),
          diffuseBias(in.within(p.diffuse_bias, 0, 1000)),
          irradianceWeight(in.within(p.irradiance_weight, 0, 1000)),
          highlight{in.reflectance(p.spec) * in.within(p.spec_weight, 0, 1000), in.within(p.spec_exp, 0, 1e6f)},
          second{in.reflectance(p.spec_sec) * in.within(p.spec_sec_weight, 0, 1000),
                 in.within(p.spec_sec_exp, 0, 1e6f)},
          glazed(in.isOn(p.spec_glazing)),
          flakeColor(in.reflectance(p.flake_color) * in.within(p.flake_weight, 0, 1000)),
          flakeReflect(in.within(p.flake_reflect, 0, 1000)),
          flakeExponent(in.within(p.flake_exp, 0, 1e6f)),
          flakeDecay(in.within(p.flake_decay, 0, miHUGE_SCALAR)) {}

    bool hasFlakes() const { return !isBlack(flakeColor); }
};

/* Parts of a metallic paint; the order is that of the members of mi_metallic_paint_x. */
struct PaintTerms {
    Term ambient, diffuse, irradiance, spec, flake, flakeReflection;

    miColor sum() const;
    void scale(miScalar factor); /* results and levels */
};

/* Light on the bare surface, of lights and from around, for dirt. */
struct PaintShading {
    PaintTerms terms;
    miColor lambert;
};

/*
 * flakes: what is at the hit
 * wantsLambert: whether the light on the bare surface will be asked for, gathered light among it
 */
PaintShading shadePaint(miState* state, const PaintSettings& paint, const Flakes::Look& flakes, const LightList& lights,
                        bool wantsLambert);

}  // namespace materials
