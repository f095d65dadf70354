#include "geometry/trace_flags.h"

#include "geometry/scene_geometry.h"
#include "mi/codes.h"

namespace lumorender {

namespace {

constexpr int kCast = miFLAG_CAST;
constexpr int kReceive = miFLAG_RECEIVE;
constexpr int kDontCast = 4;
constexpr int kDontReceive = 8;
constexpr int kOff = kDontCast | kDontReceive;

/// These three are switches too: a plain 0 says off, where for the others it says nothing.
int asSwitch(int value) { return value == 0 ? kOff : value; }

bool isSide(char face) { return face == 'f' || face == 'b' || face == 'a'; }

}  // namespace

void TraceFlags::inherit(Kind kind, int value) {
    if (value < 0) return;
    int& given = given_[kind];
    for (const int pair : {kCast | kDontCast, kReceive | kDontReceive})
        if (value & pair) given = (given & ~pair) | (value & pair);
}

void TraceFlags::descend(const InstanceDetail& instance) {
    inherit(kShadow, instance.shadow);
    inherit(kReflection, instance.reflection);
    inherit(kRefraction, instance.refraction);
    inherit(kTransparency, instance.transparency);
    inherit(kFinalGather, asSwitch(instance.finalgather));
    inherit(kCaustic, asSwitch(instance.caustic));
    inherit(kGlobillum, asSwitch(instance.globillum));
    if (instance.visible >= 0) visible_ = instance.visible;
    if (isSide(instance.face)) face_ = instance.face;
}

int TraceFlags::resolved(Kind kind, int ofObject) const {
    const int given = given_[kind];
    int flags = ofObject & (kCast | kReceive);
    if (given & kDontCast) flags &= ~kCast;
    if (given & kDontReceive) flags &= ~kReceive;
    return flags | (given & (kCast | kReceive));
}

std::uint32_t TraceFlags::resolve(const miObject& object) const {
    std::uint32_t flags = 0;
    const auto add = [&](Kind kind, int ofObject, std::uint32_t cast, std::uint32_t receive) {
        const int value = resolved(kind, ofObject);
        flags |= (value & kCast ? cast : 0) | (value & kReceive ? receive : 0);
    };
    add(kShadow, object.shadow, miTRACE_SHADOW_CAST, miTRACE_SHADOW_RECEIVE);
    add(kReflection, object.reflection, miTRACE_REFLECTION_CAST, miTRACE_REFLECTION_RECEIVE);
    add(kRefraction, object.refraction, miTRACE_REFRACTION_CAST, miTRACE_REFRACTION_RECEIVE);
    add(kTransparency, object.transparency, miTRACE_TRANSPARENCY_CAST, miTRACE_TRANSPARENCY_RECEIVE);
    add(kFinalGather, object.finalgather, miTRACE_FINALGATHER, 0);
    add(kCaustic, object.caustic, miTRACE_CAUSTIC, miTRACE_CAUSTIC);
    add(kGlobillum, object.globillum, miTRACE_GLOBILLUM, miTRACE_GLOBILLUM);
    if (visible_ >= 0 ? visible_ != 0 : object.visible != 0) flags |= miTRACE_VISIBLE;
    return flags;
}

bool TraceFlags::gathers(const miObject& object) const {
    return (resolved(kFinalGather, object.finalgather) & kReceive) != 0;
}

/// Cast and receive. An object that nothing sees and that casts nothing of its own is no part of the scene for photons.
int TraceFlags::photonsOfAll(Kind kind, int ofObject, int ofOptions, bool isSeen) const {
    const int own = resolved(kind, ofObject);
    if (!isSeen && (own & kCast) == 0) return 0;
    int forAll = isSeen ? ofOptions : 0;
    if (given_[kind] & kDontCast) forAll &= ~kCast;
    if (given_[kind] & kDontReceive) forAll &= ~kReceive;
    return (own | forAll) & (kCast | kReceive);
}

std::uint8_t TraceFlags::photons(const miObject& object, const miOptions& options) const {
    constexpr std::uint32_t kSeen = miTRACE_VISIBLE | miTRACE_SHADOW_CAST | miTRACE_REFLECTION_CAST |
                                    miTRACE_REFRACTION_CAST | miTRACE_TRANSPARENCY_CAST | miTRACE_FINALGATHER;
    if (!options.caustic && !options.globillum) return 0;
    const bool isSeen = (resolve(object) & kSeen) != 0;
    int flags = 0;
    const auto add = [&](int value, int cast, int receive) {
        flags |= (value & kCast ? cast : 0) | (value & kReceive ? receive : 0);
    };
    if (options.caustic)
        add(photonsOfAll(kCaustic, object.caustic, options.caustic_flag, isSeen), kCausticCast, kCausticReceive);
    if (options.globillum)
        add(photonsOfAll(kGlobillum, object.globillum, options.globillum_flag, isSeen), kGlobillumCast,
            kGlobillumReceive);
    return static_cast<std::uint8_t>(flags);
}

char TraceFlags::face(const miObject& object, char fallback) const {
    if (face_) return face_;
    const auto ofObject = static_cast<char>(object.face);
    if (isSide(ofObject)) return ofObject;
    return isSide(fallback) ? fallback : 'a';
}

}  // namespace lumorender
