/* Safe reading of the camera's frame-buffer data block, whatever the scene holds. */
#pragma once

#include "SDK/lumo.h"

namespace lumo {

/* Pins the block of the state's camera while it lives. Arrays that do not fit the block read as empty, words of the
 * other byte order are turned. Cheap enough to be made where it is needed: nothing is copied or reported. */
class FrameBufferBlock {
public:
    explicit FrameBufferBlock(miState* state);
    ~FrameBufferBlock();

    FrameBufferBlock(const FrameBufferBlock&) = delete;
    FrameBufferBlock& operator=(const FrameBufferBlock&) = delete;

    bool present() const { return !block_.empty(); }

    miUint passNameCount() const { return passNames_.count; }
    miTag passName(miUint index) const { return wordOf(passNames_, index, 0); }

    miUint recordCount() const { return records_.count; }
    FrameBufferRecord record(miUint index) const;

    miUint typeCountCount() const { return typeCounts_.count; }
    /* Buffers of one pass type; 0 for a type without an element and for a negative count. */
    miUint typeCount(miUint type) const;

    /* Tells the user what is wrong with the block, each message starting with `who`. */
    void report(const std::string& who) const;

private:
    struct Array {
        const char* name;
        miUint firstWord;
        miUint elementWords;
        miUint count;
        bool fits;
    };

    miUint word(std::size_t index) const;
    miUint wordOf(const Array& array, miUint element, miUint offset) const {
        return word(array.firstWord + std::size_t{element} * array.elementWords + offset);
    }
    Array readArray(const char* name, miUint header, miUint elementWords) const;

    MIDataPtr<FrameBufferData> block_;
    std::size_t sizeWords_ = 0; /* 0 is unknown */
    Array passNames_, records_, typeCounts_;
};

}  // namespace lumo
