/* The module under test, loaded once per process, and its functions under their own names. */
#pragma once

#include <string>

#include "SDK/lumo.h"

namespace twin {

/* Address of an exported symbol of lumovexa.so; ends the program when it is missing. */
void* librarySymbol(const char* name);
bool libraryHas(const std::string& name);

/* Loads a module and hands it the executable as renderer. `path` as for dlopen. */
void* loadModule(const std::string& path);

/* Loads another instance of lumovexa.so, with globals of its own, that has no renderer yet. */
void* loadFreshLibrary();

/* A function of the library, looked up on first use. */
template <class Signature>
class LibraryFunction;

template <class Result, class... Arguments>
class LibraryFunction<Result(Arguments...)> {
public:
    explicit constexpr LibraryFunction(const char* name) : name_(name) {}

    Result operator()(Arguments... arguments) const {
        if (!function_) function_ = reinterpret_cast<Result (*)(Arguments...)>(librarySymbol(name_));
        return function_(arguments...);
    }

private:
    const char* name_;
    mutable Result (*function_)(Arguments...) = nullptr;
};

/* The exported variable of this name. */
template <class T>
T& libraryVariable(const char* name) {
    return *static_cast<T*>(librarySymbol(name));
}

}  // namespace twin

#define LIBRARY_FUNCTION(name) inline const twin::LibraryFunction<decltype(::name)> name{#name};
// clang-format off
#define LIBRARY_FUNCTIONS(F) \
    F(miSetModuleHandle) F(get_userdata) F(origin_from_camera) F(get_tla) F(clr_tla_list) F(stack_create) \
    F(stack_push) F(stack_pop) F(tmsampler_init) F(tmsampler_isDone) F(tmsampler_next) F(getFrameBufferInfo) \
    F(getFrameBufferState) F(getFrameBufferDataBlock) F(getNonMaterialPassFrameBufferIndex) F(getNamedFrameBufferID) \
    F(compute_phong_specular) F(compute_blinn_specular) F(compute_hairtubeshader_specular) F(contributesToPass) \
    F(tracePassInit) F(tracePassAdd) F(passWriteColor) F(passWriteInteger) F(passAddToLightSum) F(lumoFatal) \
    F(lumoError) F(lumoWarning) F(lumoInfo) F(sampleLightBegin) F(handleNonLumoLights) F(sampleLightEnd) \
    F(setupLightContributions) F(traceShadow) F(setLightIrradiance) F(traceShadowAccumulateBegin) \
    F(traceShadowAccumulate) F(traceShadowAccumulateEnd) F(applyShadowTransparencyToFrameBuffers) \
    F(arealight_lambertian_reflect) F(arealight_max_phong_spec_dir) F(bc_construct) F(bc_composite) F(bc_destruct) \
    F(compute_lambert_translucence) F(compute_irradiance) F(compute_refraction) F(compute_reflection) \
    F(compute_scatter) F(destroy_scatter) F(get_derivs) F(hsv_to_rgb) F(rgb_to_hsv) F(ramp_constructor) \
    F(ramp_destructor) F(ramp_get_interp_float) F(ramp_get_interp_color) F(noise_drand) F(noise_frand) \
    F(noise_scalar_1d) F(noise_scalar_2d) F(noise_scalar_3d) F(noise_scalar_4d) F(noise_vector_2d) \
    F(noise_table_scalar) F(noise_table_vector)
// clang-format on

/* Functions of the library, called as library::get_tla(...). */
namespace library {
LIBRARY_FUNCTIONS(LIBRARY_FUNCTION)
}
