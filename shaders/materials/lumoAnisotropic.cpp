/* lumoVexaAnisotropic: brushed or woven surface, whose highlight is longer one way than the other, and a mirror.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface/surface_gloss.h), and
 *   angle                     turns the x direction away from the surface's u, in degrees, towards v
 *   spreadX, spreadY          length of the highlight along x and y; their ratio counts
 *   roughness                 overall size of the highlight, 0 to 1
 *   fresnelIndex              index of refraction: the higher, the more light is reflected head on
 *   anisotropicReflectivity   the mirror's reflectivity is 1 - roughness
 * Formula: SDK/surface/anisotropic_facets.h. Its widths follow B. Burley, "Physically Based Shading at Disney", 2012:
 * roughness squared, times and over the root of the ratio of the spreads.
 *
 * Example:
 *   shader "brushed" "lumoVexaAnisotropic" ( "color" .2 .2 .2, "spreadX" 8, "spreadY" 1, "roughness" .5 )
 */
#include "SDK/surface/anisotropic_facets.h"
#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface_gloss.h"
#include "SDK/surface/lobes.h"

#include <algorithm>
#include <numbers>

namespace lumo {
namespace {

struct AnisotropicParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar angle, spreadX, spreadY, roughness, fresnelIndex;
    miBoolean anisotropicReflectivity;
};

/* A positive number for a parameter that has to be one. */
miScalar positive(miScalar value, miScalar least) { return value > least && std::isfinite(value) ? value : least; }

/* The directions of the brushing, at right angles to each other and to the normal. */
struct Grain {
    miVector x, y;

    Grain(const SurfacePoint& point, miScalar degrees) {
        miVector u, v;
        get_derivs(point.state, &u, &v);
        const miScalar height = mi_vector_dot(&u, &point.normal);
        const miVector flat = {u.x - height * point.normal.x, u.y - height * point.normal.y,
                               u.z - height * point.normal.z};
        miVector ahead = flat, left;
        mi_vector_normalize(&ahead);
        mi_vector_prod(&left, &point.normal, &ahead);
        if (!(mi_vector_norm(&left) > 0.5f)) tangentsOf(point.normal, ahead, left);
        if (mi_vector_dot(&left, &v) < 0) mi_vector_neg(&left);
        const miScalar angle = degrees * (std::numbers::pi_v<miScalar> / 180);
        const miScalar c = std::cos(angle), s = std::sin(angle);
        x = {c * ahead.x + s * left.x, c * ahead.y + s * left.y, c * ahead.z + s * left.z};
        y = {c * left.x - s * ahead.x, c * left.y - s * ahead.y, c * left.z - s * ahead.z};
    }
};

class AnisotropicShaderHelper : public GlossHelper<AnisotropicParameters> {
public:
    using GlossHelper::GlossHelper;
    using P = AnisotropicParameters;

    miScalar reflectivity(const SurfacePoint& point) const {
        if (!(*this)(&P::anisotropicReflectivity)) return GlossHelper::reflectivity(point);
        return std::clamp(1 - (*this)(&P::roughness), 0.0f, 1.0f);
    }

    Grain grain(const SurfacePoint& point) const { return Grain(point, (*this)(&P::angle)); }

    /* Of the facets' slopes along x and y. A surface that is perfectly smooth would show no highlight at all. */
    void widths(miScalar width[2]) const {
        const miScalar roughness = positive((*this)(&P::roughness), 0);
        const miScalar x = positive((*this)(&P::spreadX), 1e-3f), y = positive((*this)(&P::spreadY), 1e-3f);
        const miScalar ratio = std::sqrt(x / y);
        width[0] = positive(roughness * roughness * ratio, 1e-3f);
        width[1] = positive(roughness * roughness / ratio, 1e-3f);
    }

    void shapeLobe(const SurfacePoint& point, ReflectionSettings& settings) const {
        settings.lobe = kLobeFacets;
        widths(settings.lobeWidth);
        settings.lobeTangent = grain(point).x;
    }
};

template <class P, class H>
struct AnisotropicSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Values {
        Highlight highlight;
        AnisotropicFacets facets;
        miScalar index;
    };
    Values values(const H& in, const SurfacePoint& point) const {
        miScalar width[2];
        in.widths(width);
        const Grain grain = in.grain(point);
        const miVector& dir = point.state->dir;
        return {Highlight(in),
                AnisotropicFacets(width[0], width[1], grain.x, grain.y, point.normal, {-dir.x, -dir.y, -dir.z}),
                in(&P::fresnelIndex)};
    }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        return values.highlight.seen(cosine, [&] {
            const miScalar s = values.facets.highlight(light, values.index);
            return highlightOnRay(s, values.highlight.secondaryScale, point.state);
        });
    }
};

/* The mirror of the grain: blurred it is longer one way than the other. */
template <class P, class H>
struct AnisotropicReflectionComponent : DefaultSpecularReflectionComponent<P, H> {
    using DefaultSpecularReflectionComponent<P, H>::DefaultSpecularReflectionComponent;
};

using Anisotropic = GlossySurface<AnisotropicParameters, AnisotropicShaderHelper, AnisotropicSpecularComponent,
                                  AnisotropicReflectionComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaAnisotropic, Anisotropic, "shaders/lumoAnisotropic")

}  // namespace lumo
