#include "elements/element_readers.h"
#include "parsing/language.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

StringOptions::Value readNumericValue(Cursor& in) {
    const bool isInteger = in.atInteger();
    const auto exact = isInteger ? in.readInteger() : 0;
    std::vector<float> values(1, isInteger ? static_cast<float>(exact) : in.readFloat());
    while (in.atNumber() && values.size() < 4) values.push_back(in.readFloat());
    if (values.size() > 1) return values;
    if (isInteger) return exact;
    return values.front();
}

/// What the host does not know may be meant for shaders, which can ask for all options.
void tell(SceneContext& scene, const Place& place, const std::string& name) {
    const Token& value = scene.in.current();
    if (meaningOf("string option", name, value.text))
        scene.problems.tell(place, "string option", name, value.text);
    else
        scene.problems.note(place, fmt::format("string option: \"{}\" has no effect: it is kept for shaders", name));
}

}  // namespace

void readStringOption(SceneContext& scene, StringOptions& options) {
    Cursor& in = scene.in;
    const Place place = in.place();
    const std::string name = in.readString();
    tell(scene, place, name);
    if (in.atBoolean())
        options.values[name] = in.readBoolean();
    else if (in.atString())
        options.values[name] = in.readString();
    else if (in.atNumber())
        options.values[name] = readNumericValue(in);
    else
        in.fail("on, off, a number or a quoted text as the option's value");
}

void readOptionAttribute(SceneContext& scene, StringOptions& options) {
    while (scene.in.current().kind == TokenKind::Symbol && !scene.in.at("end")) scene.in.advance();
    readStringOption(scene, options);
}

}  // namespace lumorender
