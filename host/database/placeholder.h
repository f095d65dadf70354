// Objects whose geometry comes when it is needed.
#pragma once

#include "database/database.h"
#include "database/elements.h"
#include "mi/object.h"

#include <memory>
#include <string>
#include <vector>

namespace lumorender {

/// Brings the geometry of an object: from a file, or by calling a function.
class ObjectLoader {
public:
    virtual ~ObjectLoader() = default;
    /// Null, after messages, where there is none. May be called again, on any thread, by one thread at a time.
    virtual std::unique_ptr<ObjectSource> load() = 0;
};

/// Of a miSCENE_OBJECT without geometry of its own.
struct Placeholder : Detail {
    std::string where;    ///< file and line of the object, or the shader that made it
    std::string from;     ///< what brings the geometry, for messages: `file "f.mi"`
    std::string file;     ///< that it comes from; empty where it is another thing
    bool isPart = false;  ///< the file holds other elements, too; the record is as if the geometry were here
    std::vector<miTag> materials = {};  ///< of a part's polygons, where these have some of their own
    std::shared_ptr<ObjectLoader> loader;
};

/// What an object was made of, or null; what waits in an assembly's file is read again, and lives as long as the answer.
inline std::shared_ptr<const ObjectSource> sourceOf(const Database& database, miTag object) {
    const auto* placeholder = database.detail<Placeholder>(object);
    if (placeholder && placeholder->isPart) return placeholder->loader->load();
    return {std::shared_ptr<const ObjectSource>(), database.detail<ObjectSource>(object)};
}

/// Without a box the geometry is brought before the first ray.
inline bool hasBox(const miObject& object) {
    const miVector &low = object.bbox_min, &high = object.bbox_max;
    return low.x <= high.x && low.y <= high.y && low.z <= high.z &&
           (low.x < high.x || low.y < high.y || low.z < high.z);
}

}  // namespace lumorender
