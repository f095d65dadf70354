// Shaders and materials by tag, resolved once: what a sample calls again and again is one array access away.
#pragma once

#include "mi/material.h"
#include "mi/types.h"
#include "render/shader_table.h"

#include <vector>

namespace lumorender {

/// The functions of a slot, in calling order.
struct FunctionSpan {
    FunctionRuntime* const* first = nullptr;
    std::uint32_t count = 0;

    FunctionRuntime* const* begin() const { return first; }
    FunctionRuntime* const* end() const { return first + count; }
};

/// Read-only while rendering. Tags that were made after it was built are not in it.
class SlotTable {
public:
    /// Takes functions and lists that have a runtime, and all materials.
    void build(const Database& database);

    /// The functions of a FUNCTION or FLIST element; empty for anything else.
    FunctionSpan functions(miTag tag) const { return tag < entries_.size() ? entries_[tag].functions : FunctionSpan{}; }
    const miMaterial* material(miTag tag) const { return tag < entries_.size() ? entries_[tag].material : nullptr; }

private:
    struct Entry {
        FunctionSpan functions;
        const miMaterial* material = nullptr;
    };
    void addFunctions(const Database& database, miTag tag);

    std::vector<Entry> entries_;
    std::vector<FunctionRuntime*> runtimes_;
};

}  // namespace lumorender
