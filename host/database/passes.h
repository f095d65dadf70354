// What cameras say of passes: samples of frame buffers that are kept in files, and put together from files.
#pragma once

#include "database/database.h"

#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

struct PassStatement {
    enum class Kind { Write, Merge, Prepare, Delete };

    Kind kind = Kind::Write;
    std::string where;  ///< "file:line" of the statement, for messages
    std::vector<std::string>
        types;  ///< of the frame buffers that it is about: "rgba", "z", "fb0", or a buffer's name; none = all
    std::vector<std::string> reads;
    std::string write;  ///< the file that it writes, or deletes; may be empty for a merge
    miTag shader = 0;   ///< in place of the nearest sample
};

/// Of the element that miCamera::pass names, in the order of the statements.
struct PassList : Detail {
    std::vector<PassStatement> passes;
};

}  // namespace lumorender
