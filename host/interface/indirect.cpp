// Occlusion and light profiles: what the host cannot compute yet says so once and adds nothing.
#include "support/messages.h"

#include "shader.h"

#include <atomic>

namespace {

void tellOnce(std::atomic<bool>& told, const char* what) {
    if (!told.exchange(true)) lumorender::warning("API", "{} is not supported yet: shaders get none", what);
}

std::atomic<bool> toldOcclusion{false};

}  // namespace

extern "C" {

miScalar mi_ambient_occlusion(miState* state, miAmboccl_options*, miVector* bent_normal) {
    tellOnce(toldOcclusion, "ambient occlusion");
    if (bent_normal) *bent_normal = state->normal;
    return 0;
}

}  // extern "C"
