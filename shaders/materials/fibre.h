/* What hairs, furs and tubes share: how thin fibres scatter light, where on one a point lies, and the parameters that
 * change from the root to the tip.
 *
 * Sources: J. T. Kajiya and T. L. Kay, "Rendering Fur with Three Dimensional Textures", 1989 (diffuse and specular);
 * D. B. Goldman, "Fake Fur Rendering", 1997 (front and back lighting).
 *
 * Directions have unit length and lead away from the point: L to the light, V to the eye, T from the root to the tip.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>

#include "binding/renderer.h"
#include "SDK/surface/lobes.h"
#include "SDK/surface/surface.h"

namespace lumo {

inline miScalar sineOf(miScalar cosine) { return std::sqrt(std::max(1 - cosine * cosine, 0.0f)); }

/* The tangent, leaning towards the normal: a highlight moves towards the tip. */
inline miVector tiltedTangent(const miVector& tangent, const miVector& normal, miScalar shift) {
    miVector t = {tangent.x + shift * normal.x, tangent.y + shift * normal.y, tangent.z + shift * normal.z};
    mi_vector_normalize(&t);
    return t;
}

/* One way of looking at a fibre. */
struct FibreAngles {
    miScalar tl, tv, sl, sv; /* cosines and sines of the tangent with light and eye */
    miScalar kappa;          /* cosine between light and eye around the fibre: 1 lit from the front, -1 from behind */

    FibreAngles(const miVector& t, const miVector& l, const miVector& v)
        : tl(mi_vector_dot(&t, &l)), tv(mi_vector_dot(&t, &v)), sl(sineOf(tl)), sv(sineOf(tv)) {
        // (T x L).(T x V) = L.V - (T.L)(T.V)
        const miScalar size = sl * sv;
        kappa = size > 1e-6f ? std::clamp((mi_vector_dot(&l, &v) - tl * tv) / size, -1.0f, 1.0f) : 1;
    }

    /* What a matt fibre gathers from the light. */
    miScalar diffuse() const { return sl; }

    /* 1 on the cone that mirrors the eye's direction. */
    miScalar specular(miScalar power) const {
        const miScalar cosine = sl * sv - tl * tv;
        return cosine > 0 ? std::pow(std::min(cosine, 1.0f), power) : 0;
    }

    /* Shares of the light that come back and that go through. */
    miScalar front() const { return (1 + kappa) / 2; }
    miScalar behind() const { return (1 - kappa) / 2; }
};

inline miColor mixed(const miColor& root, const miColor& tip, miScalar along) { return root + (tip - root) * along; }

/* Parameters behind the common ones, whose `color` is that of the root. */
struct FibreParameters {
    miColor tipColor;
    miColor rootOpacity, tipOpacity; /* times 1 - transparency */
    miScalar rootAmbient;            /* share of ambient and indirect light that reaches the root */
    miScalar selfShadow;             /* light falls to e^-selfShadow on the way to the root */
    miColor specularColor;
    miScalar secondarySpecularScale; /* of highlights on rays that are no eye rays */
};

/* P begins with `LambertParameters surface; FibreParameters fibre;`. */
template <class P>
class FibreHelper : public SurfaceHelper<P> {
public:
    using SurfaceHelper<P>::SurfaceHelper;

    template <ParameterValue T>
    T fibre(T FibreParameters::* member) const {
        return (*this)(&P::fibre, member);
    }

    /* On a hair object, whose barycentric coordinates lie across and along it. */
    bool isOnHair() const { return place().isHair; }
    /* 0 at the root, 1 at the tip. Surfaces that are no hair objects have it in the v of their texture. */
    miScalar along() const { return place().along; }

    /* Without derivatives some direction on the surface. */
    miVector tangent() const {
        miVector u, v;
        get_derivs(this->state(), &u, &v);
        return isOnHair() ? u : v;
    }

    miColor color(const SurfacePoint&) const {
        return mixed(this->common(&LambertParameters::color), fibre(&FibreParameters::tipColor), along());
    }
    miColor transparency() const {
        const miColor o = mixed(fibre(&FibreParameters::rootOpacity), fibre(&FibreParameters::tipOpacity), along());
        const miColor t = SurfaceHelper<P>::transparency();
        return {1 - o.r * (1 - t.r), 1 - o.g * (1 - t.g), 1 - o.b * (1 - t.b), t.a};
    }

    /* Of light from all around. */
    miScalar ambientShare() const {
        const miScalar root = fibre(&FibreParameters::rootAmbient);
        return root + (1 - root) * along();
    }
    /* Of light from a lamp. */
    miScalar lightShare() const {
        return std::exp(-std::max(fibre(&FibreParameters::selfShadow), 0.0f) * (1 - along()));
    }

    /* Light comes to a fibre from all sides, whichever way its normal looks. */
    bool isLitAllAround() const { return true; }
    /* A shadow ray ends where less of the light is left: a hundred hairs stand behind each other. */
    static constexpr miScalar kLeastLight = 1.0f / 255;

private:
    struct Place {
        bool isHair;
        miScalar along;
    };
    mutable std::optional<Place> place_;

    const Place& place() const {
        if (!place_) {
            const miState* state = this->state();
            miInteger textures = 0;
            const bool isHair = mi_query(miQ_HAIR_NUM_TEXTURES, this->state(), miNULLTAG, &textures) != miFALSE;
            const miScalar along = isHair ? state->bary[1] : state->tex_list ? state->tex_list[0].y : 0;
            place_ = Place{isHair, std::clamp(along, 0.0f, 1.0f)};
        }
        return *place_;
    }
};

template <class P, class H>
struct FibreAmbientComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, const SurfacePoint& point) const {
        return point.ambientMaterial * point.color * in.ambientShare();
    }
};

template <class P, class H>
struct FibreIndirectComponent : DefaultIndirectComponent<P, H> {
    using DefaultIndirectComponent<P, H>::DefaultIndirectComponent;
    miColor term(const H& in, SurfacePoint& point) const {
        return DefaultIndirectComponent<P, H>::term(in, point) * in.ambientShare();
    }
};

/* `Scattering` is a component for all light from a direction (see ScattersByDirection). */
template <class P, class H, class Scattering>
using FibreSurface =
    Surface<P, SurfaceShaderReturnType, H, DefaultAmbientMaterialColorComponent<P, H>, FibreAmbientComponent<P, H>,
            DefaultDiffuseMaterialColorComponent<P, H>, Scattering, Scattering, DefaultReflectionComponent<P, H>,
            DefaultRefractionComponent<P, H>, DefaultScatterComponent<P, H>, FibreIndirectComponent<P, H>>;

}  // namespace lumo
