#include "parsing/problems.h"

#include "support/messages.h"

namespace lumorender {

void Problems::error(const Place& place, const std::string& text) {
    lumorender::error("SCEN", "{}: {}", place.text(), text);
    if (++errors_ < kMostErrors) return;
    lumorender::error("SCEN", "{}: too many errors, the rest of the file is not read", place.text());
    throw StopReading();
}

void Problems::warning(const Place& place, const std::string& text) {
    lumorender::warning("SCEN", "{}: {}", place.text(), text);
}

void Problems::versionMismatch(const Place& place, const std::string& text) {
    lumorender::error("SCEN", "{}: {}", place.text(), text);
}

void Problems::unsupported(const Place& place, const std::string& kind) {
    if (unsupported_[kind]++ == 0) warning(place, kind);
}

void Problems::noEffect(const Place& place, std::string_view what) {
    if (speaks(MessageClass::Debug)) debug("SCEN", "{}: {} has no effect", place.text(), what);
}

void Problems::summarize() {
    for (const auto& [kind, count] : unsupported_)
        if (count > 1) lumorender::warning("SCEN", "{}: {} more times", kind, count - 1);
    unsupported_.clear();
}

}  // namespace lumorender
