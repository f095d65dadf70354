/* compute_refraction: what is seen through a surface.
 *
 * Directions follow Snell's law, in vector form: with the normal n on the ray's side, c = -n . i and
 * k = 1 - eta^2 (1 - c^2), the refracted direction is eta i + (eta c - sqrt k) n; below k = 0 all light is reflected.
 * Absorption follows Beer and Lambert: exp(-absorbance x way). What a ray travels in is known from the state's index of
 * refraction, and what is around a solid from the hit where the ray entered it; a ray that nobody refracted before is
 * in air, of index 1. We differ from a full treatment: nothing is reflected at the boundary (that is the reflection
 * term's part), and the way inside is charged where the ray leaves the solid, to what it sees from there.
 */
#include "SDK/lumo.h"

#include "SDK/color/color.h"
#include "SDK/surface/media.h"
#include "SDK/surface/secondary_rays.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

/* Half the difference of the indices for red and blue light, as part of (index - 1): a glass of Abbe number 20, which
 * is more than real glass does and just enough to be seen. */
constexpr miScalar kHalfDispersion = 1.0f / 40;

/* How a ray goes on. */
struct Passage {
    RayKind kind;  /* reflection where all light is reflected */
    miVector dir;  /* unit length */
    miVector side; /* the normal on that side of the surface */
    miVector start;
    miScalar inside; /* way inside the material that this hit answers for */
};

miScalar indexOr(miScalar index, miScalar otherwise) { return index > 0 ? index : otherwise; }

/* Indices of refraction on the ray's side and on the other. */
struct Media {
    miScalar here, beyond;
};

/* Everything that is fixed for the hit. */
class Refraction {
public:
    Refraction(miState* state, const RefractionSettings& settings, const FrameBuffers& buffers)
        : state_(state),
          settings_(settings),
          buffers_(buffers),
          normal_(state->normal),
          cosine_(-mi_vector_dot(&state->normal, &state->dir)),
          isSheet_(settings.surfaceThickness > 0 && std::isfinite(settings.surfaceThickness)),
          leaves_(state->inv_normal && !isSheet_) {
        if (cosine_ < 0) {
            mi_vector_neg(&normal_);
            cosine_ = -cosine_;
        }
        if (leaves_) {
            const OpenSolids solids(state);
            inner_ = solids.inner();
            around_ = solids.around();
        }
    }

    /* False when the render's depths do not allow the ray. */
    bool trace(miScalar index, const miColor& channels, miColor& color) const {
        const Media media = mediaFor(index);
        const Passage passage = passageFor(media.here / media.beyond);
        const bool isMirror = passage.kind == RayKind::kReflection;
        if (!mayTrace(state_, passage.kind, isMirror ? state_->options->reflection_depth : settings_.refractionLimit))
            return false;

        miColor weight = settings_.transparency * channels * absorption(passage.inside);
        weight.a = channels.a;
        weighUserValues(1 - settings_.transparency * channels);
        const HitScope hit(state_);
        enter(passage, media);
        const RayBundle bundle = {passage.kind, passage.dir, passage.side, Lobe{.blur = settings_.refractionBlur},
                                  settings_.refractionRays};
        color = color + traceBundle(state_, buffers_, bundle, weight, RayKind::kRefraction) * weight;
        return true;
    }

private:
    /* What the ray adds to values of the scene's own comes for the part of the surface's value that shows it. */
    void weighUserValues(const miColor& opacity) const {
        for (const FrameBufferInfo& entry : buffers_.ofType(kPassUser)) {
            FrameBufferSlot* slot = currentSlot(entry, state_);
            if (!slot || !(entry.flags & kEntryComposited) || (slot->levelFlags & kLevelFiltered)) continue;
            const miColor weighted = slot->contribution * opacity;
            slot->contribution = {weighted.r, weighted.g, weighted.b, slot->contribution.a};
        }
    }

    Media mediaFor(miScalar index) const {
        if (!leaves_) return {indexOr(state_->ior, 1), index};
        if (!inner_) return {index, 1};
        const miScalar here = indexOr(inner_->ior, index);
        return {here, !leavesInner() ? here : around_ ? indexOr(around_->ior, 1) : 1};
    }

    /* Another solid that was entered later fills the place on both sides of the boundary. */
    bool leavesInner() const { return inner_ && inner_->material == state_->material; }

    /* The state that the ray starts with; its hits find the medium there. */
    void enter(const Passage& passage, const Media& media) const {
        const bool crosses = passage.kind == RayKind::kRefraction && !isSheet_;
        state_->point = passage.start;
        state_->ior_in = media.here;
        state_->ior = crosses ? media.beyond : media.here;
        // Renderers know the one inside of a volume only.
        if (isSheet_)
            state_->refraction_volume = state_->volume;
        else if (leaves_)
            state_->refraction_volume = leavesInner() ? inner_->volume : state_->volume;
    }

    Passage passageFor(miScalar eta) const {
        const miScalar k = 1 - eta * eta * (1 - cosine_ * cosine_);
        const miScalar inside = leaves_ ? static_cast<miScalar>(state_->dist) : 0;
        if (!(k >= 0)) return {RayKind::kReflection, mirrored(state_->dir, normal_), normal_, state_->point, inside};

        const miScalar cosineInside = std::sqrt(k), n = eta * cosine_ - cosineInside;
        const miVector& i = state_->dir;
        const miVector refracted = {eta * i.x + n * normal_.x, eta * i.y + n * normal_.y, eta * i.z + n * normal_.z};
        const miVector behind = {-normal_.x, -normal_.y, -normal_.z};
        if (!isSheet_) return {RayKind::kRefraction, refracted, behind, state_->point, inside};

        // Out of the other face of a sheet the ray leaves as it came, a little to the side.
        const miScalar way = settings_.surfaceThickness / std::max(cosineInside, 1e-4f);
        const miVector& p = state_->point;
        const miVector exit = {p.x + way * refracted.x, p.y + way * refracted.y, p.z + way * refracted.z};
        return {RayKind::kRefraction, i, behind, exit, way};
    }

    miScalar absorption(miScalar way) const {
        return settings_.lightAbsorbance > 0 && way > 0 ? std::exp(-settings_.lightAbsorbance * way) : 1.0f;
    }

    miState* const state_;
    const RefractionSettings& settings_;
    const FrameBuffers& buffers_;
    miVector normal_; /* on the ray's side */
    miScalar cosine_; /* of the ray with it, not below 0 */
    const bool isSheet_, leaves_;
    const miState* inner_ = nullptr; /* where the ray entered what it is in, and what is around that */
    const miState* around_ = nullptr;
};

/* Each color its own way. Only the first surface of a path splits the ray: one rainbow is enough, and three times the
 * rays at every surface are not. */
bool traceColors(const Refraction& refraction, miScalar index, miColor& color) {
    constexpr miColor channels[] = {{1, 0, 0, 0}, {0, 1, 0, 1}, {0, 0, 1, 0}};
    const miScalar spread = (index - 1) * kHalfDispersion;
    bool traced = false;
    for (int c = 0; c < 3; ++c)
        traced |= refraction.trace(index + static_cast<miScalar>(c - 1) * spread, channels[c], color);
    return traced;
}

}  // namespace
}  // namespace lumo

miBoolean compute_refraction(miColor* result, miState* state, const RefractionSettings* settings, PassState* passes,
                             miUint count, FrameBufferInfo* entries) {
    using namespace lumo;
    *result = kBlack;
    if (!settings->refractions || settings->hideSource || isBlack(settings->transparency)) return miFALSE;

    const FrameBuffers buffers{passes, {entries, count}};
    const Refraction refraction(state, *settings, buffers);
    const miScalar index = settings->refractiveIndex > 0 ? settings->refractiveIndex : 1;
    if (settings->chromaticAberration && state->refraction_level == 0) return traceColors(refraction, index, *result);
    return refraction.trace(index, {1, 1, 1, 1}, *result);
}
