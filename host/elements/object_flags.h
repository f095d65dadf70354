// Flags that objects and instances both have: numbers of two bits, cast 1 and receive 2.
#pragma once

#include "parsing/cursor.h"

namespace lumorender {

constexpr int kFlagOn = 3;
constexpr int kObjectFlagOff = 2;     ///< an object that casts nothing still receives
constexpr int kInstanceFlagOff = 12;  ///< an instance switches off explicitly: 4 cast, 8 receive

/// `on`, `off`, a number, or nothing, which is `on`.
inline int readTraceFlag(Cursor& in, int off) {
    if (in.atInteger()) return in.readInteger(0, 15);
    return in.readFlag() ? kFlagOn : off;
}

inline char readFaceSide(Cursor& in) {
    if (in.accept("front")) return 'f';
    if (in.accept("back")) return 'b';
    if (!in.accept("both")) in.fail("front, back or both");
    return 'a';
}

}  // namespace lumorender
