/* Arrays in the renderer's memory, for objects that live as long as a shader instance. */
#pragma once

#include "SDK/framework/renderer_access.h"

#include <new>
#include <optional>
#include <span>

namespace lumo {

/* Empty until allocate() succeeds; elements are value-initialised, and stay where they are. */
template <class T>
class RendererArray {
public:
    explicit RendererArray(const char* source) : source_(source) {}
    ~RendererArray() {
        for (T& element : elements_) element.~T();
    }

    RendererArray(const RendererArray&) = delete;
    RendererArray& operator=(const RendererArray&) = delete;

    /* Once in its life. False, and empty, where the renderer has no memory. */
    bool allocate(std::size_t count) {
        if (count == 0) return true;
        memory_.emplace(source_, count * sizeof(T));
        if (!memory_->get()) return false;
        T* first = static_cast<T*>(memory_->get());
        for (std::size_t i = 0; i < count; ++i) new (first + i) T{};
        elements_ = {first, count};
        return true;
    }

    std::size_t size() const { return elements_.size(); }
    T& operator[](std::size_t i) { return elements_[i]; }
    const T& operator[](std::size_t i) const { return elements_[i]; }
    std::span<T> all() { return elements_; }
    std::span<const T> all() const { return elements_; }

private:
    const char* const source_;
    std::optional<HeapBlock> memory_;
    std::span<T> elements_;
};

}  // namespace lumo
