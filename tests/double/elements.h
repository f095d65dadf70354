/* Scene elements of the double: records by tag, with every access and unpin counted; what mi_query says of them; spaces. */
#pragma once

#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <map>
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

private:
    std::size_t mapped_;
    void *pages_, *data_;
};

class Database {
public:
    /* A zeroed record. Records are fenced; their address is a multiple of 4, and of 8 when the size is. */
    miTag add(miScene_types type, std::size_t bytes);
    miTag addString(const std::string& text);
    miTag addUserdata(const std::vector<miUint>& words, miTag next = miNULLTAG);
    /* An instance of an item; the matrices are the identity. `parameters` are those inherited down the scene graph. */
    miTag addInstance(miTag item, const std::vector<miUint>& parameters = {});

    template <class Record>
    Record& record(miTag tag) {
        return *static_cast<Record*>(element(tag)->memory.data());
    }

    /* The record if the element has the type, else null; nothing is pinned. */
    template <class Record>
    Record* find(miTag tag, miScene_types type) {
        return typeOf(tag) == type ? &record<Record>(tag) : nullptr;
    }
    int typeOf(miTag tag) { return element(tag) ? element(tag)->type : miSCENE_NONE; }

    void* pin(miTag tag);
    void unpin(miTag tag);
    int pins(miTag tag) { return element(tag)->pins; } /* accesses without their unpin */
    int pinsInAll() const;

private:
    struct Element {
        Element(miScene_types kind, std::size_t bytes) : type(kind), memory(bytes) {}
        miScene_types type;
        FencedBlock memory;
        std::atomic<int> pins{0};
    };
    Element* element(miTag tag) { return tag >= 1 && tag <= elements_.size() ? &elements_[tag - 1] : nullptr; }

    std::deque<Element> elements_;
};

/* What mi_query answers: what a test says, else what the scene elements say, else nothing. */
class Queries {
public:
    /* For every tag. The value's type must be the one that the code writes. */
    template <class T>
    void answer(miQ_type code, T value) {
        answers_[code] = {kValue, sizeof value, {}};
        std::memcpy(answers_[code].bytes.data(), &value, sizeof value);
    }
    /* The query returns false; or answers what the scene elements say again. */
    void refuse(miQ_type code) { answers_[code].kind = kRefused; }
    void forget(miQ_type code) { answers_[code].kind = kNone; }

    miBoolean ask(miQ_type code, miState* state, miTag tag, void* result);
    int count(miQ_type code) const { return counts_[code]; }

private:
    enum Kind { kNone, kRefused, kValue };
    struct Answer {
        Kind kind = kNone;
        std::size_t size = 0;
        std::array<char, 16> bytes{};
    };
    std::array<Answer, 256> answers_;
    std::array<std::atomic<int>, 256> counts_{};
};

struct Matrix {
    miMatrix m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    static Matrix translation(miScalar x, miScalar y, miScalar z) {
        return {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1}};
    }
    static Matrix scale(miScalar x, miScalar y, miScalar z) {
        return {{x, 0, 0, 0, 0, y, 0, 0, 0, 0, z, 0, 0, 0, 0, 1}};
    }
};

miVector transformPoint(const miVector& p, const miScalar* m);

/* World, camera, object and light by matrices that lead there from internal space. The raster is that of a pinhole camera
 * at the origin of camera space that looks down its -z axis. */
struct Spaces {
    Matrix world, camera, object, light;
};

}  // namespace twin
