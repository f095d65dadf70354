#include "parsing/problems.h"

#include "support/messages.h"

namespace lumorender {

namespace {

bool mayBeShown(const Place& place) { return !place.source || place.source->isScene(); }

}  // namespace

void Problems::stop(const Place& place, const std::string& text) {
    ++errors_;
    lumorender::error("SCEN", "{}: {}", place.text(), text);
    throw StopReading();
}

void Problems::error(const Place& place, const std::string& text) {
    if (!mayBeShown(place))
        stop(place, "this is no scene text; nothing of it is shown because the name of the file does not end in .mi");
    lumorender::error("SCEN", "{}: {}", place.text(), text);
    if (++errors_ < kMostErrors || lenient) return;
    stop(place, "too many errors, the rest of the file is not read");
}

void Problems::warning(const Place& place, const std::string& text) {
    constexpr const char* kHidden = "a warning is not shown because the name of the file does not end in .mi";
    lumorender::warning("SCEN", "{}: {}", place.text(), mayBeShown(place) ? text : kHidden);
}

void Problems::versionMismatch(const Place& place, const std::string& text) {
    if (!mayBeShown(place)) return warning(place, text);
    lumorender::error("SCEN", "{}: {}", place.text(), text);
}

void Problems::unsupported(const Place& place, const std::string& kind) {
    if (unsupported_[kind]++ == 0) warning(place, kind);
}

void Problems::leftOut(const Place& place, const std::string& kind) {
    if (!mayBeShown(place)) return warning(place, kind);
    if (unsupported_[kind]++ == 0) lumorender::error("SCEN", "{}: {}", place.text(), kind);
}

void Problems::noEffect(const Place& place, std::string_view what) {
    if (speaks(MessageClass::Debug) && mayBeShown(place)) debug("SCEN", "{}: {} has no effect", place.text(), what);
}

void Problems::summarize() {
    for (const auto& [kind, count] : unsupported_)
        if (count > 1) lumorender::warning("SCEN", "{}: {} more times", kind, count - 1);
    unsupported_.clear();
}

}  // namespace lumorender
