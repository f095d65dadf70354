/* lumoVexaShadingMap: the colors of a shaded surface look up new ones in a map: toon looks, false colors, posters.
 *
 * The map is called with the surface's hue as the first texture coordinate and its brightness as the second, both from 0
 * to 1: a texture, a ramp, or any network that reads texture space 0. Hue is that of hue, saturation and value, 0 for
 * gray; brightness is the value, the largest channel; a color above 1 counts as 1. Alpha, transparency, glow and matte
 * stay those of the surface. Without a map the surface is as it was.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `color`, connected to a surface,
 * `shadingMap`, connected to the map, `repeat` and `offset`, times and plus the two coordinates. In pass mode 1 the
 * beauty passes go through the map, each with its own light, and those of the surface's terms stay as they are. As its
 * own shadow shader it hands on to the surface.
 *
 * Example: two tones.
 *   shader "toon" "lumoVexaShadingMap" ( "passMode" 1, "color" = "clay", "shadingMap" = "two_tones" )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/materials/layered_surface.h"

#include <algorithm>
#include <optional>

namespace lumo {

struct ShadingMapParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor color;
    miColor shadingMap;
    miScalar repeatU, repeatV, offsetU, offsetV;
};

namespace {

using P = ShadingMapParameters;

/* What is no number counts as 0. */
miScalar unitInterval(miScalar value) { return value > 0 ? std::min(value, 1.0f) : 0; }

/* Places texture coordinates in the state while it lives. Their surroundings on the surface are unknown, so textures are
 * looked up sharp. */
class CoordinateScope {
public:
    CoordinateScope(miState* state, const miVector& coordinate)
        : state_(state), list_(state->tex_list), footprint_(nullptr) {
        if (Vexabase* record = vexabaseOf(state)) {
            footprint_ = &record->footprint;
            footprintBefore_ = *footprint_;
            footprint_->u = footprint_->v = footprint_->uvCross = 0;
        }
        if (list_) {
            before_ = list_[0];
            list_[0] = coordinate;
        } else {
            own_ = coordinate;
            state->tex_list = &own_;
        }
    }
    ~CoordinateScope() {
        if (list_) list_[0] = before_;
        state_->tex_list = list_;
        if (footprint_) *footprint_ = footprintBefore_;
    }

    CoordinateScope(const CoordinateScope&) = delete;
    CoordinateScope& operator=(const CoordinateScope&) = delete;

private:
    miState* const state_;
    miVector* const list_;
    Footprint* footprint_;
    Footprint footprintBefore_;
    miVector before_ = {0, 0, 0}, own_ = {0, 0, 0};
};

/* The surface and the map behind the parameters. */
class ShadingMapInputs : public OperationInputs<P> {
public:
    using OperationInputs::OperationInputs;

    explicit ShadingMapInputs(const OperationInputs<P>& in) : OperationInputs(in) {}

    /* The surface may write passes. One with a color alone is opaque. */
    SurfaceShaderReturnType surface() const {
        forgetEarlierCalls();
        SurfaceShaderReturnType surface{};
        const miInteger size = evaluateRecord(&block()->color, sizeof(miColor), surface);
        if (size < static_cast<miInteger>(sizeof surface)) surface.matteOpacity = surface.opacity = {1, 1, 1, 0};
        return surface;
    }

    miTag surfaceShader() const { return connection(&block()->color); }
    bool hasMap() const { return isConnected(&P::shadingMap); }

    miColor lookUp(const miVector& coordinate) const {
        const CoordinateScope scope(state(), coordinate);
        forgetEarlierCalls();  // the map was looked up elsewhere
        return setting(&P::shadingMap);
    }
};

class ShadingMapComputation {
public:
    void evaluateInputs(const OperationInputs<P>& in, OperationRecord& record) {
        inputs_.emplace(in);
        surface_ = inputs_->surface();
        hasMap_ = inputs_->hasMap();
        record.input = surface_.color;
        if (!hasMap_) return;
        repeatU_ = in.setting(&P::repeatU);
        repeatV_ = in.setting(&P::repeatV);
        offsetU_ = in.setting(&P::offsetU);
        offsetV_ = in.setting(&P::offsetV);
    }

    miColor compute(const miColor& shaded) const {
        if (!hasMap_) return shaded;
        miColor hsv;
        rgb_to_hsv(&shaded, &hsv);
        const miVector coordinate = {unitInterval(hsv.r) * repeatU_ + offsetU_,
                                     unitInterval(hsv.b) * repeatV_ + offsetV_, 0};
        const miColor found = inputs_->lookUp(coordinate);
        return {found.r, found.g, found.b, shaded.a};
    }

    /* The terms of the surface stay its own. */
    void computePass(PassContent content, OperationRecord& record) const {
        record.output = content == PassContent::kBeauty ? compute(record.input) : record.input;
    }

    void storeResult(SurfaceShaderReturnType& result, const OperationRecord& record) const {
        result = surface_;
        result.color = record.output;
    }

    void castShadow(const OperationInputs<P>& in, miColor* light, Vexabase& record) const {
        const miTag surface = ShadingMapInputs(in).surfaceShader();
        if (surface == miNULLTAG)
            castPlainShadow(in.state(), light, record, kBlack);
        else
            mi_call_shader_x(light, miSHADER_SHADOW, in.state(), surface, nullptr);
    }

private:
    std::optional<ShadingMapInputs> inputs_;
    SurfaceShaderReturnType surface_{};
    bool hasMap_ = false;
    miScalar repeatU_ = 1, repeatV_ = 1, offsetU_ = 0, offsetV_ = 0;
};

using ShadingMap = ColorOperationShader<ShadingMapParameters, SurfaceShaderReturnType, ShadingMapComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaShadingMap, ShadingMap, "shaders/lumoShadingMap")

}  // namespace lumo
