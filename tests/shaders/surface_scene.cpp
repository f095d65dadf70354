#include "surface_scene.h"

#include <algorithm>

using twin::renderer;

namespace {

/* Tags of lights, far from those of the database. */
constexpr miTag kFirstLight = 0x10000000;

}  // namespace

SurfaceTest::SurfaceTest() : record(stage.placeVexabase()) {
    renderer().lighting.instanceLights = [this](int* n, miTag** list, miState*) {
        lightTags.clear();
        for (std::size_t i = 0; i < lights.size(); ++i)
            lightTags.push_back(lights[i].instance ? lights[i].instance : kFirstLight + static_cast<miTag>(i));
        *n = static_cast<int>(lights.size());
        *list = lightTags.data();
        return miTRUE;
    };
    renderer().lighting.sample = [this](miColor* color, miVector* dir, miScalar* cosine, miState*, miTag light,
                                        int* n) { return sample(color, dir, cosine, lightOf(light), n); };
}

void SurfaceTest::usePasses(const std::vector<int>& types) {
    for (int type : types)
        addRecord("type" + std::to_string(type), type).composited().shadowed().levels(0, 100, 0, 100);
    attach();
    initState();
    beginSample();
}

miColor SurfaceTest::pass(int type) {
    const PassRange range = passes().types[type];
    EXPECT_EQ(range.count, 1u) << type;
    const int level = state->reflection_level + state->refraction_level;
    return publishedEntries()[range.first].slots[level].contribution;
}

ScriptedLight& SurfaceTest::lightOf(miTag tag) {
    if (tag >= kFirstLight) return lights.at(tag - kFirstLight);
    return *std::find_if(lights.begin(), lights.end(), [&](const ScriptedLight& each) { return each.instance == tag; });
}

miBoolean SurfaceTest::sample(miColor* color, miVector* dir, miScalar* cosine, ScriptedLight& source, int* samples) {
    if (*samples >= source.samples) return miFALSE;
    ++*samples;
    *dir = source.direction;
    *cosine = mi_vector_dot(&state->normal, &source.direction);
    if (facingTest && *cosine <= 0) return sample(color, dir, cosine, source, samples);
    runLightShader(source);
    const miScalar t = record[23] ? 1 : source.transmission;
    *color = {source.color.r * t, source.color.g * t, source.color.b * t, 1};
    return miTRUE;
}

/* Light data in words 12 to 23, and for each entry what arrives: without shadow, with it, or what it takes away. */
void SurfaceTest::runLightShader(ScriptedLight& light) {
    ++light.calls;
    light.lastWord11 = static_cast<miInteger>(record[23]);
    if (light.isForeign) return;
    record[12] = light.isAmbient;
    record[13] = !light.isAmbient && light.emitsDiffuse;
    record[14] = !light.isAmbient;
    const miScalar transmission = record[23] ? 1 : light.transmission;
    setWord(15, 1 - transmission);
    std::memcpy(record + 16, &light.color, sizeof light.color);
    std::memcpy(record + 20, &light.corners, sizeof light.corners);
    for (FrameBufferInfo& each : entries()) {
        const bool shadowed = each.flags & 0x80, inverted = each.flags & 0x1000;
        const miScalar t = !shadowed ? 1 : inverted ? 1 - transmission : transmission;
        each.lightValue = {light.color.r * t, light.color.g * t, light.color.b * t, 1};
    }
    if (!entries().empty()) entry(0).flags &= ~0x800u;
}

const SurfaceShaderReturnType& SurfaceTest::shade(const std::string& material, const std::string& parameters) {
    twin::Block shader("lumoVexa" + material, parameters);
    return shade(shader);
}

const SurfaceShaderReturnType& SurfaceTest::shade(twin::Block& shader) {
    shader.init(state);
    std::memset(&result, 0xEE, sizeof result);
    returned = shader.call(state, &result);
    shader.exit(state);
    return result;
}

miColor SurfaceTest::contributionWeight() {
    miColor weight;
    std::memcpy(&weight, record + 140, sizeof weight);
    return weight;
}
