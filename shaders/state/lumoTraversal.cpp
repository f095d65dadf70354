/* lumoTraversal: names the parameters that instances may carry (their pass mask) to the scene language.
 *
 * The renderer calls it where instance parameters would be inherited down the scene graph. Nothing is: each instance
 * speaks for itself, and shaders read the parameters straight from the instance.
 */
#include "SDK/framework/export_shader.h"

namespace lumo {
namespace {

miBoolean leaveAsIs(void*, const ShaderHelper<NoParameters>&) { return miTRUE; }

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoTraversal, leaveAsIs, void, NoParameters)

}  // namespace lumo
