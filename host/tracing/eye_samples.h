// Samples of the image, one after another: the eye ray with the shaders around it.
#pragma once

#include "tracing/context.h"

#include <limits>
#include <span>

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

    static constexpr std::size_t kTogether = 16;  ///< rays that are looked for at once

    /// Traces a sample. Its state (`ThreadContext::root`) and what shaders put into frame buffers stay until the next.
    miColor trace(const EyeSample& sample) {
        aim(sample, alone_);
        return trace(sample, alone_);
    }

    /// Makes the rays of some samples, which had better be neighbours, and looks together for what they meet.
    void foresee(std::span<const EyeSample> samples, EyeRay* rays);
    /// Whether that saves time in this scene: else rays are made, and nothing is known of them.
    bool foresees() const { return foresees_; }
    /// A sample with the ray that was made for it, and that stays until the end of the call.
    miColor trace(const EyeSample& sample, const EyeRay& ray);

    /// To be called once, after the last sample, by one thread at a time.
    void finish();

    ThreadContext& context() { return context_; }
    const ThreadContext& context() const { return context_; }

private:
    void aim(const EyeSample& sample, EyeRay& ray) const;
    void look(std::span<EyeRay> rays);
    void start(const EyeSample& sample, const EyeRay& ray);

    const RenderScene& scene_;
    ThreadContext context_;
    const bool foresees_;
    EyeRay alone_;
};

/// Prepares a context's root state for calls outside samples: init, exit and state shaders.
void resetRootState(ThreadContext& context);

/// Gives the context the memory of its root state. Once, before anything else.
void createRootState(ThreadContext& context);

}  // namespace lumorender
