/* The interface of TintCore, the color-management library that host applications bring, as far as shaders use it: a
 * transform is asked for by its name, finalized for a pixel format, and applied.
 *
 * The library exports two functions, TransformCache::getTransform and finalize; everything else are classes whose code
 * stands here or is reached through virtual functions. Both sides must use the same C++ standard library.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace TintCore {

/* Numbers of the library's own, handed through as they are. */
enum PixelFormat : std::uint32_t {};
enum OptimizerFlags : std::uint32_t {};
enum ResolveFlags : std::uint32_t {};

/* Success, or a failure with a message. */
class TintStatus {
public:
    TintStatus() = default;
    explicit TintStatus(std::string message) : message_(std::make_shared<const std::string>(std::move(message))) {}

    bool isSuccess() const { return !message_; }
    const char* getErrorMessage() const { return message_ ? message_->c_str() : ""; }

private:
    std::shared_ptr<const std::string> message_;
};

/* A region of an image, in pixels. */
class ROI {
public:
    constexpr ROI(std::uint32_t width, std::uint32_t height) : width_(width), height_(height) {}

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }

private:
    std::uint32_t width_, height_;
};

/* A finalized transform may be applied by several threads at once. */
class Transform {
public:
    virtual ~Transform() = default;

    /* `source` and `destination` may be the same pixels. */
    virtual TintStatus apply(const void* source, const ROI& region, void* destination) const = 0;
};

/* Shared ownership of a transform. */
class TransformPtr {
public:
    TransformPtr() = default;
    explicit TransformPtr(std::shared_ptr<const Transform> transform) : transform_(std::move(transform)) {}

    const Transform* get() const { return transform_.get(); }
    const Transform* operator->() const { return get(); }

private:
    std::shared_ptr<const Transform> transform_;
};

class TransformCache {
public:
    /* The transform of this name, which must be finalized before it is applied. */
    static TintStatus getTransform(const char* name, TransformPtr& result);
};

/* Makes a transform ready for pixels. `transform` and `result` may be the same. */
TintStatus finalize(const TransformPtr& transform, PixelFormat source, PixelFormat destination,
                    OptimizerFlags optimizer, ResolveFlags resolve, TransformPtr& result);

}  // namespace TintCore
