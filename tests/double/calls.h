/* Calls by which shaders reach other shaders and the tracer. A test scripts each with a function and reads how often it
 * was called; without a script a call returns zero and leaves its results alone.
 */
#pragma once

#include <atomic>
#include <functional>
#include <unordered_map>

#include <shader.h>

namespace twin {

template <class Signature>
class Hook;

template <class Result, class... Arguments>
class Hook<Result(Arguments...)> {
public:
    template <class Function>
    Hook& operator=(Function function) {
        script_ = std::move(function);
        return *this;
    }

    Result operator()(Arguments... arguments) {
        calls_.fetch_add(1, std::memory_order_relaxed);
        return script_ ? script_(arguments...) : Result();
    }

    int calls() const { return calls_; }

private:
    std::function<Result(Arguments...)> script_;
    std::atomic<int> calls_{0};
};

/* Parameters that are connected to other shaders, by the parameter's address in the original block. */
class Evaluation {
public:
    struct Connection {
        std::function<void*(miState*)> shader;
        std::atomic<int> evaluations{0}; /* mi_phen_eval */
        std::atomic<int> calls{0};       /* mi_phen_call */
    };

    /* The value's address stays the caller's. */
    template <class T>
    Connection& connect(const void* parameter, T* value) {
        return connect(parameter, [value](miState*) { return static_cast<void*>(value); });
    }
    Connection& connect(const void* parameter, std::function<void*(miState*)> shader);

    void* eval(miState* state, void* parameter, bool fresh);

    std::atomic<int> evaluations{0};
    std::atomic<int> calls{0};

private:
    std::unordered_map<const void*, Connection> connections_;
};

struct Tracing {
    Hook<miBoolean(miColor*, miState*, const miVector* origin, const miVector* dir)> eye;
    Hook<miBoolean(miColor*, miState*, const miVector* dir)> reflection, refraction, environment;
    Hook<miBoolean(miColor*, miState*)> transparent, continued, shadow, shadowSegment;
    Hook<miBoolean(miState*, const miVector* dir, const miVector* origin)> probe;
    Hook<void(miState*, const miColor*)> opacitySet;
};

struct Lighting {
    Hook<miBoolean(miColor*, miVector* dir, miScalar* cosine, miState*, miTag light, int* samples)> sample;
    Hook<miBoolean(int* n, miTag** lights, miState*)> instanceLights, exclusiveLights;
    Hook<miScalar(miState*, miTag profile, miBoolean relative)> profile;
    Hook<miBoolean(miColor*, miState*, miUchar side, miIrrad_options*)> averageRadiance;
    Hook<miScalar(miState*, miAmboccl_options*, miVector* bent)> occlusion;
    Hook<miBoolean(miColor*, miState*, miTag texture, miVector* coordinate)> colorTexture;
};

}  // namespace twin
