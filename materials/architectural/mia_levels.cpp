#include "architectural/mia_levels.h"

#include "lobes/fresnel.h"
#include "rays/transmission.h"

namespace materials {

namespace {

/* At the angle of view, by the law that the material has. */
miScalar reflectivity(const MiaCall& call, miScalar cosine) {
    const auto& [state, p, x, in] = call;
    const bool inside = isInside(state) && !in.isOn(p.thin_walled);
    /* Total reflection inside is left to the rays that would go out. */
    if (inside && in.isOn(p.skip_inside_refl)) return 0;
    const miScalar most = in.share(p.reflectivity);
    if (in.isOn(p.brdf_fresnel)) {
        const miScalar ior = in.within(p.refr_ior, .01f, 100);
        return most * dielectricFresnel(cosine, inside ? 1 / ior : ior);
    }
    return most * angleCurve(cosine, in.share(p.brdf_0_degree_refl), in.share(p.brdf_90_degree_refl),
                             in.within(p.brdf_curve, 0, 1000));
}

miScalar shareOf(const miColor& level) { return std::min(1.0f, largest(level)); }

}  // namespace

miScalar clearShare(const MiaCall& call) {
    const auto& [state, p, x, in] = call;
    return in.isOn(p.refr_translucency) ? 1 - in.share(p.refr_trans_weight) : 1;
}

MiaLevels::MiaLevels(const MiaCall& call, const MiaSurface& surface) {
    const auto& [state, p, x, in] = call;
    const miScalar most = reflectivity(call, surface.cosine());
    const miScalar baseShare = call.hasBaseLayer() ? in.share(x->refl_base) : 0;
    reflection = in.reflectance(p.refl_color) * (most * (1 - baseShare));
    baseReflection = baseShare > 0 ? in.reflectance(x->refl_base_color) * (most * baseShare) : kBlack;
    /* Metals reflect in their own color, and what they swallow does not become diffuse light. */
    const miScalar reflected = shareOf(reflection + baseReflection);
    const miColor color = in.reflectance(p.diffuse);
    if (in.isOn(p.refl_is_metal)) {
        reflection = reflection * color;
        baseReflection = baseReflection * color;
    }
    highlights = in.within(p.hl_vs_refl_balance, 0, 1000);

    const miScalar left = in.isOn(p.brdf_conserve_energy) ? 1 - reflected : 1;
    const miScalar transparency = in.share(p.transparency);
    const miScalar clear = clearShare(call);
    const miColor clearColor = in.reflectance(p.refr_color);
    const miColor dimColor = clear < 1 ? in.reflectance(p.refr_trans_color) : kBlack;
    refraction = clearColor * (transparency * left * clear);
    translucency = dimColor * (transparency * left * (1 - clear));
    const miScalar through = std::min(1.0f, std::max(largest(clearColor), largest(dimColor)) * transparency);
    diffuse = color * (in.share(p.diffuse_weight) * (1 - through) * left);
}

}  // namespace materials
