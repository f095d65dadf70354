#include "building/object_callback.h"

#include "support/messages.h"

namespace lumorender {

/// What modules throw ends here.
std::unique_ptr<ObjectSource> ObjectCallback::load() {
    const auto world = world_.lock();
    if (!world) return nullptr;
    BuildSession session(world, object_, who_);
    try {
        if (callback_(object_, parameters_) == miFALSE) warning("API", "{}: it says that it failed", who_);
    } catch (const std::exception& problem) {
        error("API", "{}: it ended by an exception: {}", who_, problem.what());
    } catch (...) {
        error("API", "{}: it ended by an exception", who_);
    }
    auto built = session.takeBuilt();
    if (!built) error("API", "{}: it built no object", who_);
    return built;
}

}  // namespace lumorender
