#include "architectural/mia_light.h"

#include "lobes/oren_nayar.h"
#include "rays/hit_scope.h"

namespace materials {

namespace {

bool counts(const miColor& level, miScalar factor) { return factor > 0 && !isBlack(level); }

/* Visible lights show in reflections; where those are traced, a highlight would show them twice. */
class Highlights {
public:
    explicit Highlights(const MiaCall& call)
        : state_(call.state),
          leavesOut_(call.in.isOn(call.p.no_visible_area_hl) && !call.in.isOn(call.p.refl_hl_only)) {}

    bool areOf(miTag light) const { return !leavesOut_ || !isVisibleShape(state_, light); }

private:
    miState* state_;
    bool leavesOut_;
};

}  // namespace

MiaDirect directLight(const MiaCall& call, const MiaSurface& surface, const MiaLevels& levels) {
    const auto& [state, p, x, in] = call;
    std::optional<Facets> lobe, baseLobe;
    if (counts(levels.reflection, levels.highlights)) lobe = facetsOf(call, surface.bumped, in.share(p.refl_gloss));
    if (counts(levels.baseReflection, levels.highlights))
        baseLobe = facetsOf(call, surface.base, in.share(x->refl_base_gloss));
    const bool isDiffuse = !isBlack(levels.diffuse), isTranslucent = !isBlack(levels.translucency);
    if (!lobe && !baseLobe && !isDiffuse && !isTranslucent) return {};

    const HitScope hit(state);
    state->normal = surface.smooth;
    if (isTranslucent) state->pri = nullptr; /* light from behind comes, too */
    const OrenNayar matte(in.share(p.diffuse_roughness), surface.diffuse, surface.view);
    const Highlights highlights(call);
    const LightList lights(state, p.mode, p.lights);
    return sumOfLights<MiaDirect>(state, lights, [&](MiaDirect& sum, const LightSample& light) {
        if (isTranslucent) sum.back += light.color * std::max(0.0f, -dot(surface.diffuse, light.dir));
        if (dot(surface.smooth, light.dir) <= 0) return;
        if (isDiffuse) sum.diffuse += light.color * matte(light.dir);
        if ((!lobe && !baseLobe) || !highlights.areOf(light.light)) return;
        if (lobe) sum.highlights += light.color * lobe->highlight(surface.view, light.dir);
        if (baseLobe) sum.baseHighlights += light.color * baseLobe->highlight(surface.view, light.dir);
    });
}

}  // namespace materials
