// A module for a host that has more functions than any: two that it calls are not there, one that is asked for is not
// needed.
#include "test_shader.h"

extern "C" {
void mi_function_of_tomorrow(miState* state);
int mi_function_of_another(int a, double b);
[[gnu::weak]] void mi_function_if_there_is(void);
}

struct Lacking {
    miColor color;
    miBoolean calls;
};

TEST_SHADER(lacking_surface, Lacking) {
    *result = VALUE(color);
    if (mi_function_if_there_is) result->r = 9;
    if (VALUE(calls)) mi_function_of_tomorrow(state);
    if (result->r == 7) result->r = static_cast<miScalar>(mi_function_of_another(1, 2));
    return miTRUE;
}
