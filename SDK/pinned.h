/* Database elements that stay pinned while an object of these classes lives. */
#pragma once

#include "binding/renderer.h"

namespace lumo {

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

}  // namespace lumo
