/* parti_volume: dust and smoke that scatter the light of lamps and photons. */
#include "lights/light_list.h"
#include "module/export.h"
#include "rays/hit_scope.h"
#include "volumes/dust.h"

namespace materials {

namespace {

struct PartiVolume {
    miInteger mode;
    miColor scatter;
    miScalar extinction, r, g1, g2, nonuniform, height, min_step_len, max_step_len, light_dist;
    miInteger min_level;
    miBoolean no_globil_where_direct;
    LightArray lights;
};

/* Two lobes, as Schlick approximates Henyey and Greenstein's, times 4 pi. */
struct Phase {
    miScalar share, forward, backward;

    miScalar operator()(miScalar cosine) const {
        return share * lobe(forward, cosine) + (1 - share) * lobe(backward, cosine);
    }

    static miScalar lobe(miScalar g, miScalar cosine) {
        const miScalar base = 1 - g * cosine;
        return (1 - g * g) / (base * base);
    }
};

/* Lengths of steps: short enough to see the medium get denser, within the given bounds. */
struct Steps {
    double shortest, longest;

    Steps(miState* state, const Parameters& in, const PartiVolume& p, const Dust& medium, double way) {
        shortest = static_cast<double>(in.within(p.min_step_len, 0, miHUGE_SCALAR));
        longest = static_cast<double>(in.within(p.max_step_len, 0, miHUGE_SCALAR));
        if (longest <= 0) longest = way / 8;
        const int least = in(p.min_level), level = state->reflection_level + state->refraction_level;
        if (least > 0 && level >= least) shortest = longest;
        constexpr double kMostSteps = 1000;
        shortest = std::max(shortest, way / kMostSteps);
        const double thin = medium.extinction() > 0 ? .25 / static_cast<double>(medium.extinction()) : longest;
        longest = std::max(std::min(longest, thin), shortest);
    }
};

struct Scattered {
    miColor light = {0, 0, 0, 0};

    void add(const Scattered& more, miScalar factor) { light += more.light * factor; }
};

/* What was scattered there before, or has come by surfaces, as photons tell. Where it goes they do not know: everywhere. */
miColor photonsAt(miState* state, const miVector& place) {
    state->point = place;
    miColor density = kBlack;
    return mi_compute_volume_irradiance(&density, state) ? density * (1 / (4 * kPi)) : kBlack;
}

/* What lamps send towards the viewer from a place, for a coefficient of 1. */
miColor scatteredAt(miState* state, const LightList& lights, const Phase& phase, const miVector& place) {
    state->point = place;
    const miVector dir = state->dir;
    return sumOfLights<Scattered>(state, lights,
                                  [&](Scattered& sum, const LightSample& sample) {
                                      sum.light += sample.color * (phase(dot(sample.dir, dir)) / 4);
                                  })
        .light;
}

struct Marched {
    miColor light = kBlack;
    miScalar left = 1; /* of what lies behind */
};

Marched march(miState* state, const Parameters& in, PartiVolume& p, const Dust& medium, double from, double to) {
    const HitScope hit(state);
    const miVector org = state->org, dir = state->dir;
    const LightList lights(state, p.lights);
    const auto bounded = [&](const miScalar& g) { return in.within(g, -.99f, .99f); };
    const Phase phase = {in.share(p.r), bounded(p.g1), bounded(p.g2)};
    const Steps steps(state, in, p, medium, to - from);
    const double step = steps.longest;
    double jitter = .5;
    int taken = 0;
    mi_sample(&jitter, &taken, state, 1, nullptr);
    state->pri = nullptr;
    const bool asksPhotons = !in.isOn(p.no_globil_where_direct);
    Marched sum;
    for (double at = from; at < to && sum.left > .001f; at += step) {
        const double length = std::min(step, to - at);
        const miVector place = org + dir * static_cast<miScalar>(at + jitter * length);
        const miScalar density = medium.densityAt(state, place);
        const miScalar depth = medium.extinction() * density * static_cast<miScalar>(length);
        /* Exact where the medium is even in the step. */
        const miScalar kept = std::exp(-depth);
        const miScalar seen =
            depth > 1e-4f ? (1 - kept) / (medium.extinction() * density) : static_cast<miScalar>(length);
        if (density > 0 && !isBlack(medium.scatter()))
            sum.light += medium.scatter() * scatteredAt(state, lights, phase, place) * (density * seen * sum.left);
        if (asksPhotons && density > 0) sum.light += photonsAt(state, place) * (seen * sum.left);
        sum.left *= kept;
    }
    return sum;
}

/* What a medium leaves on a way, without light of its own. */
miScalar leftOnWay(const miState* state, const Dust& medium, double from, double to) {
    if (medium.isEven()) return std::exp(-medium.extinction() * static_cast<miScalar>(to - from));
    constexpr int kSteps = 16;
    miScalar sum = 0;
    for (int i = 0; i < kSteps; ++i) {
        const double at = from + (to - from) * (i + .5) / kSteps;
        sum += medium.densityAt(state, state->org + state->dir * static_cast<miScalar>(at));
    }
    return std::exp(-medium.extinction() * sum / kSteps * static_cast<miScalar>(to - from));
}

bool partiVolume(miColor& result, miState* state, PartiVolume& p) {
    const Parameters in(state);
    const Dust medium(in, p);
    const bool isLight = state->type == miRAY_LIGHT || state->type == miRAY_SHADOW;
    /* Nothing met: as far as anything is seen. */
    const bool isEndless = !(state->dist > 0);
    if (isLight && isEndless) return true;
    constexpr double kFarthest = 1e5;
    const double visible = medium.extinction() > 0 ? 10 / static_cast<double>(medium.extinction()) : 0;
    double from = 0, to = isEndless ? std::min(visible, kFarthest) : std::min(state->dist, 1e7);
    medium.cut(state->org, state->dir, from, to);
    if (!(to > from) || medium.extinction() == 0) return true;
    const miScalar alpha = result.a;
    if (isLight) {
        result = result * leftOnWay(state, medium, from, to);
        result.a = alpha;
        return true;
    }
    const Marched marched = march(state, in, p, medium, from, to);
    result = finite(result * marched.left + marched.light);
    result.a = 1 - (1 - alpha) * marched.left;
    return true;
}

}  // namespace

MATERIALS_SHADER(parti_volume, miColor, PartiVolume, partiVolume)

}  // namespace materials
