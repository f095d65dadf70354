/* Named color-management transforms of shader instances, applied to single colors.
 *
 *   the constructor   LumoColorTransformCache::initTransform(in, &P::colorTransform, transform_);
 *   per call          LumoColorTransformCache::renderTransform(state, color, transform_);
 */
#pragma once

#include "SDK/framework/parameters.h"

#include <tintcore/tintcore.h>

#include <utility>

namespace lumo {

/* A transform that a shader instance owns, or none. */
class ColorTransform {
public:
    ColorTransform() = default;
    ~ColorTransform() { release(); }
    ColorTransform(ColorTransform&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    ColorTransform& operator=(ColorTransform&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }

    /* False when there is no memory for it. */
    bool allocate();
    void release();

    explicit operator bool() const { return handle_ != nullptr; }
    TintCore::TransformPtr& operator*() const { return *handle_; }

private:
    TintCore::TransformPtr* handle_ = nullptr;
};

class LumoColorTransformCache {
public:
    /* Finds the transform that a string parameter names. No parameter (null) or an empty text is no transform. Takes
     * the renderer's global lock. On failure it reports, returns false and leaves `transform` empty. */
    template <class P>
    static bool initTransform(const ShaderHelper<P>& in, miTag P::* name, ColorTransform& transform) {
        const GlobalLock lock(in.state());
        const miTag tag = name ? in(name) : miNULLTAG;
        return tag == miNULLTAG || resolve(tag, transform);
    }

    /* Without a transform the color stays as it is. A failure is reported; whatever the library made of the color is
     * kept. On any thread. */
    static bool renderTransform(miState* state, miColor& color, const ColorTransform& transform);

private:
    /* Transforms are made one at a time: libraries of this kind are not sure to take more. */
    class GlobalLock {
    public:
        explicit GlobalLock(miState* state) : lock_(state->global_lock) { mi_lock(lock_); }
        ~GlobalLock() { mi_unlock(lock_); }
        GlobalLock(const GlobalLock&) = delete;
        GlobalLock& operator=(const GlobalLock&) = delete;

    private:
        const miLock lock_;
    };

    static bool resolve(miTag name, ColorTransform& transform);
};

}  // namespace lumo
