#include "parsing/problems.h"

#include "parsing/language.h"
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

void Problems::tell(const Place& place, std::string_view element, std::string_view word, std::string_view next) {
    const Meaning* meaning = meaningOf(element, word, next);
    if (!meaning) return warning(place, fmt::format("{} \"{}\" is missing in the list of the language", element, word));
    if (meaning->effect == Effect::Used || (meaning->effect == Effect::Idle && !speaks(MessageClass::Info))) return;
    // Of what follows only settings and switches say what is meant.
    const bool isTold = next == "on" || next == "true" ||
                        meaning->words.find(fmt::format("{}={}", word, next)) != std::string_view::npos;
    const std::string said = isTold && next != "shader" ? fmt::format("{} {}", word, next) : std::string(word);
    const std::string text =
        fmt::format("{}: \"{}\" {}: {}", element, said,
                    meaning->effect == Effect::Refused ? "is refused" : "has no effect", meaning->why);
    if (meaning->effect != Effect::Idle) return unsupported(place, text);
    note(place, text);
}

void Problems::note(const Place& place, const std::string& text) {
    if (speaks(MessageClass::Info) && mayBeShown(place) && noted_.insert(text).second)
        info("SCEN", "{}: {}", place.text(), text);
}

void Problems::summarize() {
    for (const auto& [kind, count] : unsupported_)
        if (count > 1) lumorender::warning("SCEN", "{}: {} more times", kind, count - 1);
    unsupported_.clear();
}

}  // namespace lumorender
