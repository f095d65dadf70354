/* bc_construct, bc_composite, bc_destruct. */
#include "SDK/passes/composition.h"

static_assert(sizeof(SurfaceShaderReturnType) == 64 * sizeof(miScalar));

void bc_construct(CompositionState* composition, miInteger mode, miState* state) {
    *composition = lumo::compositionFor(mode, state);
}

void bc_composite(const CompositionState* composition, SurfaceShaderReturnType* result, const miColor* ambient,
                  const miColor* incandescence, const miColor* indirect, const miColor* base, miScalar scalar,
                  const miColor* specular, const miColor* reflection, const miColor* refraction, const miColor* scatter,
                  const miColor* transparency, miScalar glowScale, miScalar glowSpecularScale, miBoolean hide,
                  miInteger matteMode, miScalar matteOpacity) {
    lumo::composite(composition, result, ambient, incandescence, indirect, base, scalar, specular, reflection,
                    refraction, scatter, transparency, glowScale, glowSpecularScale, hide, matteMode, matteOpacity);
}

void bc_destruct(CompositionState*) {}
