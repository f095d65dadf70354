/* mib_ray_marcher: the mean of a shader along a ray, with more samples where it changes. */
#include "math/color.h"
#include "math/vector.h"
#include "module/export.h"
#include "module/parameters.h"
#include "rays/hit_scope.h"

namespace materials {

namespace {

struct RayMarcher {
    miTag shader;
    miScalar distance;
    miInteger num, subdiv;
    miColor contrast;
};

/* All four channels. */
miColor whole(const miColor& a, miScalar weight) { return {a.r * weight, a.g * weight, a.b * weight, a.a * weight}; }
miColor sum(const miColor& a, const miColor& b) { return {a.r + b.r, a.g + b.g, a.b + b.b, a.a + b.a}; }

/* The shader called at places of the ray. */
class Marcher {
public:
    Marcher(miState* state, const Parameters& in, const RayMarcher& p, double way)
        : state_(state),
          shader_(in(p.shader)),
          contrast_(in.color(p.contrast)),
          splits_(in.count(p.subdiv, 0, kMostSplits)),
          way_(way) {}

    /* Mean between two places, by the trapezoid of each part. */
    miColor between(double from, const miColor& first, double to, const miColor& last) {
        struct Part {
            double to;
            miColor last;
        };
        Part open[kDeepest + 1] = {{to, last}};
        int count = 1;
        miColor total = kNothing, at = first;
        for (double place = from; count > 0;) {
            const Part part = open[count - 1];
            if (splits_ > 0 && count <= kDeepest && differ(at, part.last)) {
                const double middle = (place + part.to) / 2;
                --splits_;
                open[count++] = {middle, seenAt(middle)};
                continue;
            }
            total = sum(total, whole(sum(at, part.last), static_cast<miScalar>((part.to - place) / 2)));
            place = part.to;
            at = part.last;
            --count;
        }
        return total;
    }

    miColor seenAt(double share) {
        miColor color = kNothing;
        state_->point = state_->org + state_->dir * static_cast<miScalar>(share * way_);
        if (!mi_call_shader_x(&color, miSHADER_TEXTURE, state_, shader_, nullptr)) color = kNothing;
        return finite(color);
    }

private:
    static constexpr int kMostSplits = 1000, kDeepest = 16;

    bool differ(const miColor& a, const miColor& b) const {
        return std::fabs(a.r - b.r) > contrast_.r || std::fabs(a.g - b.g) > contrast_.g ||
               std::fabs(a.b - b.b) > contrast_.b;
    }

    miState* state_;
    miTag shader_;
    miColor contrast_;
    int splits_;
    double way_;
};

bool rayMarcher(miColor& result, miState* state, RayMarcher& p) {
    const Parameters in(state);
    if (in(p.shader) == miNULLTAG || state->type == miRAY_LIGHT || state->type == miRAY_SHADOW) return true;
    const auto distance = static_cast<double>(in.within(p.distance, 0, miHUGE_SCALAR));
    double way = state->dist > 0 ? state->dist : distance;
    if (distance > 0) way = std::min(way, distance);
    if (!(way > 0)) return true;
    const int given = in(p.num), parts = (given > 0 ? std::clamp(given, 2, 1000) : 4) - 1;
    const HitScope hit(state);
    Marcher marcher(state, in, p, way);
    miColor mean = kNothing, before = marcher.seenAt(0);
    for (int i = 0; i < parts; ++i) {
        const double from = static_cast<double>(i) / parts, to = static_cast<double>(i + 1) / parts;
        const miColor next = marcher.seenAt(to);
        mean = sum(mean, marcher.between(from, before, to, next));
        before = next;
    }
    result = sum(whole(result, 1 - clamped(mean.a, 0, 1)), mean);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_ray_marcher, miColor, RayMarcher, rayMarcher)

}  // namespace materials
