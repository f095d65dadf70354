#include "render/slots.h"

namespace lumorender {

void SlotTable::build(const Database& database) {
    entries_.assign(database.end(), {});
    // Spans are offsets until all runtimes are collected, because the array moves while it grows.
    for (miTag tag = 1; tag < database.end(); ++tag) {
        entries_[tag].material = database.as<miMaterial>(tag, miSCENE_MATERIAL);
        const std::size_t first = runtimes_.size();
        addFunctions(database, tag);
        entries_[tag].functions.count = static_cast<std::uint32_t>(runtimes_.size() - first);
    }
    FunctionRuntime* const* next = runtimes_.data();
    for (Entry& entry : entries_) {
        entry.functions.first = next;
        next += entry.functions.count;
    }
}

void SlotTable::addFunctions(const Database& database, miTag tag) {
    if (const auto* function = database.as<miFunction>(tag, miSCENE_FUNCTION)) {
        if (FunctionRuntime* runtime = runtimeOf(function)) runtimes_.push_back(runtime);
    } else if (const auto* list = database.detail<FunctionList>(tag)) {
        for (const miTag member : list->functions) addFunctions(database, member);
    }
}

}  // namespace lumorender
