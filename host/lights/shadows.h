// Shadow rays: what lies between a light and a point, and what its shadow shaders let through.
#pragma once

#include "mi/options.h"
#include "mi/state.h"
#include "tracing/context.h"

#include <span>

namespace lumorender {

/// Shadow rays come in segments, which apply the volumes on the way of the light.
bool shadowsHaveSegments(const miOptions& options);

/// Looks together for the occluders between lights and what neighbouring eye rays meet, as far as lights have made use
/// of that so far.
void foreseeShadows(ThreadContext& context, std::span<EyeRay> rays);

/// From a light shader: multiplies the color by what the occluders between the light's state.org and the point let
/// through. The ray is the one of org, dir and dist as the light shader left them; dist 0 reaches infinitely far.
/// In segment mode it travels from the point to the light, else from the light to the point.
/// @return false when nothing comes through.
bool traceShadow(miColor* result, miState* light);

/// From a shadow shader in segment mode: the rest of the way to the light, in the medium of refraction_volume.
bool traceShadowSegment(miColor* result, miState* shadow);

/// The same without the present hit: the medium stays that of the present segment.
bool continueShadowSegment(miColor* result, miState* shadow);

}  // namespace lumorender
