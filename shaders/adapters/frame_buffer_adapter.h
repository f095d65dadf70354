/* Materials of other libraries in the passes of this one. An adapter stands where the material would: it calls the
 * material, once, gives its color on, and writes the material's outputs into the passes that they belong to.
 *
 * A new adapter is a record that derives from AdapterParameters, and a helper with
 *   kRoutes      which outputs go into which passes; rows of one pass stand together and are added up
 *   kPublished   beginning of the material's published declaration, for renderers that do not tell the scene's
 *   kCastsShadow whether the material is its own shadow shader; else it is opaque
 *
 * The material knows nothing of passes and lights its whole surface at once: what passes select by light or occluder,
 * and what is without shadow, it cannot tell apart. So passes without shadow hold the light with shadows, and shadow
 * passes nothing. What the material traces itself - reflections, refractions, what is behind - is in its color and in
 * the passes of these terms, in one piece.
 */
#pragma once

#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface.h"
#include "shaders/adapters/declared_outputs.h"
#include "shaders/materials/layered_surface.h"

#include <cstring>
#include <iterator>

namespace lumo {

struct AdapterParameters {
    MaterialHeader header;
    miTag material;
    miInteger matteOpacityMode;
    miScalar matteOpacity;
};

/* Light is lessened where the material cuts holes into its object. */
struct AdapterRoute {
    PassType pass;
    const char* output;
    bool isLight = true;
};

/* What a call of the material gave. */
class AdaptedResult {
public:
    static constexpr miInteger kLargest = 2048;

    miColor* begin() { return reinterpret_cast<miColor*>(bytes_); }

    /* A scalar is a gray. */
    miColor operator[](const DeclaredOutput& output) const {
        miColor color = kBlack;
        std::memcpy(&color, bytes_ + output.offset, output.isScalar ? sizeof color.r : sizeof color);
        return output.isScalar ? miColor{color.r, color.r, color.r, color.r} : color;
    }

private:
    alignas(16) char bytes_[kLargest] = {};
};

template <class P, class ResultType, class H, int version = kInterfaceVersion>
class FrameBufferAdapter : public Material<P, ShaderHelper<P>, version> {
public:
    using Result = ResultType;
    using Helper = ShaderHelper<P>;

    explicit FrameBufferAdapter(const Helper& in) : Material<P, Helper, version>(in), material_(in(&P::material)) {
        miInteger size = 0;
        if (material_ != miNULLTAG && mi_query(miQ_FUNC_RESULT_SIZE, in.state(), material_, &size)) size_ = size;
        for (std::size_t i = 0; i < std::size(H::kRoutes); ++i) outputs_[i] = find(in.state(), H::kRoutes[i].output);
        beauty_ = find(in.state(), "result");
        if (!beauty_) reportError("A material has no output \"result\", or a larger record than its adapter can take.");
    }

    miBoolean shade(Result* result, const Helper& in) const {
        return shadeSeen(result, in, [](const AdaptedResult&) { return miColor{1, 1, 1, 1}; });
    }

protected:
    /* `shareOf` tells which part of the place the object takes. */
    template <class ShareOf>
    miBoolean shadeSeen(Result* result, const Helper& in, ShareOf shareOf) const {
        miState* state = in.state();
        Vexabase* record = requireVexabase(state);
        if (!record || !beauty_) return miFALSE;
        if (miRAY_PHOTON(state->type)) return miTRUE;
        if (state->type == miRAY_SHADOW) {
            castShadow(&result->color, state, *record);
            return miTRUE;  // each occluder has its say in the passes
        }

        const FrameBuffers buffers = currentFrameBuffers(state);
        AdaptedResult adapted;
        if (!call(adapted, state, *record, buffers)) return miFALSE;
        compose(*result, in, adapted);
        writePasses(*result, in, buffers, adapted, shareOf(adapted));
        return miTRUE;
    }

    /* Of an output that the material does not have: nothing. */
    std::optional<DeclaredOutput> find(miState* state, const char* name) const {
        const std::string_view declaration = declarationOf(state, material_);
        const auto output = declaredOutput(declaration.empty() ? H::kPublished : declaration, name);
        const int end =
            output ? output->offset + static_cast<int>(output->isScalar ? sizeof(miScalar) : sizeof(miColor)) : 0;
        return output && end <= size_ && size_ <= AdaptedResult::kLargest ? output : std::nullopt;
    }

private:
    /* The rays that the material sends must not write passes, nor must its lights: nobody would tell what belongs
     * where. Its lights shine as on any surface. */
    miBoolean call(AdaptedResult& adapted, miState* state, Vexabase& record, const FrameBuffers& buffers) const {
        const InUseGuard closed(buffers.entries);
        const NormalScope normal(state);
        const HitScope hit(state);
        const LightData lightBefore = record.light;
        record.light = LightData{};
        const miBoolean ok = mi_call_shader_x(adapted.begin(), miSHADER_MATERIAL, state, material_, nullptr);
        record.light = lightBefore;
        return ok;
    }

    void compose(Result& result, const Helper& in, const AdaptedResult& adapted) const {
        result = {};
        result.color = adapted[*beauty_];
        result.opacity = {1, 1, 1, 0};
        result.matteOpacity = matteFrom(in(&P::matteOpacityMode), in(&P::matteOpacity), result.color.a);
        if (result.matteOpacity.r == kBlackHole) result.color = kBlack;
    }

    void writePasses(const Result& result, const Helper& in, const FrameBuffers& buffers, const AdaptedResult& adapted,
                     const miColor& share) const {
        if (result.matteOpacity.r == kBlackHole) return;
        const PassWriter passes(in.state(), buffers, this->passWriteMode, this->passWriteFlagByte(),
                                &this->passWriteWeight);
        if (!passes.isOpen()) return;
        miColor beauty = result.color;
        beauty.a = luminance(result.matteOpacity);
        passes.writeWithAlpha(kPassBeauty, beauty);
        passes.writeWithAlpha(kPassBeautyNoShadow, beauty);

        miColor sum = kBlack;
        for (std::size_t i = 0; i < std::size(H::kRoutes); ++i) {
            const AdapterRoute& route = H::kRoutes[i];
            if (outputs_[i]) sum = sum + adapted[*outputs_[i]] * (route.isLight ? share : miColor{1, 1, 1, 1});
            const bool isLast = i + 1 == std::size(H::kRoutes) || H::kRoutes[i + 1].pass != route.pass;
            if (!isLast) continue;
            passes.write(route.pass, sum);
            sum = kBlack;
        }
    }

    /* What the material lets of white light through is taken from the picture's light and from that of the passes. */
    void castShadow(miColor* light, miState* state, Vexabase& record) const {
        if (!H::kCastsShadow) return castPlainShadow(state, light, record, kBlack);
        const FrameBuffers buffers = currentFrameBuffers(state);
        AdaptedResult adapted;
        miColor& left = *adapted.begin();
        left = {1, 1, 1, 1};
        {
            // In segmented mode the material goes on to the next surfaces, whose share is in the light that is left.
            const InUseGuard closed(buffers.entries);
            if (!mi_call_shader_x(&left, miSHADER_SHADOW, state, material_, nullptr)) left = kBlack;
        }
        light->r *= left.r;
        light->g *= left.g;
        light->b *= left.b;
        applyShadowTransparencyToFrameBuffers(buffers.count(), buffers.entries.data(), &left, miFALSE, state);
    }

    const miTag material_;
    miInteger size_ = 0;
    std::optional<DeclaredOutput> beauty_; /* without it the material cannot be used */
    std::optional<DeclaredOutput> outputs_[std::size(H::kRoutes)];
};

/* The same for materials that cut holes: through these what is behind is in the color, and goes to the refractions. */
template <class P, class ResultType, class H, int version = kInterfaceVersion>
class MiaFrameBufferAdapter : public FrameBufferAdapter<P, ResultType, H, version> {
public:
    using Base = FrameBufferAdapter<P, ResultType, H, version>;
    using typename Base::Helper;
    using typename Base::Result;

    explicit MiaFrameBufferAdapter(const Helper& in) : Base(in), opacity_(this->find(in.state(), "opacity")) {}

    miBoolean shade(Result* result, const Helper& in) const {
        return this->shadeSeen(result, in, [this](const AdaptedResult& adapted) {
            return opacity_ ? adapted[*opacity_] : miColor{1, 1, 1, 1};
        });
    }

private:
    const std::optional<DeclaredOutput> opacity_;
};

}  // namespace lumo
