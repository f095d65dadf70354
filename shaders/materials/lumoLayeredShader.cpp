/* lumoVexaLayeredShader: surfaces on top of each other, each seen through the transparency of those above it.
 *
 * Color = sum over the layers, the uppermost first, of color x the product of the transparencies above. With
 * `compositingFlag` 1 each color is lessened by its own transparency, too: right for textures; materials (0) have done
 * so themselves. Glow is added up in the same way, and the transparencies' product is that of the whole. What is below
 * an opaque layer is not evaluated. Parameters: those of all color operations (SDK/passes/color_operation.h),
 * `compositingFlag`, `layers` of `color`, `transparency`, `glowColor`. As its own shadow shader it lets light through
 * by the product of the transparencies.
 *
 * Example: decals on paint, in every pass (passMode 1).
 *   shader "car" "lumoVexaLayeredShader" ( "passMode" 1, "layers" [
 *       { "color" = "decal", "transparency" = "decal.transparency" }, { "color" = "paint" } ] )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/materials/layered_surface.h"

namespace lumo {

struct ShaderLayer {
    miColor color, transparency, glowColor;
};

struct LayeredShaderParameters {
    MaterialHeader header;
    miInteger passMode;
    miInteger compositingFlag;
    miInteger i_layers, n_layers;
    ShaderLayer layers[1];
};

namespace {

class LayeredShaderComputation {
public:
    using P = LayeredShaderParameters;
    using Inputs = OperationInputs<P>;

    bool evaluateInputs(const Inputs& in, int index, OperationRecord& record) {
        record.input = kBlack;
        weight_ = kBlack;
        if (index == 0) {
            count_ = in.setting(&P::n_layers);
            lessens_ = in.setting(&P::compositingFlag) != 0;
        }
        if (index >= count_) return false;
        const miColor t = setting(in, index, &ShaderLayer::transparency);
        weight_ = lessens_ ? left_ * (1 - t) : left_;
        weight_.a = luminance(weight_);
        record.input = in.input(&P::i_layers, &P::layers, index, &ShaderLayer::color);
        glow_ = glow_ + setting(in, index, &ShaderLayer::glowColor) * weight_;
        left_ = left_ * t;
        return index + 1 < count_ && !isBlack(left_);
    }

    void compute(OperationRecord& record) const {
        record.output = record.output + record.input * weight_;
        record.auxiliaryOutput = record.auxiliaryOutput + record.auxiliaryInput * weight_;
    }

    void storeResult(SurfaceShaderReturnType& result, const OperationRecord& record) const {
        result = surfaceOf(record.output, {left_.r, left_.g, left_.b, 0}, glow_);
    }

    void castShadow(const Inputs& in, miColor* light, Vexabase& record) {
        const miInteger count = in.setting(&P::n_layers);
        for (miInteger i = 0; i < count && !isBlack(left_); ++i)
            left_ = left_ * setting(in, i, &ShaderLayer::transparency);
        castPlainShadow(in.state(), light, record, left_);
    }

private:
    static miColor setting(const Inputs& in, int index, miColor ShaderLayer::* member) {
        return in.setting(&P::i_layers, &P::layers, index, member);
    }

    miInteger count_ = 0;
    bool lessens_ = false;
    miColor left_ = {1, 1, 1, 1}; /* of the light from below, after the layers so far */
    miColor weight_ = kBlack;     /* of the current layer */
    miColor glow_ = kBlack;
};

using LayeredShader = ColorOperationShader<LayeredShaderParameters, SurfaceShaderReturnType, LayeredShaderComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaLayeredShader, LayeredShader, "shaders/lumoLayeredShader")

}  // namespace lumo
