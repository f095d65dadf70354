/* The objects behind shaders: one per shader instance, built at instance init, shared read-only by all threads. */
#pragma once

#include "SDK/framework/parameters.h"

namespace lumo {

inline constexpr int kInterfaceVersion = 2;

/* Root of every shader object. A shader class derives from it and has
 *   using Result = ...;
 *   explicit TheClass(const Helper& in);                      captures what is fixed for the instance
 *   miBoolean shade(Result* result, const Helper& in) const;  one call, on any thread
 */
template <class P, class H = ShaderHelper<P>, int version = kInterfaceVersion>
class Shader {
public:
    static_assert(version == kInterfaceVersion);
    using Parameters = P;
    using Helper = H;

    explicit Shader(const Helper&) {}
    virtual ~Shader() = default;

    Shader(const Shader&) = delete;
    Shader& operator=(const Shader&) = delete;

    /* Called right before destruction. */
    void leave(miState* state, P* parameters) { leaving = {state, parameters}; }

protected:
    /* The exit call's arguments, for destructors that need the renderer; null while the object lives. */
    struct {
        miState* state = nullptr;
        P* parameters = nullptr;
    } leaving;
};

/* First words of every material's and color node's parameters: how it writes its passes. */
struct MaterialHeader {
    miInteger passWriteMode;  /* a write mode */
    miInteger passWriteFlags; /* write flags in the low byte */
    miScalar passWriteWeight;
};

/* A surface or color node. P begins with `MaterialHeader header`; its words are fixed for the instance. */
template <class P, class H = ShaderHelper<P>, int version = kInterfaceVersion>
class Material : public Shader<P, H, version> {
public:
    explicit Material(const H& in)
        : Shader<P, H, version>(in),
          passWriteMode(static_cast<miUint>(headerValue(in, &MaterialHeader::passWriteMode))),
          passWriteFlags(headerValue(in, &MaterialHeader::passWriteFlags)),
          passWriteWeight(headerValue(in, &MaterialHeader::passWriteWeight)) {}

protected:
    /* As the pass writes take it. */
    const miCBoolean* passWriteFlagByte() const { return reinterpret_cast<const miCBoolean*>(&passWriteFlags); }

    const miUint passWriteMode;
    const miInteger passWriteFlags;
    const miScalar passWriteWeight;

private:
    /* A helper whose block keeps the header further inside reads it itself. */
    template <class T>
    static T headerValue(const H& in, T MaterialHeader::* word) {
        if constexpr (requires { in.header(word); })
            return in.header(word);
        else
            return in(&P::header, word);
    }
};

}  // namespace lumo
