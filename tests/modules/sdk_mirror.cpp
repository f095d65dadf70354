// A mirror from another shader library: it shines by itself and reflects, and takes part in the passes by what
// lumovexa.so exports. A surface for lumoVexaShadingEngine.
#include "test_shader.h"
#include "SDK/lumo.h"

/// As much of a surface's result as an engine needs.
struct Surface {
    miColor color, glowColor, matteOpacity, transparency;
};

struct Mirror {
    miColor own, reflection;  // weight of what is seen in it
};

TEST_SHADER(sdk_mirror, Mirror) {
    Surface& surface = *reinterpret_cast<Surface*>(result);
    const miColor reflection = VALUE(reflection);
    PassState* passes = nullptr;
    FrameBufferInfo* entries = nullptr;
    const miUint count = getFrameBufferInfo(state, &passes, &entries), mode = kWriteAdd;
    const miCBoolean flags = 0;
    const miScalar weight = 1;
    surface.color = VALUE(own);
    surface.matteOpacity = {1, 1, 1, 0};
    const PassRange beauty = count > 0 ? passes->types[kPassBeauty] : PassRange{};
    for (miUint i = beauty.first; i < beauty.first + beauty.count; ++i)
        passWriteColor(state, &surface.color, entries + i, &mode, &flags, &weight, nullptr, nullptr);

    ReflectionSettings settings = {};
    settings.reflectivity = 1;
    settings.color = reflection;
    settings.reflectionLimit = 100;
    settings.normal = state->normal;
    settings.normalEye = -state->dot_nd;
    miColor mirrored;
    compute_reflection(&mirrored, state, &settings, passes, count, entries);
    const miScalar alpha = surface.color.a;
    surface.color = surface.color + reflection * mirrored;
    surface.color.a = alpha;
    return miTRUE;
}
