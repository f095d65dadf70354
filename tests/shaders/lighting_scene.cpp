#include "lighting_scene.h"

#include <cmath>

using twin::renderer;

namespace lighting {

namespace {

constexpr miColor kNine = {9, 9, 9, 9};

}  // namespace

LightingTest::LightingTest() {
    state->light_instance = renderer().database.addInstance(renderer().database.add(miSCENE_LIGHT, sizeof(miLight)));
}

miTag LightingTest::maskedInstance(const std::string& mask) {
    return renderer().database.addInstance(miNULLTAG, {renderer().database.addString(mask)});
}

void LightingTest::setEntries(const std::vector<miUint>& flags) {
    entries.assign(flags.size(), {});
    slots.assign(flags.size() * 6, {});
    for (std::size_t k = 0; k < flags.size(); ++k) {
        FrameBufferInfo& entry = entries[k];
        entry.flags = flags[k];
        entry.lightValue = entry.shadowValue = entry.shadowSum = entry.lightSum = kNine;
        entry.slots = &slots[k * 6];
    }
}

void LightingTest::publish() {
    PassState passes{};
    passes.types[0] = {count(), 0};
    for (int type = 1; type < kPassTypeCount; ++type) passes.types[type] = {0, count()};
    twin::ShaderStateStore& store = stage.rendering.entries;
    store.set("lumoPassState", &passes, sizeof passes, miSS_LIFETIME_RECT);
    store.set("lumoFBInfo", entries.data(), static_cast<int>(entries.size() * sizeof(FrameBufferInfo)),
              miSS_LIFETIME_RECT);
}

FrameBufferInfo& LightingTest::published(std::size_t index) {
    return static_cast<FrameBufferInfo*>(stage.rendering.entries.get("lumoFBInfo", nullptr))[index];
}

LightShaderTest::LightShaderTest() : record(stage.placeVexabase()), light(*state), result(kNine) {
    stage.options.shadow = 1;
    const miUint limit = 1000;
    record[5] = limit;
    record[13] = record[14] = 1;
    light = stage.child(miRAY_LIGHT);
    place({0, 3, -5}, {0, 0, -5});
}

void LightShaderTest::place(const miVector& origin, const miVector& point) {
    const miVector way = {point.x - origin.x, point.y - origin.y, point.z - origin.z};
    const double dist = std::sqrt(double{way.x} * way.x + double{way.y} * way.y + double{way.z} * way.z);
    const auto scale = static_cast<miScalar>(1 / dist);
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

void LightShaderTest::occlude(const miColor& transmission, bool lit) {
    renderer().tracing.shadow = [this, transmission, lit](miColor* color, miState* called) {
        *color = transmission;
        library::applyShadowTransparencyToFrameBuffers(count(), count() ? &published(0) : nullptr, &transmission, 0,
                                                       called);
        return lit ? miTRUE : miFALSE;
    };
}

}  // namespace lighting
