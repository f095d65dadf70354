#include "engine_scene.h"

using twin::renderer;

Group::Group() {
    engine.connect(&engine->surface, [this](miState* state) {
        ++evaluations;
        PassState* passes = nullptr;
        FrameBufferInfo* first = nullptr;
        if (library::getFrameBufferInfo(state, &passes, &first))
            for (const auto& [type, value] : writes) {
                const PassRange range = passes->types[type];
                const miUint mode = 3;  // replace: labels must not be added as floats
                const miCBoolean flags = 0;
                const miScalar weight = 1;
                for (miUint i = range.first; i < range.first + range.count; ++i)
                    library::passWriteColor(state, &value, first + i, &mode, &flags, &weight, nullptr, nullptr);
            }
        if (onEvaluation) onEvaluation(state);
        return static_cast<void*>(&surface);
    });
}

miBoolean Group::shade(miColor* result, miState* state) {
    static const twin::ShaderEntry<EngineBlock, miColor> entry("lumoVexaShadingEngine");
    state->shader = &engine.function();
    return entry.call(result, state, engine.parameters(), nullptr);
}

void Group::connectBefore(int element, std::function<void*(miState*)> shader) {
    // By bytes: compilers take an element's address for the end of all memory, and the ghosts lie behind the block.
    const std::size_t offset = offsetof(EngineBlock, before) + static_cast<std::size_t>(element) * sizeof(miColor);
    engine.connect(reinterpret_cast<char*>(engine.parameters()) + offset, std::move(shader));
}

EngineTest::EngineTest() : record(stage.placeVexabase()) {
    renderer().tracing.transparent = [this](miColor* color, miState* parent) {
        return traceOn(color, parent, miRAY_TRANSPARENT, parent->refraction_level + 1);
    };
    renderer().tracing.continued = [this](miColor* color, miState* parent) {
        return traceOn(color, parent, parent->type, parent->refraction_level);
    };
}

miBoolean EngineTest::traceOn(miColor* color, miState* parent, miRay_type type, int refractionLevel) {
    levelOfTrace = parent->refraction_level;
    volumeOfTrace = parent->refraction_volume;
    seen = *parent;
    seen.parent = parent;
    seen.type = type;
    seen.refraction_level = refractionLevel;
    seen.dist = 8;
    seen.point = {0, 0, -8};
    parent->child = &seen;

    Group* const group = behind;
    miBoolean found = miFALSE;
    if (group) {
        behind = nullptr;
        found = group->shade(color, &seen);
        behind = group;
    } else {
        seen.instance = miNULLTAG;
        if (environment) *color = *environment;
        found = environment.has_value();
    }
    // Renderers hand these back.
    parent->point = seen.point;
    parent->dist = seen.dist;
    return found;
}

void EngineTest::openBuffers() {
    for (RecordWords& each : records)
        if (each.words[11] == 0 && each.words[13] == 0) each.levels(0, 100, 0, 100);
    attach();
    initState();
    beginSample();
}

void EngineTest::usePasses(const std::vector<Pass>& passes) {
    for (const Pass& each : passes) addRecord("pass" + std::to_string(records.size()), each.type);
    openBuffers();
    for (std::size_t i = 0; i < passes.size(); ++i) entry(i).flags = passes[i].flags;
}

FrameBufferState& EngineTest::frame() {
    return *static_cast<FrameBufferState*>(stage.rendering.entries.get("lumoFBState", nullptr));
}

void EngineTest::setRecord(int word, miScalar value) { std::memcpy(record + word, &value, sizeof value); }

int EngineTest::walks() const { return renderer().tracing.transparent.calls() + renderer().tracing.continued.calls(); }

miTag EngineTest::masked(const std::string& mask) {
    twin::Database& database = renderer().database;
    return database.addInstance(miNULLTAG, {database.addString(mask)});
}
