/* The functions of the color-management library, which is loaded when one of them is called for the first time. Where
 * there is none, or one without the function, a call fails with a status that says so. */
#pragma once

#include <tintcore/tintcore.h>

namespace lumo::tintcore {

TintCore::TintStatus getTransform(const char* name, TintCore::TransformPtr& result);

TintCore::TintStatus finalize(const TintCore::TransformPtr& transform, TintCore::PixelFormat source,
                              TintCore::PixelFormat destination, TintCore::OptimizerFlags optimizer,
                              TintCore::ResolveFlags resolve, TintCore::TransformPtr& result);

}  // namespace lumo::tintcore
