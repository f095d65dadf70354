#include "scene.h"

namespace twin {

void FunctionRecord::allocate(std::size_t parameters) {
    const std::size_t block = (parameters + 7) / 8 * 8;
    memory_ = std::make_unique<std::byte[]>(sizeof(miFunction) + 2 * block);
    function().parameter_size = function().ghost_offs = static_cast<int>(block);
}

Stage::Stage() {
    options.trace = miTRUE;
    options.trace_depth = 4;
    options.reflection_depth = options.refraction_depth = 4;
    options.face = 'a';
    options.render_space = 'o';
    options.string_options = renderer().stringOptions;

    camera.focal = camera.aperture = 1;
    camera.aspect = 4.0f / 3;
    camera.x_resolution = 640;
    camera.y_resolution = 480;
    camera.buffertag = renderer().frameBuffers;

    state.version = 2;
    state.camera = &camera;
    state.options = &options;
    state.global_lock = renderer().globalLock;
    state.ts = &rendering;
    state.camera_inst = renderer().database.addInstance(miNULLTAG);
    state.type = miRAY_EYE;
    state.face = 'a';
    state.instance = renderer().database.addInstance(renderer().database.add(miSCENE_OBJECT, sizeof(miObject)));
    state.dir = {0, 0, -1};
    state.dist = 5;
    state.point = {0, 0, -5};
    state.normal = state.normal_geom = {0, 0, 1};
    state.dot_nd = -1;
    state.importance = 1;

    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_TILE));
}

miUint* Stage::placeVexabase() {
    miUint words[kVexabaseWords] = {};
    const miScalar never = -1, full = 1;
    words[2] = 1;
    std::memcpy(words + 7, &never, sizeof never);
    for (int word = 140; word < 144; ++word) std::memcpy(words + word, &full, sizeof full);
    rendering.entries.set("vexabase", words, sizeof words, miSS_LIFETIME_RECT);
    return static_cast<miUint*>(rendering.entries.get("vexabase", nullptr));
}

miScalar Stage::vexabaseScalar(int word) const {
    miScalar value;
    std::memcpy(&value, static_cast<const miUint*>(rendering.entries.get("vexabase", nullptr)) + word, sizeof value);
    return value;
}

miState Stage::child(miRay_type type) {
    miState result = state;
    result.parent = &state;
    result.type = type;
    result.reflection_level += type == miRAY_REFLECT;
    result.refraction_level += type == miRAY_REFRACT || type == miRAY_TRANSPARENT;
    return result;
}

LibraryTest::LibraryTest()
    : stage_((resetRenderer(), std::make_unique<Stage>())), stage(*stage_), state(&stage.state) {}

LibraryTest::~LibraryTest() {
    stage_.reset();
    resetRenderer();
}

void LibraryTest::TearDown() {
    for (const Message& each : renderer().violations()) ADD_FAILURE() << each.text;
    EXPECT_EQ(renderer().database.pinsInAll(), 0);
    EXPECT_EQ(renderer().memory.liveAllocations(), expectedAllocations);
    EXPECT_EQ(renderer().objectsOut, 0);
}

}  // namespace twin
