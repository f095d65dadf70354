/* lumoVexaOceanShader: water with waves of all lengths, foam on their crests, and what water mirrors and lets through.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface/surface_gloss.h), and
 *   eccentricity      width of the highlight of water without waves
 *   waterAbsorption   of what is seen through the water, per metre: what is lost becomes the water's color
 *   troughShadowing   how much darker hollows are than crests
 *   space, scale      where waves run (0 object x and z, 1 world, 2 u and v), and how many metres a unit of that is
 *   time              seconds
 *   waveCount ... peakingRamp   the waves; see SDK/ocean/ocean_waves.h
 *   filterSize        times the size of a pixel: waves below it make highlights wider instead; 0 shows them all
 *   isDisplaced       the geometry has these waves already: the normal is that of the waves alone
 *   shortestDisplacedWave   shorter waves do not displace
 *   foam...           where the surface folds, or rises, by more than the threshold
 * Besides the color the result has height and foam at the place, and where its water goes (displacement), in metres. In
 * a material's `displace` slot the shader gives the height over the surface, in units of the waves' space.
 * Formulas: SDK/ocean/ocean_field.h. The highlight is that of facets (SDK/surface/anisotropic_facets.h) as wide as the
 * hidden waves are steep, so that glitter far away is a band. Mirrors and Fresnel's law take the mean of the slopes that
 * are seen: those away from the eye hide behind others (V. Ross et al., "Detailed Analytical Approach to the Gaussian
 * Surface Bidirectional Reflectance Distribution Function Specular Component Applied to the Sea Surface", 2005).
 *
 * Example:
 *   shader "sea" "lumoVexaOceanShader" ( "color" .01 .06 .07, "waveHeight" .6, "wavePeaking" .8, "time" 3 )
 *   material "sea_m" "lumoVexaShadingEngine" ( "surfaceShader" = "sea" ) displace = "sea" end material
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/anisotropic_facets.h"
#include "SDK/surface/secondary_rays.h"
#include "shaders/materials/ocean_place.h"

#include <optional>

namespace lumo {
namespace {

struct OceanShaderReturnType : SurfaceShaderReturnType {
    miScalar height, foam;
    miVector displacement;
};
static_assert(sizeof(OceanShaderReturnType) == sizeof(SurfaceShaderReturnType) + 5 * sizeof(miScalar));

/* What the waves make of the point that is shaded. */
struct OceanView {
    OceanPoint surface, particle;
    miScalar foam = 0, hollow = 0;     /* 0 to 1; 1 is a trough */
    miScalar reflectance = 0;          /* Fresnel's, of the water that is seen */
    miVector mirrorNormal = {0, 0, 1}; /* mean of the slopes that are seen */
    miVector along = {1, 0, 0}, across = {0, 1, 0};
    miScalar widths[2] = {0, 0}; /* of the highlight along these */
    miScalar way = 0;            /* through the water to what is below; < 0: there is nothing */
};

miScalar clamped(miScalar v) { return v > 0 ? std::min(v, 1.0f) : 0; }

/* Lives for one call. */
class OceanShaderShaderHelper : public OceanSettingsHelper {
public:
    using OceanSettingsHelper::OceanSettingsHelper;

    const OceanView& sea() const { return sea_; }

    /* Looks at the sea, and turns the state's normal as the waves do. */
    void look(const OceanWaves& waves, const Vexabase& record) const {
        miState* s = state();
        miVector along, across;
        pixelAxes(record, along, across);
        const OceanPlace place(*this, along, across);
        sea_.surface = oceanSurface(waves, place.x, place.z, place.footprint, &sea_.particle);
        const bool upright = (*this)(&P::isDisplaced);
        miVector normal = place.turned(s->normal, sea_.surface.slopeX, sea_.surface.slopeZ, upright);
        if (!(std::isfinite(normal.x + normal.y + normal.z) && mi_vector_norm(&normal) > 0)) normal = s->normal;
        keepFacing(normal);
        s->normal = normal;
        s->dot_nd = mi_vector_dot(&s->normal, &s->dir);
        sea_.foam = foamOf(waves);
        sea_.hollow = waves.deviation() > 0 ? clamped(0.5f - sea_.surface.height / (4 * waves.deviation())) : 0;
        findFacets(place);
        findMirror(place);
        findWay();
    }

    /* Unit of the waves' space; footprints are not for geometry. */
    miScalar height(const OceanWaves& waves, miScalar shortest) const {
        const OceanPlace place(*this, {0, 0, 0}, {0, 0, 0});
        // A blur that leaves a third of a wave of this length.
        const miScalar blur = shortest > 0 ? shortest * 0.225f : 0;
        const OceanFootprint footprint{blur, 0, 0, blur};
        return oceanSurface(waves, place.x, place.z, footprint).height / metres();
    }

    /* Foam lies on the water and hides it; what the surface mirrors does not come from below. */
    miColor transparency() const {
        miColor t = GlossHelper::transparency();
        if (state()->type == miRAY_SHADOW) return t;
        scaleRgb(t, (1 - sea_.foam) * (1 - sea_.reflectance));
        if (sea_.way == 0) return t;
        const miColor a = (*this)(&P::waterAbsorption);
        miScalar* channels[] = {&t.r, &t.g, &t.b};
        const miScalar absorbed[] = {a.r, a.g, a.b};
        for (int i = 0; i < 3; ++i)
            if (absorbed[i] > 0) *channels[i] *= sea_.way < 0 ? 0 : std::exp(-absorbed[i] * sea_.way * metres());
        return t;
    }

    /* The color of the water's body where it is not clear, times what gets in, and that of foam: for terms that the
     * transparency takes its part of. */
    miColor color(const SurfacePoint& point) const {
        const miColor water = common(&LambertParameters::color), foam = (*this)(&P::foamColor);
        const miScalar in = (1 - sea_.foam) * (1 - sea_.reflectance);
        const auto mixed = [&](miScalar w, miScalar f, miScalar t) {
            const miScalar rest = 1 - t;
            return rest > VEXA_EPS ? (w * std::max(in - t, 0.0f) + f * sea_.foam) / rest : 0;
        };
        const miColor& t = point.transparency;
        return {mixed(water.r, foam.r, t.r), mixed(water.g, foam.g, t.g), mixed(water.b, foam.b, t.b), water.a};
    }

    miScalar reflectivity(const SurfacePoint&) const {
        return gloss(&GlossParameters::reflectivity) * sea_.reflectance * (1 - sea_.foam);
    }

    /* Blurred by 1, the mirror shows all directions that hidden waves turn it to. */
    void shapeLobe(const SurfacePoint&, ReflectionSettings& settings) const {
        settings.lobe = kLobeFacets;
        settings.lobeWidth[0] = sea_.widths[0];
        settings.lobeWidth[1] = sea_.widths[1];
        settings.lobeTangent = sea_.along;
    }

    /* Share of the light in hollows. */
    miScalar openness() const { return 1 - clamped((*this)(&P::troughShadowing)) * sea_.hollow; }
    miScalar index() const { return std::max(common(&LambertParameters::refractiveIndex), 1.0f); }

private:
    /* Half axes of the pixel on the surface: the first one where it tilts away from the ray. */
    void pixelAxes(const Vexabase& record, miVector& along, miVector& across) const {
        const miState* s = state();
        const miScalar d = mi_vector_dot(&s->normal, &s->dir);
        along = {s->dir.x - d * s->normal.x, s->dir.y - d * s->normal.y, s->dir.z - d * s->normal.z};
        const miScalar length = mi_vector_norm(&along);
        if (length > 1e-4f) {
            mi_vector_div(&along, length);
            mi_vector_prod(&across, &s->normal, &along);
        } else {
            tangentsOf(s->normal, along, across);
        }
        sea_.along = along;
        const miScalar size = std::max((*this)(&P::filterSize), 0.0f);
        mi_vector_mul(&along, std::min(record.footprint.along * size, 1e18f));
        mi_vector_mul(&across, std::min(record.footprint.across * size, 1e18f));
    }

    /* Waves that turn away from the eye would hide behind others: they are seen edge on. */
    void keepFacing(miVector& normal) const {
        const miVector& dir = state()->dir;
        const miScalar d = mi_vector_dot(&normal, &dir);
        constexpr miScalar kEdge = -0.01f;
        if (d < kEdge) return;
        normal = {normal.x + (kEdge - d) * dir.x, normal.y + (kEdge - d) * dir.y, normal.z + (kEdge - d) * dir.z};
        mi_vector_normalize(&normal);
    }

    /* Of all the places that the pixel sees, hidden waves included. */
    miScalar foamOf(const OceanWaves& waves) const {
        const miScalar threshold = (*this)(&P::foamThreshold), emission = (*this)(&P::foamEmission);
        miScalar foam = (*this)(&P::foamOffset);
        if (emission > 0) {
            const bool byHeight = (*this)(&P::foamSource) == kFoamByHeight;
            const miScalar above =
                byHeight ? sea_.surface.height / std::max(2 * waves.deviation(), 1e-9f) : 1 - sea_.surface.stretch;
            const miScalar spread = byHeight ? 0 : std::sqrt(sea_.surface.hidden.fold);
            foam += emission * meanAbove(above - threshold, spread);
        }
        return clamped(foam);
    }

    /* Slopes that are not seen one by one are facets: their width is the root of twice the variance. */
    void findFacets(const OceanPlace& place) const {
        const miVector& n = state()->normal;
        const miScalar lean = mi_vector_dot(&sea_.along, &n);
        miVector x = {sea_.along.x - lean * n.x, sea_.along.y - lean * n.y, sea_.along.z - lean * n.z};
        if (mi_vector_norm(&x) > 1e-4f)
            mi_vector_normalize(&x);
        else
            tangentsOf(n, x, sea_.across);
        sea_.along = x;
        mi_vector_prod(&sea_.across, &n, &x);
        const miScalar own = (*this)(&P::eccentricity);
        sea_.widths[0] = width(place, sea_.along, own);
        sea_.widths[1] = width(place, sea_.across, own);
    }
    miScalar variance(const OceanPlace& place, const miVector& direction) const {
        miScalar x, z;
        place.directionOnPlane(direction, x, z);
        const OceanWaves::Slopes& hidden = sea_.surface.hidden;
        return std::max(hidden.xx * x * x + 2 * hidden.xz * x * z + hidden.zz * z * z, 0.0f);
    }
    miScalar width(const OceanPlace& place, const miVector& direction, miScalar own) const {
        const miScalar w = std::sqrt(own * own + 2 * variance(place, direction));
        return w > 1e-3f && std::isfinite(w) ? w : 1e-3f;
    }

    /* Slopes s towards the eye, of deviation d, are seen in proportion to c + s, c the cotangent of the view: their mean
     * is d^2 P(c / d) / meanAbove(c, d), P the normal distribution. */
    void findMirror(const OceanPlace& place) const {
        const miState* s = state();
        sea_.mirrorNormal = s->normal;
        miScalar cosine = -s->dot_nd;
        const miScalar deviation = std::sqrt(variance(place, sea_.along));
        if (deviation > 1e-4f) {
            const miScalar cotangent = cosine / std::max(std::sqrt(1 - cosine * cosine), 1e-4f);
            const miScalar share = 0.5f * std::erfc(-cotangent / deviation * 0.707106781f);
            const miScalar slope = deviation * deviation * share / std::max(meanAbove(cotangent, deviation), 1e-9f);
            miVector& n = sea_.mirrorNormal;
            n = {n.x - slope * sea_.along.x, n.y - slope * sea_.along.y, n.z - slope * sea_.along.z};
            mi_vector_normalize(&n);
            cosine = -mi_vector_dot(&n, &s->dir);
        }
        sea_.reflectance = reflectanceOf(clamped(cosine));
        if ((*this)(&P::isDisplaced)) liftMirror();
    }

    /* Where small waves turn away their rays would go down into displaced ones. They graze these instead, and show the
     * next wave: mirrored up, as compute_reflection would, they would draw bright islands into what is dark there. */
    void liftMirror() const {
        constexpr miScalar kLeast = 0.02f;
        const miState* s = state();
        miVector side = s->normal_geom, dir = mirrored(s->dir, sea_.mirrorNormal);
        if (mi_vector_dot(&side, &s->dir) > 0) mi_vector_neg(&side);
        const miScalar height = mi_vector_dot(&dir, &side), lift = kLeast - height;
        if (!(lift > 0)) return;
        dir = {dir.x + lift * side.x, dir.y + lift * side.y, dir.z + lift * side.z};
        mi_vector_normalize(&dir);
        miVector normal = {dir.x - s->dir.x, dir.y - s->dir.y, dir.z - s->dir.z};
        if (!(mi_vector_norm(&normal) > 1e-4f)) return;
        mi_vector_normalize(&normal);
        sea_.mirrorNormal = normal;
    }

    /* From within the water Fresnel's law is that of the ray outside, and beyond the critical angle there is none. */
    miScalar reflectanceOf(miScalar cosine) const {
        const miScalar n = index();
        if (!state()->inv_normal) return facetReflectance(cosine, n);
        const miScalar outside = 1 - n * n * (1 - cosine * cosine);
        return outside > 0 ? facetReflectance(std::sqrt(outside), n) : 1;
    }

    /* How far the refracted ray goes before it meets something; asked only where it matters. */
    void findWay() const {
        miState* s = state();
        if (s->inv_normal || isBlack((*this)(&P::waterAbsorption)) || isBlack(GlossHelper::transparency())) return;
        miVector dir;
        const miScalar eta = 1 / index(), cosine = -s->dot_nd;
        const miScalar n = eta * cosine - std::sqrt(std::max(1 - eta * eta * (1 - cosine * cosine), 0.0f));
        dir = {eta * s->dir.x + n * s->normal.x, eta * s->dir.y + n * s->normal.y, eta * s->dir.z + n * s->normal.z};
        mi_vector_normalize(&dir);
        sea_.way = -1;
        if (mi_trace_probe(s, &dir, &s->point) && s->child)
            sea_.way = std::max(static_cast<miScalar>(s->child->dist), 1e-9f);
    }

    mutable OceanView sea_;
};

using P = OceanShaderParameters;
using H = OceanShaderShaderHelper;

/* Hollows get less light. */
template <class P, class H>
struct OceanShaderDiffuseMaterialColorComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, const SurfacePoint& point) const {
        miColor color = point.color;
        scaleRgb(color, in.openness());
        return color;
    }
};

/* Glitter; there is none on foam. */
template <class P, class H>
struct OceanShaderSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Values {
        Highlight highlight;
        AnisotropicFacets facets;
        miScalar index;
    };
    Values values(const H& in, const SurfacePoint& point) const {
        const OceanView& sea = in.sea();
        const miVector& dir = point.state->dir;
        Values values{Highlight(in),
                      AnisotropicFacets(sea.widths[0], sea.widths[1], sea.along, sea.across, point.normal,
                                        {-dir.x, -dir.y, -dir.z}),
                      in.index()};
        scaleRgb(values.highlight.color, 1 - sea.foam);
        return values;
    }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        return values.highlight.seen(cosine, [&] {
            const miScalar s = values.facets.highlight(light, values.index);
            return highlightOnRay(s, values.highlight.secondaryScale, point.state);
        });
    }
};

template <class P, class H>
struct OceanShaderReflectionComponent : DefaultSpecularReflectionComponent<P, H> {
    using DefaultSpecularReflectionComponent<P, H>::DefaultSpecularReflectionComponent;
    miColor term(const H& in, const SurfacePoint& point, const PassWriter& passes) const {
        SurfacePoint seen = point;
        seen.normal = in.sea().mirrorNormal;
        seen.normalEye = -mi_vector_dot(&seen.normal, &point.state->dir);
        return DefaultSpecularReflectionComponent<P, H>::term(in, seen, passes);
    }
};

/* What the surface does not mirror, as far as water and foam let it pass: all of that is in the transparency. */
template <class P, class H>
struct OceanShaderRefractionComponent : DefaultRefractionComponent<P, H> {
    using DefaultRefractionComponent<P, H>::DefaultRefractionComponent;
};

/* Light that comes out of the water again, more of it out of crests. */
template <class P, class H>
struct OceanShaderScatterComponent : DefaultScatterComponent<P, H> {
    using DefaultScatterComponent<P, H>::DefaultScatterComponent;
    miColor term(const H& in, SurfacePoint& point, ScatterCache*& cache) const {
        miColor color = DefaultScatterComponent<P, H>::term(in, point, cache);
        scaleRgb(color, in.openness());
        return color;
    }
};

/* Keeps the waves, shapes the surface by them, and tells what they do. */
template <class P, class Return, class H>
class OceanShaderCustomComponent {
public:
    explicit OceanShaderCustomComponent(const H& in) : isFixed_(in.wavesAreFixed()) {
        if (isFixed_) in.buildWaves(waves_);
    }

    void prepare(const H& in, const Vexabase& record) const {
        withWaves(in, [&](const OceanWaves& waves) { in.look(waves, record); });
    }

    miScalar displacement(const H& in) const {
        miScalar height = 0;
        withWaves(in, [&](const OceanWaves& waves) { height = in.height(waves, in(&P::shortestDisplacedWave)); });
        return height;
    }

    void write(const H& in, const SurfacePoint&, const PassWriter&, Return& result) const {
        const OceanView& sea = in.sea();
        result.height = sea.surface.height;
        result.foam = sea.foam;
        result.displacement = {sea.particle.moveX, sea.particle.height, sea.particle.moveZ};
    }

private:
    template <class Use>
    void withWaves(const H& in, Use use) const {
        if (isFixed_) return use(waves_);
        OceanWaves waves;
        in.buildWaves(waves);
        use(waves);
    }

    const bool isFixed_;
    OceanWaves waves_;
};

using Ocean =
    Surface<P, OceanShaderReturnType, H, DefaultAmbientMaterialColorComponent<P, H>, DefaultAmbientComponent<P, H>,
            OceanShaderDiffuseMaterialColorComponent<P, H>, DefaultDiffuseComponent<P, H>,
            OceanShaderSpecularComponent<P, H>, OceanShaderReflectionComponent<P, H>,
            OceanShaderRefractionComponent<P, H>, OceanShaderScatterComponent<P, H>, DefaultIndirectComponent<P, H>,
            DefaultIncandescenceComponent<P, H>, OceanShaderCustomComponent<P, OceanShaderReturnType, H>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaOceanShader, Ocean, "shaders/lumoOcean")

}  // namespace lumo
