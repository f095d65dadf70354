/* builtin_bsdf_architectural: the architectural material without its extras. */
#include "lights/light_list.h"
#include "lobes/facets.h"
#include "lobes/fresnel.h"
#include "lobes/oren_nayar.h"
#include "module/export.h"
#include "rays/gathered_light.h"
#include "rays/hit_scope.h"
#include "rays/transmission.h"

namespace materials {

namespace {

struct ArchitecturalBsdf {
    miColor diffuse_refl;
    miScalar diffuse_refl_scalar, diffuse_dev;
    miColor specular_refl;
    miScalar specular_refl_scalar, refl_gloss;
    miBoolean metal_material;
    miColor specular_trans;
    miScalar specular_trans_scalar, trans_gloss;
    miColor diffuse_trans;
    miScalar diffuse_trans_scalar, anisotropy, anisotropy_rotation;
    miInteger mode;
    LightArray lights;
};

constexpr int kGlossyRays = 8;

/* Shares of light of each kind; each takes what those before leave, by the largest channel. */
struct Shares {
    miColor mirrored, through, matt, mattThrough;
};

/* Metals mirror as much from all sides, others by Schlick's curve from 4 percent on. */
Shares sharesOf(const Parameters& in, const ArchitecturalBsdf& p, miScalar cosine) {
    const auto share = [&](const miColor& color, const miScalar& factor) {
        return in.reflectance(color) * in.within(factor, 0, 1000);
    };
    const auto left = [](const miColor& taken) { return std::max(1 - largest(taken), 0.0f); };
    Shares shares;
    shares.mirrored = share(p.specular_refl, p.specular_refl_scalar);
    if (!in.isOn(p.metal_material)) shares.mirrored = shares.mirrored * angleCurve(cosine, .04f, 1, 5);
    shares.through = share(p.specular_trans, p.specular_trans_scalar) * left(shares.mirrored);
    shares.mattThrough = share(p.diffuse_trans, p.diffuse_trans_scalar) * left(shares.mirrored + shares.through);
    shares.matt =
        share(p.diffuse_refl, p.diffuse_refl_scalar) * left(shares.mirrored + shares.through + shares.mattThrough);
    return shares;
}

struct Light {
    miColor matt = {0, 0, 0, 0}, behind = {0, 0, 0, 0}, highlights = {0, 0, 0, 0};

    void add(const Light& more, miScalar factor) {
        matt += more.matt * factor;
        behind += more.behind * factor;
        highlights += more.highlights * factor;
    }
};

/* Wider along one direction by the anisotropy: 0 is round, 1 a streak. */
Facets lobeOf(const miState* state, const Parameters& in, const ArchitecturalBsdf& p, miScalar gloss) {
    const miScalar width = widthOfGloss(gloss), stretch = std::sqrt(1 - .99f * in.share(p.anisotropy));
    const miScalar angle = 2 * kPi * finite(in(p.anisotropy_rotation));
    Frame frame = state->derivs ? frameAround(state->normal, state->derivs[0]) : frameAround(state->normal);
    frame = frameAround(state->normal, frame.u * std::cos(angle) + frame.v * std::sin(angle));
    return {frame, std::min(width / stretch, 1.0f), width * stretch};
}

Light lightOf(miState* state, const LightList& lights, const Facets& lobe, miScalar roughness, bool isLitFromBehind) {
    const HitScope hit(state);
    if (isLitFromBehind) state->pri = nullptr;
    const miVector view = -state->dir, normal = state->normal;
    const OrenNayar surface(roughness, normal, view);
    return sumOfLights<Light>(state, lights, [&](Light& sum, const LightSample& sample) {
        const miScalar cosine = dot(normal, sample.dir);
        if (cosine <= 0) {
            sum.behind += sample.color * -cosine;
            return;
        }
        sum.matt += sample.color * surface(sample.dir);
        sum.highlights += sample.color * lobe.highlight(view, sample.dir);
    });
}

/* Light that is gathered on the other side. */
miColor gatheredBehind(miState* state) {
    miColor color = kBlack;
    return mi_compute_avg_radiance(&color, state, 'b', nullptr) ? color : kBlack;
}

bool architecturalBsdf(miColor& result, miState* state, ArchitecturalBsdf& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const Shares shares = sharesOf(in, p, clamped(std::fabs(dot(state->normal, state->dir)), 0, 1));
    const miScalar gloss = in.share(p.refl_gloss), transGloss = in.share(p.trans_gloss);
    const Facets lobe = lobeOf(state, in, p, gloss);
    const LightList lights(state, p.mode, p.lights);
    const Light light = lightOf(state, lights, lobe, in.within(p.diffuse_dev, 0, 10), !isBlack(shares.mattThrough));
    result = shares.matt * light.matt + shares.mattThrough * light.behind + shares.mirrored * light.highlights;
    if (!isBlack(shares.matt)) result += shares.matt * gatheredLight(state);
    if (!isBlack(shares.mattThrough)) result += shares.mattThrough * gatheredBehind(state);
    if (!isBlack(shares.mirrored)) {
        Reflections rays;
        rays.limits.samples = gloss < 1 ? kGlossyRays : 0;
        result += rays.traced(state, state->normal, gloss < 1 ? &lobe : nullptr, shares.mirrored) * shares.mirrored;
    }
    if (!isBlack(shares.through)) {
        Transmission rays;
        rays.isSheet = true;
        rays.limits.samples = transGloss < 1 ? kGlossyRays : 0;
        const Facets through = lobeOf(state, in, p, transGloss);
        result += rays.traced(state, state->normal, transGloss < 1 ? &through : nullptr, shares.through).color *
                  shares.through;
    }
    return true;
}

}  // namespace

MATERIALS_SHADER(builtin_bsdf_architectural, miColor, ArchitecturalBsdf, architecturalBsdf)

}  // namespace materials
