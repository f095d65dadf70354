/* How blurred a look at the surroundings should be: from the surface that looks to shaders that blur them. */
#pragma once

#include "shader.h"

namespace materials {

struct GlossOfRay {
    static constexpr miUint kMark = 0x676c6f73;

    miUint mark;
    miScalar gloss; /* 1 is sharp */
};

/* Sub-rays see it in state->user, where the scene's own shaders put nothing there. */
class GlossScope {
public:
    GlossScope(miState* state, miScalar gloss) : state_(state), record_{GlossOfRay::kMark, gloss} {
        isSet_ = gloss < 1 && !state->user;
        if (!isSet_) return;
        size_ = state->user_size;
        state->user = &record_;
        state->user_size = sizeof record_;
    }

    ~GlossScope() {
        if (!isSet_) return;
        state_->user = nullptr;
        state_->user_size = size_;
    }

    GlossScope(const GlossScope&) = delete;
    GlossScope& operator=(const GlossScope&) = delete;

private:
    miState* state_;
    GlossOfRay record_;
    int size_ = 0;
    bool isSet_;
};

/* 1 where nobody said anything. */
inline miScalar glossOfRay(const miState* state) {
    if (!state->user || state->user_size != static_cast<int>(sizeof(GlossOfRay))) return 1;
    const auto* record = static_cast<const GlossOfRay*>(state->user);
    return record->mark == GlossOfRay::kMark ? record->gloss : 1;
}

}  // namespace materials
