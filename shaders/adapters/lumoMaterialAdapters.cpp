/* lumoVexaMiaMaterialXAdapter, lumoVexaMisssFastShaderXAdapter, lumoVexaMiCarPaintPhenXAdapter,
 * lumoVexaMiMetallicPaintXAdapter: the renderer's own materials in the passes of this library.
 *
 * Parameters: `passWriteMode`, `passWriteFlags`, `passWriteWeight` as of all materials; `material`, the shader; and
 * `matteOpacityMode` (0 black hole, 1 alpha is `matteOpacity`, 2 the material's alpha times `matteOpacity`).
 * Outputs are found by the names in the scene's declaration of the material; those that it lacks stay out of the passes.
 * A material with a color alone, as mia_material, goes into the beauty passes.
 *
 * Example
 *   shader "gold" "mia_material_x" ( ... )
 *   shader "gold_passes" "lumoVexaMiaMaterialXAdapter" ( "material" "gold" )
 *   material "ring" "lumoVexaShadingEngine" ( "surfaceShader" = "gold_passes" ) shadow = "gold_passes" end material
 */
#include "shaders/adapters/frame_buffer_adapter.h"

namespace lumo {

using MiaMaterialXAdapterParameters = AdapterParameters;
using MisssFastShaderXAdapterParameters = AdapterParameters;
using MiCarPaintPhenXAdapterParameters = AdapterParameters;
using MiMetallicPaintXAdapterParameters = AdapterParameters;

namespace {

struct MiaMaterialXAdapterHelper {
    static constexpr AdapterRoute kRoutes[] = {
        {kPassDiffuseMaterialColor, "diffuse_level", false},
        {kPassDirectIrradiance, "diffuse_raw"},
        {kPassDirectIrradianceNoShadow, "diffuse_raw"},
        {kPassDiffuse, "diffuse_result"},
        {kPassDiffuseNoShadow, "diffuse_result"},
        {kPassSpecular, "spec_result"},
        {kPassSpecularNoShadow, "spec_result"},
        {kPassIndirect, "indirect_result"},
        {kPassReflection, "refl_result"},
        {kPassRefraction, "refr_result"},
        {kPassRefraction, "opacity_result", false},
        {kPassIncandescence, "add_result"},
        {kPassTranslucence, "tran_result"},
        {kPassTranslucenceNoShadow, "tran_result"},
        {kPassTransparency, "refr_level"},
    };
    static constexpr const char* kPublished =
        "struct { color \"result\", color \"diffuse_result\", color \"diffuse_raw\", color \"diffuse_level\","
        " color \"spec_result\", color \"spec_raw\", color \"spec_level\","
        " color \"refl_result\", color \"refl_raw\", color \"refl_level\","
        " color \"refr_result\", color \"refr_raw\", color \"refr_level\","
        " color \"tran_result\", color \"tran_raw\", color \"tran_level\","
        " color \"indirect_result\", color \"indirect_raw\", color \"indirect_post_ao\", color \"ao_raw\","
        " color \"add_result\", color \"opacity_result\", color \"opacity_raw\", scalar \"opacity\" }";
    static constexpr bool kCastsShadow = true;
};

struct MisssFastShaderXAdapterHelper {
    static constexpr AdapterRoute kRoutes[] = {
        {kPassDiffuseMaterialColor, "diffuse_level", false},
        {kPassDirectIrradiance, "diffuse_raw"},
        {kPassDirectIrradianceNoShadow, "diffuse_raw"},
        {kPassDiffuse, "diffuse_result"},
        {kPassDiffuseNoShadow, "diffuse_result"},
        {kPassSpecular, "specular_result"},
        {kPassSpecularNoShadow, "specular_result"},
        {kPassScatter, "front_result"},
        {kPassScatter, "back_result"},
    };
    static constexpr const char* kPublished =
        "struct { color \"result\", color \"diffuse_result\", color \"diffuse_raw\", color \"diffuse_level\","
        " color \"specular_result\", color \"front_result\", color \"front_raw\", color \"front_level\","
        " color \"back_result\", color \"back_raw\", color \"back_level\" }";
    static constexpr bool kCastsShadow = false;
};

/* Both paints; the coat and the dirt are the car paint's alone. */
struct PaintRoutes {
    static constexpr AdapterRoute kRoutes[] = {
        {kPassAmbient, "ambient_result"},         {kPassDiffuseMaterialColor, "diffuse_level", false},
        {kPassDirectIrradiance, "diffuse_raw"},   {kPassDirectIrradianceNoShadow, "diffuse_raw"},
        {kPassDiffuse, "diffuse_result"},         {kPassDiffuse, "dirt_result"},
        {kPassDiffuseNoShadow, "diffuse_result"}, {kPassDiffuseNoShadow, "dirt_result"},
        {kPassSpecular, "spec_result"},           {kPassSpecular, "flake_result"},
        {kPassSpecularNoShadow, "spec_result"},   {kPassSpecularNoShadow, "flake_result"},
        {kPassIndirect, "irradiance_result"},     {kPassReflection, "flake_refl_result"},
        {kPassReflection, "refl_result"},
    };
    static constexpr const char* kPublished = "struct { color \"result\" }";
    static constexpr bool kCastsShadow = false;
};
struct MiCarPaintPhenXAdapterHelper : PaintRoutes {};
struct MiMetallicPaintXAdapterHelper : PaintRoutes {};

using MiaMaterialXAdapter =
    MiaFrameBufferAdapter<MiaMaterialXAdapterParameters, SurfaceShaderReturnType, MiaMaterialXAdapterHelper>;
using MisssFastShaderXAdapter =
    FrameBufferAdapter<MisssFastShaderXAdapterParameters, SurfaceShaderReturnType, MisssFastShaderXAdapterHelper>;
using MiCarPaintPhenXAdapter =
    FrameBufferAdapter<MiCarPaintPhenXAdapterParameters, SurfaceShaderReturnType, MiCarPaintPhenXAdapterHelper>;
using MiMetallicPaintXAdapter =
    FrameBufferAdapter<MiMetallicPaintXAdapterParameters, SurfaceShaderReturnType, MiMetallicPaintXAdapterHelper>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaMiaMaterialXAdapter, MiaMaterialXAdapter, "shaders/lumoMaterialAdapters")
LUMO_EXPORT_SHADER(lumoVexaMisssFastShaderXAdapter, MisssFastShaderXAdapter, "shaders/lumoMaterialAdapters")
LUMO_EXPORT_SHADER(lumoVexaMiCarPaintPhenXAdapter, MiCarPaintPhenXAdapter, "shaders/lumoMaterialAdapters")
LUMO_EXPORT_SHADER(lumoVexaMiMetallicPaintXAdapter, MiMetallicPaintXAdapter, "shaders/lumoMaterialAdapters")

}  // namespace lumo
