/* Scene elements of the double: records by tag, with every access and unpin counted. */
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include <shader.h>

namespace twin {

/* Memory that ends where a page without access begins: reading past its end is a fault, also without a sanitizer. */
class FencedBlock {
public:
    explicit FencedBlock(std::size_t bytes);
    ~FencedBlock();
    FencedBlock(const FencedBlock&) = delete;
    FencedBlock& operator=(const FencedBlock&) = delete;

    void* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    void* pages_ = nullptr;
    std::size_t mapped_ = 0;
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

class Database {
public:
    /* A zeroed record. Records are fenced; their address is a multiple of 4, and of 8 when the size is. */
    miTag add(miScene_types type, std::size_t bytes);
    miTag addString(const std::string& text);

    /* A user-data block with these parameter words. */
    miTag addUserdata(const std::vector<miUint>& words, miTag next = miNULLTAG);

    /* An instance of an item; the matrices are the identity. `parameters` are those inherited down the scene graph. */
    miTag addInstance(miTag item, const std::vector<miUint>& parameters = {});

    template <class Record>
    Record& record(miTag tag) {
        return *static_cast<Record*>(recordOf(tag));
    }

    /* The record if the element has the type, else null; nothing is pinned. */
    template <class Record>
    Record* find(miTag tag, miScene_types type) {
        return typeOf(tag) == type ? static_cast<Record*>(recordOf(tag)) : nullptr;
    }

    void* recordOf(miTag tag); /* null for a tag of nothing */
    int typeOf(miTag tag) const;

    void* pin(miTag tag);
    void unpin(miTag tag);
    int pins(miTag tag) const; /* accesses without their unpin */
    int pinsInAll() const;

private:
    struct Element {
        Element(miScene_types kind, std::size_t bytes) : type(kind), memory(bytes) {}
        miScene_types type;
        FencedBlock memory;
        std::atomic<int> pins{0};
    };

    const Element* element(miTag tag) const;
    Element* element(miTag tag) { return const_cast<Element*>(static_cast<const Database*>(this)->element(tag)); }

    std::deque<Element> elements_; /* tag n is element n - 1 */
};

}  // namespace twin
