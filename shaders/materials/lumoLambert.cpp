/* lumoVexaLambert: the plain matt surface. Diffuse light, ambient, incandescence, translucence, indirect light and
 * refraction; no highlights and no mirrors.
 *
 * Parameters: the common ones of all surface materials (SDK/surface/surface_parameters.h, explained in lumovexa.mi).
 * Formula of the diffuse term: color x diffuse x cosine of normal and light, nothing for light from behind (Lambert).
 *
 * Example:
 *   shader "red" "lumoVexaLambert" ( "color" .8 .1 .1 1, "diffuse" .8 )
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface.h"

namespace lumo {
namespace {

using LambertianShaderHelper = SurfaceHelper<LambertParameters>;
using Lambert = Surface<LambertParameters, SurfaceShaderReturnType, LambertianShaderHelper>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaLambert, Lambert, "shaders/lumoLambert")

}  // namespace lumo
