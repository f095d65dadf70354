#include "lighting_scene.h"

#include <cmath>

using twin::renderer;

namespace lighting {

LightingTest::LightingTest() {
    state->light_instance = renderer().database.addInstance(renderer().database.add(miSCENE_LIGHT, sizeof(miLight)));
}

miTag LightingTest::maskedInstance(const std::string& mask) {
    return renderer().database.addInstance(miNULLTAG, {renderer().database.addString(mask)});
}

void LightingTest::setEntries(const std::vector<miUint>& flags) {
    std::vector<FrameBufferInfo> made(flags.size());
    slots.assign(flags.size() * 6, {});
    for (std::size_t k = 0; k < flags.size(); ++k) {
        made[k].flags = flags[k];
        made[k].lightValue = made[k].shadowValue = made[k].shadowSum = made[k].lightSum = {9, 9, 9, 9};
        made[k].slots = &slots[k * 6];
    }
    PassState passes{};
    for (PassRange& type : passes.types) type = {0, static_cast<miUint>(made.size())};
    passes.types[0] = {static_cast<miUint>(made.size()), 0};
    twin::ShaderStateStore& store = stage.rendering.entries;
    store.set("lumoPassState", &passes, sizeof passes, miSS_LIFETIME_RECT);
    store.set("lumoFBInfo", made.data(), static_cast<int>(made.size() * sizeof(FrameBufferInfo)), miSS_LIFETIME_RECT);
    entries = {static_cast<FrameBufferInfo*>(store.get("lumoFBInfo", nullptr)), made.size()};
}

LightShaderTest::LightShaderTest() : record(stage.placeVexabase()), light(*state) {
    stage.options.shadow = 1;
    record[5] = 1000;  // levels of shadow rays
    record[13] = record[14] = 1;
    light = stage.child(miRAY_LIGHT);
    place({0, 3, -5}, {0, 0, -5});
}

void LightShaderTest::place(const miVector& origin, const miVector& point) {
    const miVector way = {point.x - origin.x, point.y - origin.y, point.z - origin.z};
    const double dist = std::sqrt(double{way.x} * way.x + double{way.y} * way.y + double{way.z} * way.z);
    const auto scale = static_cast<miScalar>(1 / dist);
    light.type = miRAY_LIGHT;
    light.org = origin;
    light.point = point;
    light.dist = dist;
    light.dir = {way.x * scale, way.y * scale, way.z * scale};
    light.normal = {0, 1, 0};
    light.dot_nd = -light.dir.y;
    renderer().spaces.light = twin::Matrix::translation(-origin.x, -origin.y, -origin.z);
}

miColor LightShaderTest::recordColor(int word) const {
    miColor color;
    std::memcpy(&color, record + word, sizeof color);
    return color;
}

void LightShaderTest::shadow(const miColor& transmission, miBoolean lit) {
    renderer().tracing.shadow = [this, transmission, lit](miColor* color, miState* called) {
        *color = transmission;
        occlude(transmission, called);
        return lit;
    };
}

}  // namespace lighting
