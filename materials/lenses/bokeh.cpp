/* mia_lens_bokeh: depth of field by a diaphragm of blades, or of any picture. */
#include "module/export.h"
#include "module/parameters.h"
#include "rays/ray_points.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct LensBokeh {
    miBoolean on;
    miScalar plane, radius;
    miInteger samples;
    miScalar bias;
    miInteger blade_count;
    miScalar blade_angle;
    miBoolean use_bokeh;
    miTag bokeh;
};

/* The opening of the lens, in its plane, as large as the unit circle. */
class Opening {
public:
    Opening(const Parameters& in, const LensBokeh& p)
        : blades_(in.count(p.blade_count, 0, 64)),
          turn_(finite(in(p.blade_angle)) * kPi / 180),
          bias_(in.within(p.bias, 0, 100)),
          picture_(in.isOn(p.use_bokeh) ? in(p.bokeh) : miNULLTAG) {}

    /* From two numbers in [0, 1), evenly; a bias above 1 draws them to the rim, one below to the middle. */
    miVector at(const double* point) const {
        const auto x = static_cast<miScalar>(point[0]), y = static_cast<miScalar>(point[1]);
        if (picture_ != miNULLTAG) return {2 * x - 1, 2 * y - 1, 0};
        if (blades_ < 3) {
            const miVector even = onDisc(point);
            const miScalar r = length(even);
            return bias_ > 0 && r > 0 ? even * std::pow(r, 1 / bias_ - 1) : even;
        }
        const miScalar r = std::pow(x, bias_ > 0 ? .5f / bias_ : .5f);
        const auto corners = static_cast<miScalar>(blades_);
        const miScalar blade = std::min(std::floor(y * corners), corners - 1), along = y * corners - blade;
        return mix(corner(blade), corner(blade + 1), along) * r;
    }

    /* How much light comes through there. */
    miColor share(miState* state, const miVector& at) const {
        return picture_ != miNULLTAG ? positive(pictureAt(state, picture_, {(at.x + 1) / 2, (at.y + 1) / 2, 0}))
                                     : kWhite;
    }

private:
    miVector corner(miScalar number) const {
        const miScalar angle = turn_ + 2 * kPi * number / static_cast<miScalar>(blades_);
        return {std::cos(angle), std::sin(angle), 0};
    }

    static miVector mix(const miVector& a, const miVector& b, miScalar share) { return a + (b - a) * share; }

    int blades_;
    miScalar turn_, bias_;
    miTag picture_;
};

/* The mean of what is seen, weighted by what comes through. */
struct Weighted {
    miColor light = {0, 0, 0, 0}, weights = {0, 0, 0, 0};
    miScalar alpha = 0, weight = 0;

    void add(const miColor& seen, const miColor& share) {
        light += finite(seen) * share;
        weights += share;
        alpha += seen.a * largest(share);
        weight += largest(share);
    }

    miColor mean() const {
        const miColor color = quotient(light, weights);
        return {color.r, color.g, color.b, quotient(alpha, weight)};
    }
};

bool lensBokeh(miColor& result, miState* state, LensBokeh& p) {
    const Parameters in(state);
    const miVector org = state->org, dir = state->dir;
    const miScalar plane = std::fabs(finite(in(p.plane))), radius = in.within(p.radius, 0, miHUGE_SCALAR);
    miVector from, way;
    mi_point_to_camera(state, &from, &org);
    mi_vector_to_camera(state, &way, &dir);
    if (!in.isOn(p.on) || !(plane > 0) || !(radius > 0) || !(way.z < 0))
        return mi_trace_eye(&result, state, &org, &dir) != miFALSE;
    const miVector sharp = from + way * (plane / -way.z);
    const Opening opening(in, p);
    Weighted sum;
    bool anySeen = false;
    meanOverPoints(state, in.count(p.samples, 1, kMostRays), [&](const double* point) {
        const miVector place = opening.at(point);
        const miColor share = opening.share(state, place);
        if (isBlack(share)) return kBlack;
        miVector start = from + place * radius, ray = unit(sharp - start);
        mi_point_from_camera(state, &start, &start);
        mi_vector_from_camera(state, &ray, &ray);
        miColor color = kNothing;
        anySeen = mi_trace_eye(&color, state, &start, &ray) || anySeen;
        sum.add(color, share);
        return kBlack;
    });
    result = sum.mean();
    return anySeen;
}

}  // namespace

MATERIALS_SHADER(mia_lens_bokeh, miColor, LensBokeh, lensBokeh)

}  // namespace materials
