/* The pass mask of an instance: which passes a light, an occluder or a shaded object contributes to. */
#pragma once

#include "SDK/lumo.h"

#include "SDK/framework/renderer_access.h"

namespace lumo {

/* Finds the mask in the instance's parameters, or else in its user data: the first block of the chain whose first word
 * is a string; those that begin with something else are not ours. The text stays pinned while the filter lives. An
 * instance without a mask, or with an empty one, contributes to every pass. */
class PassFilter {
public:
    PassFilter(miState* state, miTag instance)
        : mask_(maskTag(state, instance)), text_(mask_ && *mask_.get() ? mask_.get() : nullptr) {}

    bool allows(miUint pass) const { return !text_ || contributesToPass(pass, text_); }

    /* Null when there is no mask. */
    const char* text() const { return text_; }

private:
    static miTag maskTag(miState* state, miTag instance);

    const PinnedText mask_;
    const char* const text_;
};

/* The instance that speaks for the hit: the assembly that holds it, else the hit instance itself. */
miTag shadedObject(miState* state);

}  // namespace lumo
