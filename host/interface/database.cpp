/* Access to scene elements. Records stay where they are until the element is changed or deleted, so pinning is free. */
#include "database/database.h"

#include "support/fatal.h"
#include "interface/host.h"
#include "shader.h"
#include "support/messages.h"

#include <algorithm>
#include <limits>

using namespace lumorender;

namespace {

[[gnu::cold]] void* missing(miTag tag, const char* function) {
    error("API", "{}: no database element has the tag {}", function, tag);
    return nullptr;
}

/// The record; a shader that asks for nothing is told so, because it will hardly survive the null pointer.
void* accessed(miTag tag, const char* function) {
    void* record = hostDatabase().record(tag);
    return record ? record : missing(tag, function);
}

}  // namespace

extern "C" {

const void* mi_db_access(miTag tag) { return accessed(tag, "mi_db_access"); }

void* mi_db_access_type(int* type, miTag tag) {
    const Database::Record found = hostDatabase().typed(tag);
    if (type) *type = found.type;
    return found.data ? found.data : missing(tag, "mi_db_access_type");
}

void mi_db_unpin(miTag) {}

int mi_db_type(miTag tag) { return hostDatabase().type(tag); }

miUint mi_db_size(miTag tag) {
    return static_cast<miUint>(std::min<std::size_t>(hostDatabase().size(tag), std::numeric_limits<miUint>::max()));
}

/* All content is there before the first shader runs. */
miBoolean mi_db_isjob(miTag) { return miFALSE; }

void* mi_db_create(miTag* tag, int type, int size) {
    try {
        *tag = hostDatabase().create(type, static_cast<std::size_t>(std::max(size, 0)));
        return hostDatabase().record(*tag);
    } catch (const std::exception& failure) {
        endFatally("API", failure.what());
    }
}

void* mi_db_realloc(miTag tag, miUint size) {
    try {
        if (!accessed(tag, "mi_db_realloc")) return nullptr;
        return hostDatabase().resize(tag, size);
    } catch (const std::exception& failure) {
        endFatally("API", failure.what());
    }
}

void mi_db_delete(miTag tag) {
    if (accessed(tag, "mi_db_delete")) hostDatabase().remove(tag);
}

}  // extern "C"
