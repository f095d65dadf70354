/* lumoVexaUseBackground: the place of real things in a picture of a real scene. Objects with this material are not seen
 * themselves; they show what the other objects do to the plate behind them: shadows and reflections, and they hide what
 * lies behind.
 *
 * Two uses. For compositing (`backgroundMode` 0) the color holds reflections alone, and alpha what is to be taken from
 * the plate: plate x (1 - alpha) + color. Or the plate is known: a color or texture (1), or the surroundings of the
 * camera (2), and the picture is finished, the same that compositing gives. In mirrors and through refractions the plate
 * is seen in any case, that of mode 0 as the surroundings in the ray's direction.
 *
 *   shadow = shadowMask x (1 - luminance(light with shadows) / luminance(light without)), light times cosine, of all
 *   lights that reach the front; without light there is none
 *
 * Parameters
 *   passWriteMode, passWriteFlags, passWriteWeight      as of all materials
 *   backgroundMode        see above
 *   background            the plate, for mode 1
 *   shadowMask            how much of a full shadow is caught, 0 to 1
 *   shadowColor           what a full shadow looks like, where it is not black
 *   selfShadow            whether objects of this material shade each other. As a rule the plate has these shadows
 *                         already. It takes the material to be its own shadow shader
 *   specularColor, reflectivity   times what is mirrored
 *   reflectionLimit, reflectionBlur, reflectionRays     as of the other materials; blur is the radius of a cone of rays
 *                         at distance 1
 *   reflectsSurroundings  off: objects alone are mirrored, for the plate has the reflections of the real surroundings
 *   matteOpacityMode      0 black hole, 1 alpha is matteOpacity, 2 alpha times matteOpacity
 *   glowIntensity         how much reflections glow
 *
 * Passes: 16 shadow and 17 reflection, each ready to be put over the plate with an alpha of its own (that of all other
 * color passes is 0 or 1, so of the whole only the picture has it, and 26 as a color); 12 to 15 the light that is
 * caught, of a white surface times `shadowMask`; 19 reflections, 22 the plate with its shadows, 0 and 34 the whole. The
 * outputs term5 and term8 are shadow and reflection.
 *
 * Example: the ground of a plate.
 *   shader "catcher" "lumoVexaUseBackground" ( "reflectivity" .1 )
 *   material "ground" "lumoVexaShadingEngine" ( "surfaceShader" = "catcher" ) shadow = "catcher" end material
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/contribution_weight.h"
#include "SDK/surface/secondary_rays.h"
#include "SDK/surface/surface_lights.h"
#include "SDK/surface/surface_point.h"
#include "shaders/materials/layered_surface.h"

#include <algorithm>

namespace lumo {

struct UseBackgroundParameters {
    MaterialHeader header;
    miInteger backgroundMode;
    miColor background;
    miScalar shadowMask;
    miColor shadowColor;
    miBoolean selfShadow;
    miColor specularColor;
    miScalar reflectivity;
    miInteger reflectionLimit;
    miScalar reflectionBlur;
    miInteger reflectionRays;
    miBoolean reflectsSurroundings;
    miInteger matteOpacityMode;
    miScalar matteOpacity;
    miScalar glowIntensity;
};

namespace {

using P = UseBackgroundParameters;

enum BackgroundMode : miInteger { kNoBackground = 0, kColor = 1, kSurroundings = 2 };

/* The light that reaches the surface with and without shadows, and what of it was blocked, for the passes. */
class ShadowMeter {
public:
    ShadowMeter(miState* state, Vexabase& record, const CompositionState& composition, const PassWriter& passes,
                miScalar mask)
        : state_(state), data_(record.light), composition_(composition), passes_(passes), mask_(mask) {}

    /* Share of the light that was blocked, 0 to 1. */
    miScalar measure() {
        if (!composition_.perLight) return 0;
        int count = 0;
        miTag* lights = nullptr;
        mi_instance_lightlist(&count, &lights, state_);
        for (int i = 0; lights && i < count; ++i)
            if (lights[i] != miNULLTAG) sampleLight(lights[i]);
        const miScalar whole = luminance(sums_.color[1]);
        return whole > 0 ? std::clamp(1 - luminance(sums_.color[0]) / whole, 0.0f, 1.0f) : 0;
    }

private:
    struct Run {
        LitSums sums;
        bool isForeign = true; /* the light does not tell what it gives before shadows */
        bool isDiffuse = true; /* and lights surfaces that are not glossy */
    };

    void sampleLight(miTag light) {
        passes_.beginLight();
        Run run;
        const int samples = addSamples(light, run);
        passes_.endLight(samples);
        if (samples <= 0 || !run.isDiffuse) return;
        run.sums.scale(1 / static_cast<miScalar>(samples));
        sums_.add(WHITE, run.sums.color[0], run.isForeign ? lightWithoutShadow(light) : run.sums.color[1]);
    }

    int addSamples(miTag light, Run& run) {
        data_ = LightData{};
        data_.withoutSampleTerms = !composition_.perSample;
        miColor color = kBlack;
        miVector direction;
        miScalar cosine = 0;
        int samples = 0;
        while (mi_sample_light(&color, &direction, &cosine, state_, light, &samples)) {
            passes_.takeForeignLight(color, light);
            run.isDiffuse = data_.isAmbient || data_.emitsDiffuse;
            if (!run.isDiffuse) continue;
            const miScalar term = data_.isAmbient ? 1 : cosineOf(cosine);
            run.sums.add({term, term, term, term}, color, data_.color);
            run.isForeign = run.isForeign && isBlack(data_.color);
            addToPasses(term);
        }
        return samples;
    }

    miScalar cosineOf(miScalar cosine) const {
        if (data_.corners) cosine = arealight_lambertian_reflect(&state_->point, &state_->normal, data_.corners);
        return cosine > 0 ? cosine : 0;
    }

    void addToPasses(miScalar term) const {
        const miScalar caught = term * mask_;
        const miColor value = {caught, caught, caught, 1};
        for (const PassType type : {kPassShadow, kPassShadowIrradiance}) passes_.addLit(type, value);
        for (const PassType type : {kPassShadowLuminance, kPassShadowCosine}) passes_.addLitLuminance(type, value);
    }

    /* The same light once more, in a scene without shadows. Times cosine, the mean of its samples. */
    miColor lightWithoutShadow(miTag light) const {
        miOptions options = *state_->options;
        options.shadow = 0;
        const miOptions* const before = state_->options;
        state_->options = &options;
        miColor sum = kBlack, color = kBlack;
        miVector direction;
        miScalar cosine = 0;
        int samples = 0;
        while (mi_sample_light(&color, &direction, &cosine, state_, light, &samples))
            sum = sum + color * cosineOf(cosine);
        state_->options = before;
        return samples > 0 ? sum * (1 / static_cast<miScalar>(samples)) : kBlack;
    }

    miState* const state_;
    LightData& data_;
    const CompositionState& composition_;
    const PassWriter& passes_;
    const miScalar mask_;
    LitSums sums_;
};

class UseBackgroundClass : public Material<P> {
public:
    using Result = SurfaceShaderReturnType;

    explicit UseBackgroundClass(const Helper& in) : Material(in) {}

    miBoolean shade(Result* result, const Helper& in) const {
        miState* state = in.state();
        Vexabase* record = requireVexabase(state);
        if (!record) return miFALSE;
        if (miRAY_PHOTON(state->type)) return miTRUE;
        // A shadow ray's result is one color, not a record.
        if (state->type == miRAY_SHADOW) return castShadow(reinterpret_cast<miColor*>(result), in, *record);
        *result = {};
        shadeSeen(*result, in, *record);
        return miTRUE;
    }

private:
    struct Caught {
        miScalar shadow = 0; /* times the mask */
        miColor reflection = kBlack;
        miScalar covered = 0; /* of the plate, by reflections */
    };

    void shadeSeen(Result& result, const Helper& in, Vexabase& record) const {
        miState* state = in.state();
        const FrameBuffers buffers = currentFrameBuffers(state);
        PassWriter passes(state, buffers, passWriteMode, passWriteFlagByte(), &passWriteWeight);
        const miInteger matte = in(&P::matteOpacityMode);
        if (matte == kMatteHole) passes.close();

        CompositionState composition;
        bc_construct(&composition, record.compositionMode, state);
        Caught caught;
        const miScalar mask = in(&P::shadowMask);
        caught.shadow = mask * ShadowMeter(state, record, composition, passes, mask).measure();
        if (composition.mask & kTermReflection) addReflection(caught, in, record, passes);
        if (composition.mode == 2)
            result.matteOpacity = {caught.shadow, caught.shadow, caught.shadow, 0};
        else
            compose(result, in, caught, passes, matte);
        bc_destruct(&composition);
    }

    static void addReflection(Caught& caught, const Helper& in, Vexabase& record, const PassWriter& passes) {
        miState* state = in.state();
        const miColor level = in(&P::specularColor) * in(&P::reflectivity);
        if (isBlack(level) || !mayTrace(state, RayKind::kReflection, in(&P::reflectionLimit))) return;
        miVector side = state->normal_geom;
        if (mi_vector_dot(&side, &state->dir) > 0) mi_vector_neg(&side);
        RayBundle bundle = {
            RayKind::kReflection, mirrored(state->dir, state->normal), side, {}, in(&P::reflectionRays)};
        bundle.lobe.blur = in(&P::reflectionBlur);
        bundle.objectsOnly = !in(&P::reflectsSurroundings);
        const WeightScope weight(record);
        weight.multiply(level, in(&P::glowIntensity));
        const miColor seen =
            traceBundle(state, passes.traced(), bundle, {level.r, level.g, level.b, 1}, RayKind::kReflection);
        caught.reflection = seen * level;
        caught.covered = luminance(level) * (bundle.objectsOnly ? seen.a : 1);
    }

    /* What is behind, as far as it is known. */
    static bool findPlate(miColor& plate, const Helper& in) {
        miState* state = in.state();
        const miInteger mode = in(&P::backgroundMode);
        plate = kBlack;
        if (mode == kColor)
            plate = in(&P::background);
        else if (mode == kNoBackground && isSeenStraight(state))
            return false;
        else {
            const HitScope hit(state);
            const miVector dir = state->dir;
            mi_trace_environment(&plate, state, &dir);
        }
        return true;
    }

    static void compose(Result& result, const Helper& in, const Caught& caught, const PassWriter& passes,
                        miInteger matte) {
        result.opacity = {1, 1, 1, 0};
        if (matte == kMatteHole) {
            result.matteOpacity = matteFrom(matte, 0, 0);
            return;
        }
        miColor plate;
        const bool known = findPlate(plate, in);
        const miScalar taken = std::clamp(caught.shadow + caught.covered, 0.0f, 1.0f);
        const miScalar alpha = known ? plate.a : taken;
        const miColor left = plate * (1 - taken) + in(&P::shadowColor) * caught.shadow;
        result.matteOpacity = matteFrom(matte, in(&P::matteOpacity), alpha);

        result.color = left + caught.reflection;
        result.color.a = result.matteOpacity.r;
        result.glowColor = caught.reflection * in(&P::glowIntensity);
        result.glowColor.a = 0;
        result.term5 = {caught.shadow, caught.shadow, caught.shadow, 0};
        result.term8 = caught.reflection;
        writePasses(result, in, caught, left, plate, passes);
    }

    /* Reflections have been in the beauty passes since their rays were traced. */
    static void writePasses(const Result& result, const Helper& in, const Caught& caught, const miColor& left,
                            const miColor& plate, const PassWriter& passes) {
        const auto with = [](miColor color, miScalar alpha) {
            color.a = alpha;
            return color;
        };
        passes.writeWithAlpha(kPassBeauty, with(left, result.color.a));
        passes.writeWithAlpha(kPassBeautyNoShadow, with(plate * (1 - caught.covered), result.color.a));
        passes.writeWithAlpha(kPassOwnAlpha16, with(in(&P::shadowColor) * caught.shadow, caught.shadow));
        passes.writeWithAlpha(kPassOwnAlpha17, with(caught.reflection, caught.covered));
        passes.write(kPassReflection, caught.reflection);
        passes.write(kPassIncandescence, left);
        passes.write(kPassGlow, result.glowColor);
        passes.write(kPassMatte, result.matteOpacity);
        passes.write(kPassTransparency, kBlack);
    }

    /* The real thing shades what is put into the plate, but as a rule not its own kind. */
    static miBoolean castShadow(miColor* light, const Helper& in, Vexabase& record) {
        miState* state = in.state();
        const miState* lit = state;
        while (lit && (lit->type == miRAY_SHADOW || lit->type == miRAY_LIGHT)) lit = lit->parent;
        const bool own = lit && lit->material == state->material && !in(&P::selfShadow);
        castPlainShadow(state, light, record, own ? WHITE : kBlack);
        return miTRUE;  // each occluder has its say in the passes
    }
};

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaUseBackground, UseBackgroundClass, "shaders/lumoUseBackground")

}  // namespace lumo
