/* lumoVexaSurfaceShader: a surface from plain colors, without light: what the network behind it gives is what is seen.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `color`, `transparency`, `glowColor`,
 * `matteOpacity` (times what the transparency leaves). The color is not lessened by the transparency. As its own shadow
 * shader it lets light through by its transparency.
 *
 * Example: a backdrop that shines by itself, also in the beauty passes (passMode 3).
 *   shader "sky" "lumoVexaSurfaceShader" ( "color" = "picture" )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/materials/layered_surface.h"

namespace lumo {

struct SurfaceShaderParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor color, transparency, glowColor, matteOpacity;
};

namespace {

class SurfaceShaderComputation {
public:
    using P = SurfaceShaderParameters;

    void evaluateInputs(const OperationInputs<P>& in, OperationRecord& record) {
        record.input = in.input(&P::color);
        surface_ = surfaceOf(kBlack, in.setting(&P::transparency), in.setting(&P::glowColor));
        surface_.matteOpacity = surface_.opacity * in.setting(&P::matteOpacity);
    }

    miColor compute(const miColor& color) const { return color; }

    void storeResult(SurfaceShaderReturnType& result, const OperationRecord& record) const {
        result = surface_;
        result.color = record.output;
    }

    void castShadow(const OperationInputs<P>& in, miColor* light, Vexabase& record) const {
        castPlainShadow(in.state(), light, record, in.setting(&P::transparency));
    }

private:
    SurfaceShaderReturnType surface_{};
};

using SurfaceShader = ColorOperationShader<SurfaceShaderParameters, SurfaceShaderReturnType, SurfaceShaderComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaSurfaceShader, SurfaceShader, "shaders/lumoSurfaceShader")

}  // namespace lumo
