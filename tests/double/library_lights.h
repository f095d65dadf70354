/* Functions of the library for lights and shadows, called as library::traceShadow(...). */
#pragma once

#include "library.h"

namespace library {

LIBRARY_FUNCTION(sampleLightBegin)
LIBRARY_FUNCTION(handleNonLumoLights)
LIBRARY_FUNCTION(sampleLightEnd)
LIBRARY_FUNCTION(setupLightContributions)
LIBRARY_FUNCTION(traceShadow)
LIBRARY_FUNCTION(setLightIrradiance)
LIBRARY_FUNCTION(traceShadowAccumulateBegin)
LIBRARY_FUNCTION(traceShadowAccumulate)
LIBRARY_FUNCTION(traceShadowAccumulateEnd)
LIBRARY_FUNCTION(applyShadowTransparencyToFrameBuffers)
LIBRARY_FUNCTION(arealight_lambertian_reflect)
LIBRARY_FUNCTION(arealight_max_phong_spec_dir)

}  // namespace library
