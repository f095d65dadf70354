/* What the illumination models have in common: light from all around, Lambert's light, and highlights. */
#pragma once

#include "lights/light_list.h"
#include "module/export.h"
#include "rays/gathered_light.h"
#include "rays/hit_scope.h"

namespace materials {

/* The first parameters of every model. */
struct BaseColors {
    miColor ambience, ambient, diffuse;
};

/* The last ones. */
struct ModeAndLights {
    miInteger mode;
    LightArray lights;
};

/* Light on a surface: what falls on it, weighted by a cosine, and what highlights of all lights come to. */
struct Illumination {
    miColor falling = {0, 0, 0, 0}, highlights = {0, 0, 0, 0};

    void add(const Illumination& more, miScalar factor) {
        falling += more.falling * factor;
        highlights += more.highlights * factor;
    }
};

/*
 * ambience * ambient + diffuse * (light with Lambert's cosine + gathered light) + specular * highlights.
 *
 * highlight(dir, cosine): share of the light from `dir` (unit length, towards the light) that comes to the viewer by the
 * highlight, as a color. state->normal is of unit length while it is called; the cosine is that of light and normal.
 */
template <class Highlight>
bool illuminate(miColor& result, miState* state, const BaseColors& p, const miColor& specular, const LightList& lights,
                const Highlight& highlight) {
    const Parameters in(state);
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const miVector normal = state->normal;
    const bool shines = !isBlack(specular);
    const auto light = sumOfLights<Illumination>(state, lights, [&](Illumination& sum, const LightSample& sample) {
        const miScalar cosine = dot(normal, sample.dir);
        if (!(cosine > 0)) return;
        sum.falling += sample.color * cosine;
        if (shines) sum.highlights += sample.color * highlight(sample.dir, cosine);
    });
    const miColor diffuse = in.reflectance(p.diffuse);
    const miColor around = isBlack(diffuse) ? kBlack : gatheredLight(state);
    result =
        in.color(p.ambience) * in.color(p.ambient) + diffuse * (light.falling + around) + specular * light.highlights;
    return true;
}

}  // namespace materials
