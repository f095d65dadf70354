#include "elements/element_readers.h"

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

}  // namespace

void readStringOption(SceneContext& scene, StringOptions& options) {
    Cursor& in = scene.in;
    const std::string name = in.readString();
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
