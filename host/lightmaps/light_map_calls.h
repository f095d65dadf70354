// Calling light map shaders, one triangle after another.
#pragma once

#include "lightmaps/texels.h"
#include "tracing/context.h"

#include <array>
#include <cstdint>

namespace lumorender {

class WritableTexture;

/// A triangle whose texels are asked for, or some of them.
struct LightMapShare {
    const FlatInstance* instance = nullptr;
    std::uint32_t triangle = 0;
    miTag shaders = 0;
    int number = 0, count = 1;  ///< of the shares of this triangle
    std::uint64_t turn = 0;     ///< in the order of the scene: later ones cover earlier ones
};

/// One thread's rendering state while light maps are made. State shaders learn of its beginning and its end, and of every
/// call.
class LightMapCalls {
public:
    LightMapCalls(const RenderScene& scene, short threadIndex);

    /// Calls the shaders for the corners of the triangle, and for the share of its texels.
    void draw(const LightMapShare& share);
    /// Calls the shaders once more when all is drawn. `turn` is a number behind those of all shares.
    void complete(miTag shaders, std::uint64_t turn);
    /// To be called once, after the last call, by one thread at a time.
    void finish();

    /// The running thread's, while it draws or completes; else null.
    static LightMapCalls*& running();

    /// For the running shader: the next texel of its share in a map. False behind the last one.
    bool nextTexel(miTag texture, int& x, int& y);
    /// For the running shader: whether all is drawn.
    bool completes() const { return share_ == nullptr; }
    WritableTexture* map(miTag texture) const;

private:
    /// Where the shader is on its way through the texels of a map.
    struct Walk {
        miTag texture = 0;
        TriangleTexels texels{{}, 0, 0};
        int x = 0, y = 0;
        bool hasBegun = false;
        Arena::Mark memory;  ///< of the thread when it began
    };

    bool call(miTag shaders, miColor& result);
    void moveTo(float u, float v, std::uint32_t seed);
    void startWalk(miTag texture);
    bool isMine(int row) const;
    void forgetEvaluated();

    const RenderScene& scene_;
    ThreadContext context_;
    const LightMapShare* share_ = nullptr;
    std::array<MapPoint, 3> corners_ = {};  ///< 0 to 1 over the map
    Walk walk_;
};

}  // namespace lumorender
