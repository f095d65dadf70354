// What rays travel in. A state's `volume` is one shader; with automatic volumes a ray knows all the solids it is in, those
// in which it began included, and the volume shaders of all of them are called.
#pragma once

#include "mi/material.h"
#include "tracing/context.h"

namespace lumorender {

/// Volume shaders change the color of everything that reached the state's end of the ray: automatic volumes in the order in
/// which they were entered. Without one, `ok` comes back.
bool applyVolume(ThreadContext& context, miState* state, miColor* result, bool ok);

/// What a ray that goes on through the surface travels in, unless the surface's shader says otherwise: the material's
/// volume on the way in, what was around the front side on the way out, and the same as before where the material
/// (which may be null) has none.
miTag volumeBehind(const ThreadContext& context, const miState& state, const miMaterial* material);

/// With automatic volumes: what an eye ray begins in, which is found by following it. Its state gets the innermost volume.
class EyeVolumes {
public:
    EyeVolumes(ThreadContext& context, miState& ray);
    ~EyeVolumes() { context_.volumes = before_; }
    EyeVolumes(const EyeVolumes&) = delete;
    EyeVolumes& operator=(const EyeVolumes&) = delete;

private:
    ThreadContext& context_;
    const RunningVolumes before_;
};

/// With automatic volumes: while a ray is on its way that goes on through the surface of `hit`, in what the surface's
/// shader left in the state. `enters` says on which side.
class CrossedVolumes {
public:
    CrossedVolumes(ThreadContext& context, const miState& hit, bool enters);
    ~CrossedVolumes() { context_.volumes = before_; }
    CrossedVolumes(const CrossedVolumes&) = delete;
    CrossedVolumes& operator=(const CrossedVolumes&) = delete;

private:
    ThreadContext& context_;
    const RunningVolumes before_;
};

}  // namespace lumorender
