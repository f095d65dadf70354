/* What shaders ask of the renderer around them: the per-sample record, messages, pinned elements, memory for a call. */
#pragma once

#include "SDK/framework/vexabase.h"
#include "binding/renderer.h"

#include <cstddef>

namespace lumo {

/* The per-sample record that the host's integration keeps in the state. */
/* Null when the integration did not place one: shaders then warn and give no result. */
inline Vexabase* vexabaseOf(miState* state) {
    return static_cast<Vexabase*>(mi_shaderstate_get(state, kVexabaseKey, nullptr));
}

/* Messages without a std::string, for places that must not allocate. The text is the renderer's format string. */
inline void reportError(const char* text) { mi_error(text); }
inline void reportWarning(const char* text) { mi_warning(text); }

/* The record for a shader that cannot do without it; where there is none this warns, and the shader gives no result. */
inline Vexabase* requireVexabase(miState* state, const char* complaint = "LumoShaderSDK(): Internal state error.") {
    Vexabase* record = vexabaseOf(state);
    if (!record) reportWarning(complaint);
    return record;
}

/* An element that stays pinned while an object of this class lives. */
/* Empty when the tag is null or names an element of another type. */
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
