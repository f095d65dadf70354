// A module for a host that has more functions than any: two that it calls are not there, one that is asked for is not
// needed. It speaks to them as helper headers of older shaders do.
#include "test_shader.h"

miC_LINKAGE void mi_function_of_tomorrow(miState* state);
miC_LINKAGE int mi_function_of_another(miImg_image* image, miApi_object_callback callback);
miC_LINKAGE [[gnu::weak]] void mi_function_if_there_is(void);

static_assert(sizeof(MI_SQRT(2.f)) == sizeof(miGeoScalar));

struct Lacking {
    miColor color;
    miBoolean calls;
};

TEST_SHADER(lacking_surface, Lacking) {
    *result = VALUE(color);
    if (mi_function_if_there_is) mi_function_if_there_is();
    if (VALUE(calls)) mi_function_of_tomorrow(state);
    if (result->r == 7) result->r = static_cast<miScalar>(mi_function_of_another(nullptr, nullptr));
    return miTRUE;
}
