/* lumoVexaLayeredShader: surfaces on top of each other, each seen through the transparency of those above it.
 *
 * Color = sum over the layers, the uppermost first, of color x the product of the transparencies above. With
 * `compositingFlag` 1 each color is lessened by its own transparency, too: right for textures; materials (0) have done
 * so themselves. Glow and the layers' own matte are added up in the same way (a color without matte has what its
 * transparency leaves), and the transparencies' product is that of the whole. What is below an opaque layer is not
 * evaluated. Parameters: those of all color operations (SDK/passes/color_operation.h),
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
    ParameterArray<ShaderLayer> layers;
};

namespace {

class LayeredShaderComputation {
public:
    using P = LayeredShaderParameters;
    using Inputs = OperationInputs<P>;

    bool evaluateInputs(const Inputs& in, int index, OperationRecord& record) {
        record.input = weight_ = share_ = kBlack;
        if (index == 0) {
            layers_ = in.settings(&P::layers);
            lessens_ = in.setting(&P::compositingFlag) != 0;
        }
        const auto number = static_cast<std::size_t>(index);
        if (number >= layers_.size()) return false;
        ShaderLayer& above = layers_[number];
        // The color comes first, while its shader may write passes: a renderer that keeps what a shader gave has the
        // other outputs at hand then, and one that kept a call with closed buffers would lose the passes.
        SurfaceShaderReturnType layer{};
        const miInteger size = in.input(above, &ShaderLayer::color, layer);
        record.input = layer.color;
        const miColor t = in.setting(above, &ShaderLayer::transparency);
        const miColor hides = left_ * (1 - t);
        weight_ = lessens_ ? hides : left_;
        weight_.a = luminance(weight_);
        const bool isSurface = size >= static_cast<miInteger>(sizeof layer);
        matte_ = matte_ + (isSurface ? matteOf(layer) * weight_ : hides);
        glow_ = glow_ + in.setting(above, &ShaderLayer::glowColor) * weight_;
        left_ = left_ * t;
        share_ = {shareOf(hides.r, left_.r), shareOf(hides.g, left_.g), shareOf(hides.b, left_.b), 1};
        return number + 1 < layers_.size() && !isBlack(left_);
    }

    void compute(OperationRecord& record) const {
        record.output = record.output + record.input * weight_;
        record.auxiliaryOutput = record.auxiliaryOutput + record.auxiliaryInput * weight_;
    }

    /* The layers' transparencies multiply. Of the scene's own values the mean is left, of each layer by what it hides:
     * the opacity of the whole comes in where the surface is composited. */
    void computePass(PassContent content, OperationRecord& record) const {
        if (content == PassContent::kLight) {
            compute(record);
        } else if (content == PassContent::kTransparency) {
            record.output = withAlphaOne(left_);
        } else {
            const miScalar alpha = record.output.a + record.input.a;
            record.output = record.output + (record.input - record.output) * share_;
            record.output.a = alpha;
        }
    }

    void storeResult(SurfaceShaderReturnType& result, const OperationRecord& record) const {
        result = surfaceOf(record.output, {left_.r, left_.g, left_.b, 0}, glow_);
        result.matteOpacity = {matte_.r, matte_.g, matte_.b, 0};
    }

    void castShadow(const Inputs& in, miColor* light, Vexabase& record) {
        for (ShaderLayer& layer : in.settings(&P::layers)) {
            if (isBlack(left_)) break;
            left_ = left_ * in.setting(layer, &ShaderLayer::transparency);
        }
        castPlainShadow(in.state(), light, record, left_);
    }

private:
    /* Part of what all layers so far hide that the last one does. */
    static miScalar shareOf(miScalar hides, miScalar left) { return left != 1 ? hides / (1 - left) : 0; }

    std::span<ShaderLayer> layers_;
    bool lessens_ = false;
    miColor left_ = {1, 1, 1, 1}; /* of the light from below, after the layers so far */
    miColor weight_ = kBlack;     /* of the current layer */
    miColor share_ = kBlack;
    miColor glow_ = kBlack, matte_ = kBlack;
};

using LayeredShader = ColorOperationShader<LayeredShaderParameters, SurfaceShaderReturnType, LayeredShaderComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaLayeredShader, LayeredShader, "shaders/lumoLayeredShader")

}  // namespace lumo
