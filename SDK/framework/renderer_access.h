/* What shaders ask of the renderer around them: the per-sample record, messages, pinned elements, memory for a call. */
#pragma once

#include "SDK/framework/vexabase.h"
#include "binding/renderer.h"

#include <algorithm>
#include <cstddef>

namespace lumo {

/* The per-sample record that the host's integration keeps in the state. Null when the integration did not place one:
 * shaders then warn and give no result. */
inline Vexabase* vexabaseOf(miState* state) {
    return static_cast<Vexabase*>(mi_shaderstate_get(state, kVexabaseKey, nullptr));
}

/* Glow and alpha of the record, which surfaces leave for the host's effects: afterwards they are as before. Around what
 * is traced and not seen in the picture. */
class EffectsScope {
public:
    explicit EffectsScope(Vexabase& record, bool enabled = true)
        : record_(record), enabled_(enabled), glow_(record.glow) {
        std::copy_n(record.surfaceAlpha, 3, alpha_);
    }
    ~EffectsScope() {
        if (!enabled_) return;
        record_.glow = glow_;
        std::copy_n(alpha_, 3, record_.surfaceAlpha);
    }

    EffectsScope(const EffectsScope&) = delete;
    EffectsScope& operator=(const EffectsScope&) = delete;

private:
    Vexabase& record_;
    const bool enabled_;
    const miColor glow_;
    miScalar alpha_[3];
};

/* Messages without a std::string, for places that must not allocate. The text is the renderer's format string. */
inline void reportError(const char* text) { mi_error(text); }
inline void reportWarning(const char* text) { mi_warning(text); }

/* The record for a shader that cannot do without it; where there is none this warns, and the shader gives no result. */
inline Vexabase* requireVexabase(miState* state, const char* complaint = "LumoShaderSDK(): Internal state error.") {
    Vexabase* record = vexabaseOf(state);
    if (!record) reportWarning(complaint);
    return record;
}

/* Nothing has turned the ray on its way from the camera. */
inline bool isSeenStraight(const miState* state) {
    for (; state; state = state->parent)
        if (state->type != miRAY_EYE && state->type != miRAY_TRANSPARENT) return false;
    return true;
}

/* An element that stays pinned while an object of this class lives. Empty when the tag is null or names an
 * element of another type. */
template <class Element>
class Pinned {
public:
    Pinned(miTag tag, miScene_types wanted) {
        int type = miSCENE_NONE;
        if (tag == miNULLTAG) return;
        element_ = static_cast<const Element*>(mi_db_access_type(&type, tag));
        if (!element_) return;
        tag_ = tag;
        if (type != wanted) unpin();
    }
    ~Pinned() { unpin(); }

    Pinned(const Pinned&) = delete;
    Pinned& operator=(const Pinned&) = delete;

    explicit operator bool() const { return element_ != nullptr; }
    const Element* operator->() const { return element_; }
    const Element* get() const { return element_; }

    void unpin() {
        if (element_) mi_db_unpin(tag_);
        element_ = nullptr;
    }

private:
    const Element* element_ = nullptr;
    miTag tag_ = miNULLTAG;
};

class PinnedInstance : public Pinned<miInstance> {
public:
    explicit PinnedInstance(miTag tag) : Pinned(tag, miSCENE_INSTANCE) {}
};

class PinnedText : public Pinned<char> {
public:
    explicit PinnedText(miTag tag) : Pinned(tag, miSCENE_STRING) {}
};

/* Calls visit(tag, block) for the blocks of a chain of user data, one after the other, until it returns true. */
template <class Visit>
void visitUserdata(miTag first, Visit visit) {
    constexpr int kLongestChain = 1 << 16; /* a longer one is a loop */
    for (int i = 0; i < kLongestChain && first != miNULLTAG; ++i) {
        const Pinned<miUserdata> block(first, miSCENE_USERDATA);
        if (!block || visit(first, *block.get())) return;
        first = block->next_data;
    }
}

/* More records than this, one per frame buffer, do not go on the stack: shading calls nest, and threads' stacks are not
 * endless. */
inline constexpr std::size_t kMostOnStack = 1024;

/* Memory from the renderer, given back at the end; null when it has none or none is wanted. `source` is for the
 * renderer's book-keeping. */
class HeapBlock {
public:
    HeapBlock(const char* source, std::size_t bytes)
        : source_(source),
          memory_(bytes > 0 ? mi_mem_int_allocate(source, __LINE__, static_cast<miUint>(bytes)) : nullptr) {}
    ~HeapBlock() {
        if (memory_) mi_mem_int_release(source_, __LINE__, memory_);
    }

    HeapBlock(const HeapBlock&) = delete;
    HeapBlock& operator=(const HeapBlock&) = delete;

    void* get() const { return memory_; }

private:
    const char* const source_;
    void* const memory_;
};

}  // namespace lumo
