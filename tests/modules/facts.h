// How probe shaders tell what they found: the result is (facts that hold, facts checked), and what does not hold is an
// error message.
#pragma once

#include "shader.h"

struct Facts {
    int holding = 0;
    int checked = 0;

    void check(bool holds, const char* text) {
        ++checked;
        if (holds)
            ++holding;
        else
            mi_error("probe: not so: %s", text);
    }

    void tell(miColor* result) const {
        miColorSet(result, static_cast<miScalar>(holding), static_cast<miScalar>(checked), 0, 1);
    }
};

#define HOLDS(condition) facts.check((condition), #condition)

/// A number that lives in the state under a name; made on first use.
inline int& numberInState(miState* state, const char* key, int lifetime) {
    void* place = mi_shaderstate_get(state, key, nullptr);
    if (!place) {
        int zero = 0;
        mi_shaderstate_set(state, key, &zero, sizeof zero, lifetime);
        place = mi_shaderstate_get(state, key, nullptr);
    }
    return *static_cast<int*>(place);
}
