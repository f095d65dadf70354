/*
 * A mirror from another shader library: it shines by itself and reflects, and takes part in the passes by what
 * lumovexa.so exports. A surface for lumoVexaShadingEngine.
 */
#include "SDK/lumo.h"

/* As much of a surface's result as an engine needs. */
struct sdk_mirror_result {
    miColor color;
    miColor glowColor;
    miColor matteOpacity;
    miColor transparency;
};

struct sdk_mirror {
    miColor own;
    miColor reflection; /* weight of what is seen in it */
};

DLLEXPORT int sdk_mirror_version(void);
DLLEXPORT miBoolean sdk_mirror(struct sdk_mirror_result* result, miState* state, struct sdk_mirror* paras);

DLLEXPORT int sdk_mirror_version(void) { return 1; }

static void write_beauty(miState* state, const PassState* passes, FrameBufferInfo* entries, const miColor* value) {
    const PassRange range = passes->types[kPassBeauty];
    const miUint mode = kWriteAdd;
    const miCBoolean flags = 0;
    const miScalar weight = 1;
    miUint i;
    for (i = range.first; i < range.first + range.count; ++i)
        passWriteColor(state, value, entries + i, &mode, &flags, &weight, 0, 0);
}

static ReflectionSettings settings_of(const miState* state, const miColor* reflection) {
    ReflectionSettings settings = {0};
    settings.reflectivity = 1;
    settings.color = *reflection;
    settings.reflectionLimit = 100;
    settings.normal = state->normal;
    settings.normalEye = -state->dot_nd;
    return settings;
}

DLLEXPORT miBoolean sdk_mirror(struct sdk_mirror_result* result, miState* state, struct sdk_mirror* paras) {
    const miColor reflection = *mi_eval_color(&paras->reflection);
    const ReflectionSettings settings = settings_of(state, &reflection);
    PassState* passes;
    FrameBufferInfo* entries;
    const miUint count = getFrameBufferInfo(state, &passes, &entries);
    miColor mirrored;

    result->color = *mi_eval_color(&paras->own);
    miColorSet(&result->matteOpacity, 1, 1, 1, 0);
    if (count > 0) write_beauty(state, passes, entries, &result->color);
    compute_reflection(&mirrored, state, &settings, passes, count, entries);
    result->color.r += reflection.r * mirrored.r;
    result->color.g += reflection.g * mirrored.g;
    result->color.b += reflection.b * mirrored.b;
    return miTRUE;
}
