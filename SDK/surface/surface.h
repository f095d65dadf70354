/* Surface materials: one template that fixes how a surface is shaded, with a component for each of its terms.
 *
 * A new material is a parameter record that begins with `LambertParameters surface`, a helper (SurfaceHelper<P> or one
 * that derives from it), and components for the terms that differ; the shortest is
 * shaders/materials/lumoLambert.cpp.
 *
 * The way of a call: the terms' parameters, material-color passes, the light loop (surface_lights.h), then refraction,
 * reflection, scatter, indirect light and incandescence, the composition, and the passes of these terms.
 */
#pragma once

#include "SDK/framework/renderer_access.h"
#include "SDK/passes/composition.h"
#include "SDK/surface/surface_components.h"
#include "SDK/surface/surface_lights.h"
#include "SDK/surface/secondary_rays.h"
#include "SDK/surface/surface_shadow.h"

namespace lumo {

/* The terms of the composition besides those of the light loop. */
struct SurfaceTerms {
    miColor ambient = kBlack, incandescence = kBlack, indirect = kBlack;
    miColor reflection = kBlack, refraction = kBlack, scatter = kBlack;
};

/* Bumps and back sides change the state's normal; whoever called the surface gets it back as it was. */
class NormalScope {
public:
    explicit NormalScope(miState* state) : state_(state), normal_(state->normal), dotNd_(state->dot_nd) {}
    ~NormalScope() {
        state_->normal = normal_;
        state_->dot_nd = dotNd_;
    }

    NormalScope(const NormalScope&) = delete;
    NormalScope& operator=(const NormalScope&) = delete;

private:
    miState* const state_;
    const miVector normal_;
    const miScalar dotNd_;
};

template <class P, class Return = SurfaceShaderReturnType, class H = SurfaceHelper<P>,
          class AmbientMaterialColor = DefaultAmbientMaterialColorComponent<P, H>,
          class Ambient = DefaultAmbientComponent<P, H>,
          class DiffuseMaterialColor = DefaultDiffuseMaterialColorComponent<P, H>,
          class Diffuse = DefaultDiffuseComponent<P, H>, class Specular = DefaultSpecularComponent<P, H>,
          class Reflection = DefaultReflectionComponent<P, H>, class Refraction = DefaultRefractionComponent<P, H>,
          class Scatter = DefaultScatterComponent<P, H>, class Indirect = DefaultIndirectComponent<P, H>,
          class Incandescence = DefaultIncandescenceComponent<P, H>,
          class Custom = DefaultCustomComponent<P, Return, H>, int version = kInterfaceVersion>
class Surface : public Material<P, H, version> {
public:
    using Result = Return;

    explicit Surface(const H& in)
        : Material<P, H, version>(in),
          ambientMaterialColor_(in),
          ambient_(in),
          diffuseMaterialColor_(in),
          diffuse_(in),
          specular_(in),
          reflection_(in),
          refraction_(in),
          scatter_(in),
          indirect_(in),
          incandescence_(in),
          custom_(in) {}
    ~Surface() override { destroy_scatter(scatterCache_); }

    miBoolean shade(Return* result, const H& in) const {
        if (in.isHandled()) return miTRUE;
        if constexpr (requires { custom_.displacement(in); }) {
            if (isDisplacing(in)) {
                *reinterpret_cast<miScalar*>(result) = custom_.displacement(in);
                return miTRUE;
            }
        }
        Vexabase* record = requireVexabase(in.state(), H::kComplaint);
        if (!record) return miFALSE;
        if (in.state()->type == miRAY_SHADOW) {
            // A shadow ray's result is one color, not a record.
            return castShadow(reinterpret_cast<miColor*>(result), in, *record);
        }
        *result = {};
        shadeSeen(*result, in, *record);
        return miTRUE;
    }

private:
    using Lights = SurfaceLights<H, Diffuse, Specular>;

    /* Called from a material's `displace` slot, where the result is one scalar. */
    static bool isDisplacing(const H& in) {
        miInteger callType = miSHADER_COUNT;
        return mi_query(miQ_FUNC_CALLTYPE, in.state(), miNULLTAG, &callType) && callType == miSHADER_DISPLACE;
    }

    void shadeSeen(Return& result, const H& in, Vexabase& record) const {
        const NormalScope normal(in.state());
        const FrameBuffers buffers = currentFrameBuffers(in.state());
        SurfacePoint point = pointOf(in, record);
        PassWriter passes(in.state(), buffers, this->passWriteMode, this->passWriteFlagByte(), &this->passWriteWeight);
        if (point.matteMode == 0) passes.close();  // a hole is a hole in every pass

        SurfaceTerms terms;
        Lights lights(in, point, passes, diffuse_, specular_);
        {
            // What is seen on a surface, or through it, counts for as much as the surface lets it.
            const WeightScope weight(record);
            if (!point.wants(kTermShadowRatio))
                weight.multiply((1 - point.transparency) * point.color, point.glowIntensity);
            readMaterialColors(in, point);
            writeMaterialColors(point, passes);
            if (point.wants(kTermAmbient)) terms.ambient = ambient_.term(in, point);
            if (point.composition.perLight) lights.run();
            computeTerms(in, point, passes, terms);
        }
        compose(result, in, point, lights, terms);
        writeTotals(result, point, passes, terms);
        custom_.write(in, point, passes, result);
        record.refractionValue = in.common(&LambertParameters::refractionDepth);
    }

    SurfacePoint pointOf(const H& in, Vexabase& record) const {
        miState* state = in.state();
        applyBump(in);
        custom_.prepare(in, record);
        SurfacePoint point;
        point.state = state;
        point.record = &record;
        point.composition = compositionFor(record.compositionMode, state);
        point.transparency = in.transparency();
        point.translucence = in.common(&LambertParameters::translucence);
        point.translucenceFocus = point.translucenceDepth = 0;
        if (point.translucence != 0) {
            point.translucenceFocus = in.common(&LambertParameters::translucenceFocus);
            point.translucenceDepth = in.common(&LambertParameters::translucenceDepth);
        }
        point.matteMode = in.common(&LambertParameters::matteOpacityMode);
        point.glowIntensity = in.common(&LambertParameters::glowIntensity);
        point.hideSource = in.common(&LambertParameters::hideSource);
        point.normal = state->normal;
        point.normalEye = -state->dot_nd;
        point.mirror = mirrored(state->dir, state->normal);
        point.color = in.color(point);
        return point;
    }

    void readMaterialColors(const H& in, SurfacePoint& point) const {
        point.ambientMaterial = ambientMaterialColor_.term(in, point);
        point.diffuse = in.common(&LambertParameters::diffuse);
        point.diffuseMaterial = diffuseMaterialColor_.term(in, point);
    }

    /* A connected bump gives the normal in camera space, or changes the state's normal itself and gives nothing. */
    static void applyBump(const H& in) {
        if (!in.commonIsConnected(&LambertParameters::normalCamera)) return;
        miState* state = in.state();
        miVector normal = in.common(&LambertParameters::normalCamera);
        mi_normal_from_camera(state, &normal, &normal);
        const miScalar length = mi_vector_norm(&normal);
        if (length > 0 && std::isfinite(length)) {
            mi_vector_div(&normal, length);
            state->normal = normal;
        }
        state->dot_nd = mi_vector_dot(&state->normal, &state->dir);
    }

    void writeMaterialColors(const SurfacePoint& point, const PassWriter& passes) const {
        if (!passes.isOpen()) return;
        passes.write(kPassAmbientMaterialColor, point.ambientMaterial);
        passes.write(kPassDiffuseMaterialColor, point.diffuseMaterial * point.diffuse);
        passes.write(kPassMatte, kBlack);
        passes.write(kPassTransparency, point.transparency);
    }

    void computeTerms(const H& in, SurfacePoint& point, const PassWriter& passes, SurfaceTerms& terms) const {
        terms.refraction = refraction_.term(in, point, passes);
        if (point.wants(kTermReflection)) terms.reflection = reflection_.term(in, point, passes);
        if (point.wants(kTermScatter)) terms.scatter = scatter_.term(in, point, scatterCache_);
        if (point.wants(kTermIndirect)) terms.indirect = indirect_.term(in, point);
        if (point.wants(kTermIncandescence)) terms.incandescence = incandescence_.term(in, point);
    }

    void compose(Return& result, const H& in, SurfacePoint& point, const Lights& lights,
                 const SurfaceTerms& terms) const {
        result.transparency = point.transparency;
        composite(&point.composition, &result, &terms.ambient, &terms.incandescence, &terms.indirect, lights.direct(),
                  lights.shadowRatio(), lights.specular(), &terms.reflection, &terms.refraction, &terms.scatter,
                  &point.transparency, point.glowIntensity, point.glowIntensity, point.hideSource, point.matteMode,
                  in.common(&LambertParameters::matteOpacity));
        // Rays that looked behind already are in the color: compositing must not look there again.
        if (point.refractionTraced && point.wants(kTermRefraction)) result.transparency = kBlack;
    }

    void writeTotals(const Return& result, const SurfacePoint& point, const PassWriter& passes,
                     const SurfaceTerms& terms) const {
        if (!passes.isOpen()) return;
        passes.write(kPassRefraction, terms.refraction);
        passes.write(kPassReflection, terms.reflection);
        passes.write(kPassScatter, terms.scatter);
        passes.write(kPassIndirect, terms.indirect);
        passes.write(kPassIncandescence, terms.incandescence);
        passes.write(kPassGlow, result.glowColor);
        passes.writeScalar(kPassIncidence, point.normalEye < 0 ? 1 : 1 - point.normalEye);
        passes.write(kPassAmbient, terms.ambient);
        if (point.hideSource) return;
        // Ambient is not attenuated here as it is in the color: kept so, the beauty passes are added up from it.
        const miColor rest =
            (terms.indirect + terms.scatter) * (1 - point.transparency) + terms.incandescence + terms.ambient;
        passes.write(kPassBeauty, rest);
        passes.write(kPassBeautyNoShadow, rest);
    }

    mutable ScatterCache* scatterCache_ = nullptr; /* threads share it; see compute_scatter */
    [[no_unique_address]] const AmbientMaterialColor ambientMaterialColor_;
    [[no_unique_address]] const Ambient ambient_;
    [[no_unique_address]] const DiffuseMaterialColor diffuseMaterialColor_;
    [[no_unique_address]] const Diffuse diffuse_;
    [[no_unique_address]] const Specular specular_;
    [[no_unique_address]] const Reflection reflection_;
    [[no_unique_address]] const Refraction refraction_;
    [[no_unique_address]] const Scatter scatter_;
    [[no_unique_address]] const Indirect indirect_;
    [[no_unique_address]] const Incandescence incandescence_;
    [[no_unique_address]] const Custom custom_;
};

}  // namespace lumo
