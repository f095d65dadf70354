// Calling displacement shaders, outside of samples of the image.
#pragma once

#include "tracing/context.h"

namespace lumorender {

/// One thread's rendering state while geometry is made. State shaders learn of its beginning and its end, and of every
/// call. Internal space is the object's: that is where points, normals and derivatives of the state are; `mi_..._to_world`
/// lead to the place of the instance in the scene.
class DisplacementCalls {
public:
    DisplacementCalls(const RenderScene& scene, short threadIndex);

    /// What the displacement shaders of the material at the place give, along the normal, in object space. 0 where the
    /// material has none, or where they give no result.
    float height(const Hit& place);

    /// To be called once, after the last call, by one thread at a time.
    void finish();

    std::uint64_t calls() const { return context_.counters.calls; }

private:
    ThreadContext context_;
};

}  // namespace lumorender
