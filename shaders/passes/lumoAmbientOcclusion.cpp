/* lumoPassAmbientOcclusion: how open the surroundings of the hit are, as the renderer's ambient occlusion finds.
 *
 * Parameters behind the common ones count only with `customSettings`; else open places are white, hidden ones black and
 * transparent, and the renderer's own settings apply. Settings of the renderer are replaced by values above 0.
 * `output`: 0 mixes `bright` and `dark`, 1 tints the surroundings in the direction of the bent normal, 2 to 4 write the
 * bent normal in world, camera and object space, mapped from -1 .. 1 to 0 .. 1.
 *
 * Unlike the other passes it leaves transparency rays alone, and it answers while the renderer computes occlusion
 * ahead.
 *
 * Example:
 *   "lumoPassAmbientOcclusion" ( "pass" 0, "customSettings" 1, "rays" 64, "maximumDistance" 5 )
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct AmbientOcclusionParameters {
    PassHeader header;
    miInteger customSettings;
    miInteger rays;
    miColor bright, dark;
    miScalar spread, spreadExponent, maximumDistance;
    miInteger reflective; /* around the mirror direction instead of the normal */
    miInteger cachePoints;
    miInteger alpha; /* the alpha channel tells the openness */
    miInteger output;
};

namespace {

template <class P>
struct AOShaderEyeRayFilter {
    static bool accepts(const miState* state, miInteger stage) {
        return state->type == miRAY_EYE && (stage == miSTAGE_TILE || stage == miSTAGE_AMBOCCL);
    }
};

enum OcclusionOutput { kOpenness, kTintedSurroundings, kWorldNormal, kCameraNormal, kObjectNormal };

template <class Result, class P>
class AmbientOcclusionComputation {
public:
    explicit AmbientOcclusionComputation(const ShaderHelper<P>&) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        miState* state = in.state();
        miAmboccl_options options;
        miAMBOCCL_DEFAULT(&options, state);
        const Look look = in(&P::customSettings) ? customised(in, options) : Look{};
        miVector bent = options.axis;
        const miScalar open = 1 - mi_ambient_occlusion(state, &options, &bent);
        value = outputOf(look, state, open, bent);
    }

private:
    struct Look {
        miColor bright = {1, 1, 1, 1}, dark = kBlack;
        bool alphaTells = false;
        miInteger output = kOpenness;

        miScalar alphaOf(miScalar open) const { return alphaTells ? open : 1; }
    };

    template <class T>
    static void replaceIfAboveZero(T& setting, T value) {
        if (value > 0) setting = value;
    }

    static Look customised(const ShaderHelper<P>& in, miAmboccl_options& options) {
        if (const miInteger rays = in(&P::rays)) options.rays = rays;
        if (in(&P::reflective)) mi_reflection_dir(&options.axis, in.state());
        replaceIfAboveZero(options.spread, in(&P::spread));
        replaceIfAboveZero(options.spread_exp, in(&P::spreadExponent));
        replaceIfAboveZero(options.maxdist, in(&P::maximumDistance));
        replaceIfAboveZero(options.cache_points, in(&P::cachePoints));

        Look look{in(&P::bright), in(&P::dark), in(&P::alpha) != 0, in(&P::output)};
        look.bright.a = 1;
        look.dark.a = 0;
        return look;
    }

    static Result outputOf(const Look& look, miState* state, miScalar open, const miVector& bent) {
        switch (look.output) {
            case kTintedSurroundings: return tinted(look, state, open, bent);
            case kWorldNormal: return shown(bent, look.alphaOf(open));
            case kCameraNormal: return shown(inSpace(state, bent, mi_normal_to_camera), look.alphaOf(open));
            case kObjectNormal: return shown(inSpace(state, bent, mi_normal_to_object), look.alphaOf(open));
            default: return mixed(look, open);
        }
    }

    /* Both ends keep the alpha of their colors, whether alpha tells the openness or not: what is hidden wholly stays
     * transparent. */
    static Result mixed(const Look& look, miScalar open) {
        if (open == 0) return look.dark;
        if (open >= 1) return look.bright;
        Result color = look.dark * (1 - open) + look.bright * open;
        color.a = look.alphaOf(open);
        return color;
    }

    static Result tinted(const Look& look, miState* state, miScalar open, const miVector& bent) {
        Result surroundings = kBlack;
        mi_trace_environment(&surroundings, state, &bent);
        Result color = surroundings * look.bright * open + look.dark;
        color.a = look.alphaOf(open);
        return color;
    }

    template <class Transform>
    static miVector inSpace(const miState* state, const miVector& world, const Transform& transform) {
        miVector internal, result;
        mi_normal_from_world(state, &internal, &world);
        transform(state, &result, &internal);
        if (mi_vector_norm(&result) > 0) mi_vector_normalize(&result);
        return result;
    }

    static Result shown(const miVector& v, miScalar alpha) {
        return {(v.x + 1) * 0.5f, (v.y + 1) * 0.5f, (v.z + 1) * 0.5f, alpha};
    }
};

using AmbientOcclusion =
    PassShader<miColor, AmbientOcclusionParameters, AmbientOcclusionComputation<miColor, AmbientOcclusionParameters>,
               AOShaderEyeRayFilter<AmbientOcclusionParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassAmbientOcclusion, AmbientOcclusion, "shaders/lumoAmbientOcclusion")

}  // namespace lumo
