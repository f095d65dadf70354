// Which rays see a surface and what it receives: flags of the object, overridden by the instances above it.
#pragma once

#include "database/elements.h"
#include "mi/object.h"
#include "mi/options.h"

#include <array>
#include <cstdint>

namespace lumorender {

/// What the instances on the way down have set so far. Cast and receive are inherited apart from each other.
class TraceFlags {
public:
    /// Goes one instance further down: what it sets replaces what came from above.
    void descend(const InstanceDetail& instance);

    /// The miTRACE_* bits of the object below these instances.
    std::uint32_t resolve(const miObject& object) const;

    /// Does the object take light from final gathering?
    bool gathers(const miObject& object) const;

    /// What the object does to photons. Where the options say it of all objects, that is all that any other ray sees.
    std::uint8_t photons(const miObject& object, const miOptions& options) const;

    /// The side of the object that rays may hit: 'f', 'b' or 'a'. `fallback` is that of the options.
    char face(const miObject& object, char fallback) const;

private:
    enum Kind { kShadow, kReflection, kRefraction, kTransparency, kFinalGather, kCaustic, kGlobillum, kKinds };

    std::array<int, kKinds> given_ = {};  ///< cast 1, receive 2, don't cast 4, don't receive 8
    int visible_ = -1;
    char face_ = 0;

    void inherit(Kind kind, int value);
    int photonsOfAll(Kind kind, int ofObject, int ofOptions, bool isSeen) const;
    int resolved(Kind kind, int ofObject) const;
};

}  // namespace lumorender
