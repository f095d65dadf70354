/* A renderer function that is looked up by name when it is first called. */
#pragma once

#include <atomic>
#include <cstdint>

namespace lumo {

/* Whether a renderer that lacks a function is complained about. */
enum class Need { kRequired, kOptional };

/* Name and address of one renderer function. Threads may race to resolve it: all of them find the same address. */
class RendererSymbol {
public:
    explicit constexpr RendererSymbol(const char* name, Need need = Need::kRequired) : name_(name), need_(need) {}

    RendererSymbol(const RendererSymbol&) = delete;
    RendererSymbol& operator=(const RendererSymbol&) = delete;

protected:
    /* The function's address, or null when the renderer does not have it. Costs one load once resolved. */
    void* address() const {
        const std::uintptr_t known = address_.load(std::memory_order_acquire);
        return known > kLastMarker ? reinterpret_cast<void*>(known) : resolve(known);
    }

private:
    enum : std::uintptr_t { kUnresolved = 0, kNoHandleYet = 1, kMissing = 2, kLastMarker = kMissing };

    void* resolve(std::uintptr_t known) const;

    const char* name_;
    Need need_;
    mutable std::atomic<std::uintptr_t> address_{kUnresolved};
};

template <class Signature>
class RendererFunction;

/* Called like the function it stands for. A function that the renderer lacks returns a zero value. */
template <class Result, class... Arguments>
class RendererFunction<Result(Arguments...)> : RendererSymbol {
public:
    using RendererSymbol::RendererSymbol;

    Result operator()(Arguments... arguments) const {
        const auto function = reinterpret_cast<Result (*)(Arguments...)>(address());
        return function ? function(arguments...) : Result();
    }

    /* For callers that have a substitute. */
    bool exists() const { return address() != nullptr; }

    /* For loops: null when the renderer does not have it. */
    auto pointer() const { return reinterpret_cast<Result (*)(Arguments...)>(address()); }
};

/* The same for printf-like functions and queries. */
template <class Result, class... Arguments>
class RendererFunction<Result(Arguments..., ...)> : RendererSymbol {
public:
    using RendererSymbol::RendererSymbol;

    template <class... Rest>
    Result operator()(Arguments... arguments, Rest... rest) const {
        const auto function = reinterpret_cast<Result (*)(Arguments..., ...)>(address());
        return function ? function(arguments..., rest...) : Result();
    }
};

}  // namespace lumo
