#include "SDK/color/color_transform.h"

#include "SDK/framework/renderer_access.h"

#include "binding/tintcore.h"

#include <new>

namespace lumo {
namespace {

constexpr const char* kSource = "sdk/lumoColorTransformCache";

/* Numbers of the library: four floats a pixel, and how a transform is to be simplified. */
constexpr TintCore::PixelFormat kFourFloats{0x2001f};
constexpr TintCore::OptimizerFlags kOptimizer{40};
constexpr TintCore::ResolveFlags kResolve{0};

/* All that is ever transformed at once. */
constexpr TintCore::ROI kOnePixel(1, 1);

TintCore::TintStatus findTransform(const char* name, TintCore::TransformPtr& transform) {
    const TintCore::TintStatus found = tintcore::getTransform(name, transform);
    if (!found.isSuccess()) return found;
    return tintcore::finalize(transform, kFourFloats, kFourFloats, kOptimizer, kResolve, transform);
}

}  // namespace

bool ColorTransform::allocate() {
    release();
    if (void* storage = mi_mem_int_allocate(kSource, __LINE__, sizeof *handle_))
        handle_ = new (storage) TintCore::TransformPtr;
    return handle_ != nullptr;
}

void ColorTransform::release() {
    if (!handle_) return;
    handle_->~TransformPtr();
    mi_mem_int_release(kSource, __LINE__, handle_);
    handle_ = nullptr;
}

bool LumoColorTransformCache::resolve(miTag name, ColorTransform& transform) {
    const PinnedText text(name);
    if (!text || *text.get() == '\0') return true;
    ColorTransform made;
    if (!made.allocate()) {
        // Spelled so since the first release: people search their logs for it.
        reportError("LumoColorTransformCache::initTransform: failed to alllocate a color transform");
        return false;
    }
    const TintCore::TintStatus status = findTransform(text.get(), *made);
    if (!status.isSuccess()) {
        mi_error("LumoColorTransformCache::initTransform: %s", status.getErrorMessage());
        return false;
    }
    transform = std::move(made);
    return true;
}

bool LumoColorTransformCache::renderTransform(miState*, miColor& color, const ColorTransform& transform) {
    if (!transform) return true;
    miColor pixel = color;
    const TintCore::TintStatus status = (*transform)->apply(&pixel, kOnePixel, &pixel);
    color = pixel;
    if (!status.isSuccess()) mi_error("LumoColorTransformCache::renderTransform: %s", status.getErrorMessage());
    return status.isSuccess();
}

}  // namespace lumo
