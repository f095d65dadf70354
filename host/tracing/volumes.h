// What rays travel in. A state's `volume` is one shader; with automatic volumes a ray knows all the solids it is in, those
// in which it began included, and the volume shaders of all of them are called.
#pragma once

#include "mi/material.h"
#include "mi/options.h"
#include "tracing/context.h"

#include <optional>

namespace lumorender {

inline bool volumesAreAutomatic(const miState& state) {
    const miOptions& options = *state.options;
    return (miRAY_PHOTON(state.type) ? options.photon_autovolume : options.autovolume) && !options.no_volume;
}

/// For rays that are in some volume.
bool applyVolumes(ThreadContext& context, miState* state, miColor* result, bool ok);

/// Volume shaders change the color of everything that reached the state's end of the ray: automatic volumes in the order in
/// which they were entered. Without one, `ok` comes back. Of photons false says that they went no further.
inline bool applyVolume(ThreadContext& context, miState* state, miColor* result, bool ok) {
    const bool hasVolume = state->volume != 0 || volumesAreAutomatic(*state);
    return hasVolume ? applyVolumes(context, state, result, ok) : ok;
}

/// What a ray that goes on through the surface travels in, unless the surface's shader says otherwise: the material's
/// volume on the way in, what was around the front side on the way out, and the same as before where the material
/// (which may be null) has none.
miTag volumeBehind(const ThreadContext& context, const miState& state, const miMaterial* material);

/// The volumes that a ray is in, while it lives. Without automatic volumes nothing is kept.
class VolumesScope {
public:
    ~VolumesScope() {
        if (before_) context_.volumes = *before_;
    }
    VolumesScope(const VolumesScope&) = delete;
    VolumesScope& operator=(const VolumesScope&) = delete;

protected:
    explicit VolumesScope(ThreadContext& context) : context_(context) {}

    ThreadContext& context_;
    std::optional<RunningVolumes> before_;
};

/// With automatic volumes: what an eye ray begins in, which is found by following it. Its state gets the innermost volume.
class EyeVolumes : public VolumesScope {
public:
    EyeVolumes(ThreadContext& context, miState& ray) : VolumesScope(context) {
        if (volumesAreAutomatic(ray)) begin(ray);
    }

private:
    void begin(miState& ray);
};

/// With automatic volumes: while a ray is on its way that goes on through the surface of `hit`, in what the surface's
/// shader left in the state. `enters` says on which side.
class CrossedVolumes : public VolumesScope {
public:
    CrossedVolumes(ThreadContext& context, const miState& hit, bool enters) : VolumesScope(context) {
        if (volumesAreAutomatic(hit)) cross(hit, enters);
    }

private:
    void cross(const miState& hit, bool enters);
};

}  // namespace lumorender
