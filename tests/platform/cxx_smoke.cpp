/* What a compiler cannot check by itself: places in the virtual tables, the connection rule, option defaults. */
#include <cmath>
#include <cstdio>
#include <cstring>

#include "geoshader.h"
#include "mi_shader_if.h"
#include "shader.h"

namespace {

int failures = 0;

void check(bool ok, const char* what) {
    if (ok) return;
    std::printf("failed: %s\n", what);
    ++failures;
}

/* A pointer to a virtual method holds 1 + the byte offset of its place (Itanium C++ ABI). */
template <class Method>
void checkPlace(Method method, std::size_t place, const char* what) {
    std::size_t word;
    std::memcpy(&word, &method, sizeof word);
    check((word - 1) / sizeof(void*) == place, what);
}

void checkPlaces() {
    using namespace mi::shader_v3;
    using ReleaseConst = bool (Interface::*)(const Framebuffer*, miTag);
    using GetBool = bool (Options::*)(const char*, bool*) const;
    using GetString = bool (Framebuffer::*)(const char*, const char*, const char*&) const;
    checkPlace(&Interface::getOptions, 0, "Interface::getOptions");
    checkPlace(&Interface::release, 4, "Interface::release");
    checkPlace(&Interface::createMapDeclaration, 11, "Interface::createMapDeclaration");
    checkPlace(&Interface::accessFramebuffer, 21, "Interface::accessFramebuffer");
    checkPlace(static_cast<ReleaseConst>(&Interface::releaseFramebuffer), 22, "releaseFramebuffer, const");
    checkPlace(&Interface::editFramebuffer, 23, "Interface::editFramebuffer");
    checkPlace(&Interface::getPassNumber, 35, "Interface::getPassNumber");
    checkPlace(static_cast<GetBool>(&Options::get), 7, "Options::get(bool)");
    checkPlace(&Options::release, 15, "Options::release");
    checkPlace(static_cast<GetString>(&Framebuffer::get), 7, "Framebuffer::get(string)");
    checkPlace(&Framebuffer::get_datatype, 15, "Framebuffer::get_datatype");
}

float connectedValue = 7.0f;

}  // namespace

extern "C" void* mi_phen_eval(miState*, void*) { return &connectedValue; }

int main() {
    checkPlaces();
    struct Block {
        miScalar value;
        miTag ghost;
    } block = {3.0f, 0};
    miOptions options{};
    miFunction function{};
    miState record{};
    miState* state = &record;
    state->shader = &function;
    state->options = &options;
    function.ghost_offs = static_cast<int>(offsetof(Block, ghost));
    function.has_connections = 1;
    check(*mi_eval_scalar(&block.value) == 3.0f && !miParameterIsSet(state, &block.value), "ghost 0: not set");
    block.ghost = miPARAMTAG;
    check(*mi_eval_scalar(&block.value) == 3.0f && miParameterIsSet(state, &block.value), "set without connection");
    block.ghost = 42;
    check(*mi_eval_scalar(&block.value) == 7.0f, "connected");
    function.has_connections = 0;
    check(*mi_eval_scalar(&block.value) == 3.0f, "no connections in the whole function");

    options.globillum_accuracy = 100;
    options.caustic_radius = 0.5f;
    miIrrad_options irrad;
    std::memset(&irrad, 0xff, sizeof irrad);
    miIRRAD_DEFAULT(&irrad, state);
    check(irrad.size == 56 && irrad.globillum_accuracy == 100 && irrad.caustic_radius == 0.5f, "from the options");
    check(irrad.importance == -1.0f && irrad.finalgather_points == 0 && irrad.padding[1] == 0, "constant defaults");

    miVector a = {1, 2, 3}, b = {-2, 1, 4}, zero = {0, 0, 0};
    mi_vector_prod(&a, &a, &b);
    check(a.x == 5 && a.y == -10 && a.z == 5, "cross product in place");
    mi_vector_normalize(&a);
    mi_vector_normalize(&zero);
    check(std::fabs(mi_vector_norm(&a) - 1.0f) < 1e-6f && zero.x == 0 && zero.z == 0, "normalize, zero stays");
    check(miRAY_SECONDARY(miRAY_FINALGATHER) && !miRAY_SECONDARY(miPHOTON_ABSORB) && miRAY_PHOTON(miPHOTON_HULL),
          "ray classes");
    return failures ? 1 : 0;
}
