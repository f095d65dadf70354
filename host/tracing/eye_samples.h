// Samples of the image, one after another: the eye ray with the shaders around it.
#pragma once

#include "tracing/context.h"

#include <limits>

namespace lumorender {

struct EyeSample {
    double x = 0, y = 0;       ///< raster position
    double time = 0;           ///< fraction of the shutter interval
    std::uint32_t seed = 0;    ///< differs between neighbouring pixels
    std::uint32_t number = 0;  ///< among the samples of its pixel
    bool ordered = false;      ///< see seedEyeState()
    /// What lies further off along the camera's axis is not seen.
    float farthest = std::numeric_limits<float>::infinity();
};

/// A rendering state: one thread's share of a stage of the render. State shaders learn of its beginning and its end,
/// and of every sample.
class EyeSamples {
public:
    EyeSamples(const RenderScene& scene, short threadIndex, miStage stage);

    /// Traces a sample. Its state (`ThreadContext::root`) and what shaders put into frame buffers stay until the next.
    miColor trace(const EyeSample& sample);

    /// To be called once, after the last sample, by one thread at a time.
    void finish();

    ThreadContext& context() { return context_; }
    const ThreadContext& context() const { return context_; }

private:
    void start(const EyeSample& sample);

    const RenderScene& scene_;
    ThreadContext context_;
};

/// Prepares a context's root state for calls outside samples: init, exit and state shaders.
void resetRootState(ThreadContext& context);

/// Gives the context the memory of its root state. Once, before anything else.
void createRootState(ThreadContext& context);

}  // namespace lumorender
