/* Part of SDK/lumo.h: results and terms of surface materials. */
#ifndef LUMO_SDK_LUMO_SURFACE_H
#define LUMO_SDK_LUMO_SURFACE_H

#include "lumo_lights.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Surface materials ----------------------------------------------------------------------------------------- */

/* Result of every surface material: 64 floats. Where only red, green and blue are named, alpha stays 0. */
typedef struct SurfaceShaderReturnType {
    miColor color;        /* what the surface looks like; alpha is that of the base color */
    miColor glowColor;    /* rgb */
    miColor matteOpacity; /* rgb; kBlackHole in each cuts a hole into the picture */
    miColor
        transparency; /* T of the surface, as compositing is to see it: 0 where refracted rays already looked behind */
    miColor term0;    /* ambient. These copies are written when the composition's mask has the bit of their number */
    miColor term1;    /* incandescence */
    miColor term2;    /* indirect light */
    miColor term3;    /* direct light */
    miColor term4;    /* direct light without shadow */
    miColor term5;    /* rgb: share of the light that was blocked */
    miColor term6;    /* specular */
    miColor term7;    /* specular, with bit 7; see bc_composite */
    miColor term8;    /* reflection */
    miColor term9;    /* refraction */
    miColor term10;   /* scatter */
    miColor opacity;  /* rgb: 1 - T */
} SurfaceShaderReturnType;

static const miScalar kBlackHole = -1000000.0f;

/* Bits of a composition's mask: which terms a surface computes, adds and records. */
enum {
    kTermAmbient = 0x1,
    kTermIncandescence = 0x2,
    kTermIndirect = 0x4,
    kTermDirect = 0x8,          /* light as sampled */
    kTermDirectNoShadow = 0x10, /* light before shadows */
    kTermShadowRatio = 0x20,    /* also leaves the weight of secondary rays as it is */
    kTermSpecular = 0x40,
    kTermSpecularNoShadow = 0x80,
    kTermReflection = 0x100,
    kTermRefraction = 0x200,
    kTermScatter = 0x400
};

enum { kCompositionModes = 7 };

typedef struct CompositionState {
    miInteger mode;   /* 0 to 6; 0 is a normal render, 2 the shadow ratio alone */
    miUint perLight;  /* 1: the light loop runs */
    miUint perSample; /* 1: lights trace their shadows */
    miUint mask;
} CompositionState;

/* Fills a composition for one of the modes; any other number composes like 0. Mode 6 is for final gathering: outside of
 * it only indirect light, refraction and reflection are left. */
LUMO_API void bc_construct(CompositionState* composition, miInteger mode, miState* state);

/* Composes the terms of a surface into its result, in which `transparency` must be set and the rest be 0.
 *   base, specular  two colors each: with light as sampled, with light before shadows
 *   scalar          share of the light that was blocked, 0 to 1
 *   transparency    attenuates what lies on the surface: all but incandescence, specular, reflection and refraction
 *   hide            the color is black; glow stays
 *   matteMode       0 black hole (nothing else is written), 1 matteOpacity, 2 matteOpacity times opacity
 * specular, reflection and scatter may be null. */
LUMO_API void bc_composite(const CompositionState* composition, SurfaceShaderReturnType* result, const miColor* ambient,
                           const miColor* incandescence, const miColor* indirect, const miColor* base, miScalar scalar,
                           const miColor* specular, const miColor* reflection, const miColor* refraction,
                           const miColor* scatter, const miColor* transparency, miScalar glowScale,
                           miScalar glowSpecularScale, miBoolean hide, miInteger matteMode, miScalar matteOpacity);

LUMO_API void bc_destruct(CompositionState* composition);

/* ---- Surface materials: models --------------------------------------------------------------------------------- */

LUMO_API extern const miScalar TRANSLUCENCE_ANGLE_FAC; /* -11.5: cosine to which a depth of 1 lets light through */
LUMO_API extern const miScalar TRANSLUCENCE_FADE;      /* 0.15: range of cosines over which it fades in */

/* Factor of the light that shines through a thin surface.
 *   cosine     of the shading normal and `direction`; below 0 the light is behind the surface
 *   direction  from the point to the light, unit length
 *   focus      0: the same to all sides; towards 1 only straight on. At 1 the exponent is 100000
 *   depth      0: only light from the front; 1 widens the range of cosines by 11.5
 *   corners    four of an area light, else null */
LUMO_API miScalar compute_lambert_translucence(miState* state, miScalar cosine, const miVector* direction,
                                               miScalar translucence, miScalar focus, miScalar depth,
                                               const miVector* corners);

/* Highlights. `light` is the direction from the point to the light. Rays other than eye rays see the highlight times
 * `secondarySpecularScale`, and none when that is not above 0. */

/* cosine^power of the light's angle to the mirrored ray, but not below 4.54e-5 up to a right angle. `reflection` has
 * unit length. */
LUMO_API miScalar compute_phong_specular(const miVector* reflection, miScalar cosinePower,
                                         miScalar secondarySpecularScale, const miVector* light, const miState* state);

/* Highlight of small facets. Vectors have unit length.
 *   cosine, normalEye  of the normal with light and with the direction to the eye
 *   eccentricity       width of the highlight: 0 small to 1 everywhere
 *   specularRollOff    share that is reflected head on; at grazing angles all is */
LUMO_API miScalar compute_blinn_specular(miScalar cosine, miScalar normalEye, const miVector* light,
                                         miScalar eccentricity, miScalar specularRollOff,
                                         miScalar secondarySpecularScale, const miVector* normal, const miState* state);

/* Highlight of a thin fibre: 1 where `tangent` has the same cosine with both directions, falling smoothly to 0 where
 * the cosines are 1 and -1; to this power. For light that a fibre mirrors to the eye: the direction to the light, and
 * that of the eye's ray. Unit length all three. */
LUMO_API miScalar compute_hairtubeshader_specular(miScalar power, const miVector* a, const miVector* b,
                                                  const miVector* tangent);

/* Indirect light from final gathering or photons at the state's point, times `irradianceColor`, `diffuse` and the
 * surface color. `irradianceColor` and `irradiance` are addresses inside the running shader's parameter block; a
 * connected `irradiance` takes the place of the gathering. The number of rays falls with the weight with which this
 * surface counts in the pixel, between the two importance thresholds of the per-sample record. Alpha is 0. Returns
 * `result`. */
LUMO_API miColor* compute_irradiance(miColor* result, const miColor* irradianceColor, miScalar diffuse,
                                     const miColor* surfaceColor, const miColor* transparency, miScalar glowIntensity,
                                     const miColor* irradiance, miState* state);

/* How a surface refracts. */
typedef struct RefractionSettings {
    miBoolean refractions;      /* off: compositing looks straight through the surface */
    miScalar refractiveIndex;   /* of the inside; 1 is air. That of the outside is known from the ray. Not above 0: 1 */
    miScalar refractionDepth;   /* handed on for the material's own use */
    miScalar lightAbsorbance;   /* light falls to 1/e over a way of 1 / this inside */
    miScalar surfaceThickness;  /* above 0: a sheet of this thickness instead of the boundary of a solid */
    miScalar shadowAttenuation; /* these two are for shadow rays */
    miScalar transparencyDepth;
    miBoolean chromaticAberration; /* red, green and blue take ways of their own */
    miScalar refractionBlur;       /* radius of the cone of rays at distance 1 */
    miInteger refractionLimit;     /* rays that were refracted this often go on straight */
    miInteger refractionRays;      /* of a blurred refraction; at least 1 is traced */
    miBoolean hideSource;          /* the surface itself is not seen, so nothing is traced */
    miColor transparency;          /* tints what is seen through */
} RefractionSettings;

/* What is seen through a surface, tinted; also folds the rays' passes into the entries, which are those of
 * getFrameBufferInfo (count 0: no passes). Returns 1 when rays were traced, so that the surface is to be treated as
 * opaque from then on; else *result is black. */
LUMO_API miBoolean compute_refraction(miColor* result, miState* state, const RefractionSettings* settings,
                                      PassState* passes, miUint count, FrameBufferInfo* entries);

/* How the rays of a blurred reflection are spread: as facets of the surface, or light around the mirrored ray, make a
 * highlight of the same parameters. reflectionBlur times the angles: 1 blurs as much as the highlight. */
enum {
    kLobeCone = 0,  /* evenly over a disc; reflectionBlur is its radius at distance 1 */
    kLobePower = 1, /* cosine of the angle to the mirrored ray, to the power lobe[0] */
    kLobeSoft = 2,  /* t lobe[0] / (t^2 (lobe[0] - 1) + 1), t = 1 - (1 - cosine) / lobe[1] */
    kLobeFacets = 3 /* normals of facets, after Trowbridge and Reitz: lobe[0] wide along lobeTangent, lobe[1] across */
};

/* How a surface reflects. */
typedef struct ReflectionSettings {
    miScalar reflectivity;
    miColor color;             /* times reflectivity: the weight of the rays' passes */
    miScalar glowIntensity;    /* handed on for the material's own use */
    miInteger reflectionLimit; /* rays that were reflected this often reflect no more */
    miScalar reflectionBlur;   /* not above 0: sharp; see above */
    miInteger reflectionRays;  /* of a blurred reflection; at least 1 is traced */
    miVector normal;           /* shading normal */
    miScalar normalEye;        /* cosine of the normal and the direction to the eye */
    miInteger lobe;
    miScalar lobeWidth[2];
    miVector lobeTangent; /* in the surface, unit length; for kLobeFacets */
    miBoolean colorIsMap; /* `color` is a picture of the surroundings, which serves where no ray may be traced */
} ReflectionSettings;

/* The color that is reflected, not yet times color and reflectivity; passes as above. Where the render's depths or the
 * limit allow no ray it is white with `colorIsMap`, else the environment in the mirrored direction, which then go into
 * the beauty passes. Returns 1 when there was any of it; else *result is black. */
LUMO_API miBoolean compute_reflection(miColor* result, miState* state, const ReflectionSettings* settings,
                                      PassState* passes, miUint count, FrameBufferInfo* entries);

/* How light spreads below a surface. Colors out of 0 to 1 are brought into it; what is no number counts as 0. */
typedef struct ScatterSettings {
    miScalar scatterRadius;   /* mean free path inside, in internal space; not above 0 or not finite: black */
    miColor scatterColor;     /* diffuse albedo of the inside: also decides how far each color spreads */
    miScalar scatterAccuracy; /* rays that look for light around the point, 1 to 1024; rounded up */
    miInteger scatterFalloff; /* 0 diffusion; 1 to 3: linear, quadratic, cubic, down to 0 at the radius */
    miInteger scatterLimit;   /* on rays that were reflected and refracted this often, light leaves where it entered */
    miInteger scatterCache;   /* not 0: the light that enters an instance is gathered once and kept */
    miScalar diffuse;         /* share of the light that does not enter */
    miColor color;            /* tints what comes out */
    miScalar translucence, translucenceFocus, translucenceDepth; /* not used: they stand in for what is found here */
    const miVector* normalCamera; /* these three are addresses in the parameter block, or null; bumps are not used */
    const miColor* irradiance;
    const miColor* irradianceColor;
} ScatterSettings;

typedef struct ScatterCache ScatterCache;

/* Light that entered the state's surface around its point and comes out there, times color x scatterColor x (1 -
 * diffuse): from the surface's lights, and as indirect light the point's own. Never does more come out than goes in.
 * Alpha is 0; no passes are written.
 *   cache  address of the material's pointer, null at first; threads may share it. The material gives what it points to
 *          to destroy_scatter when it goes. Null: nothing is kept
 * Returns 1; 0 when nothing can come out, and *result is black. */
LUMO_API miBoolean compute_scatter(miColor* result, miState* state, const ScatterSettings* settings,
                                   ScatterCache** cache);

/* Frees what a material has kept; null is allowed. No thread may use it any more. */
LUMO_API void destroy_scatter(ScatterCache* cache);

/* Two unit vectors in the tangent plane: along the surface's derivatives in u and v (not at right angles, as a rule).
 * Returns 1; or 0 when the surface has none that span a plane, and gives two vectors at right angles around the normal,
 * so that the result is always of use. A normal that is no direction gives the x and y axes. */
LUMO_API miBoolean get_derivs(const miState* state, miVector* u, miVector* v);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
