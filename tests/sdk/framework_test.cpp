/* What shaders stand on: objects and their parameters, constants and messages, user data, pools and the time sampler.
 */
#include <algorithm>
#include <thread>

#include "block.h"

namespace {

using twin::libraryVariable;
using twin::renderer;

class Framework : public twin::LibraryTest {};

TEST_F(Framework, ObjectsLiveFromInstanceInitToExit) {
    twin::Block shader("lumoPassCameraDepth"), other("lumoPassCameraDepth");
    const twin::ShaderEntry<void> depth("lumoPassCameraDepth");
    miBoolean wantsInstances = 9;
    depth.init(state, nullptr, &wantsInstances);
    EXPECT_EQ(wantsInstances, miTRUE);
    depth.exit(state, nullptr);
    EXPECT_EQ(renderer().queries.count(miQ_FUNC_USERPTR), 0);

    // Parameters that are captured are evaluated once.
    miScalar near = 1;
    stage.placeVexabase();
    const auto& connection = shader.connect("near", &near);
    shader.init(state);
    for (int i = 0; i < 3; ++i) shader.call(state, nullptr);
    EXPECT_EQ(connection.evaluations, 1);
    other.init(state);
    EXPECT_NE(other.object(), shader.object());
    other.exit(state);
    EXPECT_EQ(other.object(), nullptr);
    EXPECT_EQ(renderer().memory.liveAllocations(), 1u);
    shader.exit(state);
}

/* The alpha of this engine is one parameter, read on every call. */
TEST_F(Framework, EvaluatesOnlyParametersThatAreConnected) {
    struct Engine {
        miColor color;
        miScalar alpha;
    };
    struct {
        Engine ghosts, block;
    } memory{};  // ghosts lie anywhere: the distance is signed
    memory.block.alpha = 0.25f;
    miFunction function{};
    function.ghost_offs = -static_cast<int>(sizeof(Engine));
    state->shader = &function;
    stage.placeVexabase();
    miScalar elsewhere = 0.75f;
    renderer().evaluation.connect(&memory.block.alpha, &elsewhere);
    const twin::ShaderEntry<Engine, miColor> entry("lumoVexaSimpleShadingEngine");
    for (const int hasConnections : {0, 1, 2})
        for (const miTag ghost : {0x0u, 0x1u, 0x2u, 0x2Au, 0xFFFFFFFCu, 0xFFFFFFFDu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            function.has_connections = static_cast<miUint1>(hasConnections);
            std::memcpy(&memory.ghosts.alpha, &ghost, sizeof ghost);
            miColor result = {};
            EXPECT_EQ(entry.call(&result, state, &memory.block, nullptr), miTRUE);
            const bool connected = hasConnections == 1 && ghost != 0 && ghost != miPARAMTAG;
            EXPECT_EQ(result.a, connected ? 0.75f : 0.25f) << hasConnections << ' ' << ghost;
        }
}

TEST_F(Framework, ConstantsAndMessagesAreExact) {
    for (int i = 0; i < 16; ++i) {
        for (const std::string name : {"BLACK", "WHITE", "VEXA_BLACK", "VEXA_WHITE"})
            EXPECT_EQ((&libraryVariable<miColor>(name.c_str()).r)[i % 4], name.ends_with("WHITE")) << name;
        EXPECT_EQ(libraryVariable<miMatrix>("VEXA_NULL_MATRIX")[i], 0);
        EXPECT_EQ(libraryVariable<miMatrix>("VEXA_IDENTITY_MATRIX")[i], i % 5 == 0);
    }
    const std::pair<const char*, miScalar> scalars[] = {
        {"VEXA_LUMINANCE_RED", 0.3f}, {"VEXA_LUMINANCE_GREEN", 0.59f},    {"VEXA_LUMINANCE_BLUE", 0.11f},
        {"VEXA_EPS", 1e-5f},          {"TRANSLUCENCE_ANGLE_FAC", -11.5f}, {"TRANSLUCENCE_FADE", 0.15f}};
    for (const auto& [name, value] : scalars) EXPECT_EQ(libraryVariable<miScalar>(name), value) << name;
    EXPECT_EQ(libraryVariable<miUint>("VEXA_MAGIC"), 0x56657861u);
    EXPECT_EQ(libraryVariable<miInteger>("VEXA_CUBE_SIDE"), 32);
    const char* const bits[] = {"BUMP2D", "IMAGEPLANE", "ENVLIGHTFOG", "VOLUMEFOG", "FLUID", "NOAF", "MOTION"};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(libraryVariable<miInteger>((std::string("VEXA_BIT_") + bits[i]).c_str()), 1 << i) << bits[i];
    const char* const texts[][2] = {{"VEXA_FRAMEBUFFER_DATA_SUFFIX", ":fbdata"},
                                    {"PASS_TYPE_INFO_KEY", "lumoPassState"},
                                    {"FRAME_BUFFER_INFO_KEY", "lumoFBInfo"},
                                    {"FRAME_BUFFER_STATE_KEY", "lumoFBState"}};
    for (const auto& [name, value] : texts) EXPECT_STREQ(libraryVariable<const char*>(name), value);

    library::lumoFatal("f");
    library::lumoError("e");
    library::lumoWarning("w");
    library::lumoInfo("100%% done");
    std::string said;
    for (const twin::Message& each : renderer().messages()) said += each.level + ":" + each.text + " ";
    EXPECT_EQ(said, "fatal:f error:e warning:w info:100% done ");
}

/* object -> block with another magic -> block with ours -> block with ours byte-swapped; and whatever else may be
 * handed over. */
TEST_F(Framework, UserDataIsFoundAlongTheChain) {
    constexpr miUint kMagic = 0x11223344, kOther = 0x0A0B0C0D;
    twin::Database& database = renderer().database;
    const miTag swapped = database.addUserdata({0x44332211, 3}), ours = database.addUserdata({kMagic, 2}, swapped),
                first = database.addUserdata({kOther, 1}, ours),
                onlySwapped = database.addUserdata({kOther, 1}, swapped);
    const miTag light = database.add(miSCENE_LIGHT, sizeof(miLight)), toLight = database.addUserdata({kOther}, light);
    const auto object = [&](miTag userdata) {
        const miTag tag = database.add(miSCENE_OBJECT, sizeof(miObject));
        database.record<miObject>(tag).userdata = userdata;
        return tag;
    };
    const miTag whole = object(first);
    constexpr miUint kObject = miSCENE_OBJECT, kData = miSCENE_USERDATA, kLight = miSCENE_LIGHT;
    const miUint rows[][5] = {{kMagic, kData, first, 0, ours},
                              {kMagic, kData, ours, 0, ours},
                              {kMagic, kObject, whole, 0, ours},
                              {kMagic, kObject, whole, 1, ours},
                              {kMagic, kData, whole, 0, 0},
                              {kMagic, kObject, database.addInstance(whole), 0, ours},
                              {0xDEAD, kObject, whole, 0, 0},
                              {kMagic, kObject, object(onlySwapped), 1, swapped},
                              {kMagic, kLight, whole, 0, 0},
                              {kMagic, kObject, object(onlySwapped), 0, 0},
                              {kMagic, kObject, light, 0, 0},
                              {kMagic, kObject, database.addInstance(light), 0, 0},
                              {kMagic, kLight, light, 0, 0},
                              {kMagic, kObject, object(miNULLTAG), 0, 0},
                              {kMagic, kObject, object(toLight), 0, 0}};
    for (const auto& [magic, type, start, asksForSwapped, expected] : rows) {
        SCOPED_TRACE(testing::Message() << magic << ' ' << type << ' ' << start);
        miTag found = 0;
        miInteger swap = 7;
        const void* data = library::get_userdata(magic, type, start, &found, asksForSwapped ? &swap : nullptr);
        EXPECT_EQ(data, expected ? &database.record<miUserdata>(expected).parameters[0] : nullptr);
        EXPECT_EQ(database.pinsInAll(), data != nullptr);
        EXPECT_EQ(found, expected);
        if (data) mi_db_unpin(found);
        EXPECT_EQ(swap, !data || !asksForSwapped ? 7 : expected == swapped);
    }
    ASSERT_NE(library::get_userdata(kMagic, miSCENE_USERDATA, ours, nullptr, nullptr), nullptr);
    mi_db_unpin(ours);
}

TEST_F(Framework, CameraOriginIsTheTranslationOfItsInstance) {
    for (const miScalar w : {1.0f, 0.0f, 2.0f}) {
        const miScalar row[4] = {2, 4, 8, w}, expected = w == 2 ? 0.5f : 1;
        std::copy_n(row, 4, renderer().database.record<miInstance>(state->camera_inst).tf.local_to_global + 12);
        miVector origin = {9, 9, 9};
        library::origin_from_camera(state, &origin);
        EXPECT_EQ(origin.x, 2 * expected);
        EXPECT_EQ(origin.y, 4 * expected);
        EXPECT_EQ(origin.z, 8 * expected);
    }
}

/* One pool for each pair of thread and size, also when threads make them at once. */
TEST_F(Framework, PoolsCarryStacksUntilTheyAreCleared) {
    const auto pool = [&](miUint id, miUint size) { return library::get_tla(state->global_lock, id, size); };
    miMemblk* made[4][4] = {};
    std::vector<std::thread> threads;
    for (miUint id = 0; id < 4; ++id)
        threads.emplace_back([&, id] {
            for (miUint k = 0; k < 4; ++k) made[id][k] = pool(id, 16 + 8 * k);
        });
    for (std::thread& each : threads) each.join();
    const int locked = renderer().timesLocked;
    EXPECT_EQ(renderer().memory.livePools(), 16u);
    for (miUint id = 0; id < 4; ++id)
        for (miUint k = 0; k < 4; ++k) {
            EXPECT_EQ(pool(id, 16 + 8 * k), made[id][k]);
            EXPECT_EQ(made[id][k]->size, static_cast<int>(16 + 8 * k));
        }
    EXPECT_EQ(renderer().timesLocked, locked) << "a pool that exists is found without the lock";

    // Elements begin with the one below.
    LumoStack stack{&stack, 99, nullptr};
    state->thread = 3;
    library::stack_create(state, &stack, 16);
    EXPECT_EQ(stack.pool, made[3][0]);
    library::stack_pop(&stack);
    void* elements[4] = {};
    for (miUint i = 1; i < 4; ++i) {
        EXPECT_EQ(stack.count, i - 1);
        elements[i] = library::stack_push(&stack);
        EXPECT_EQ(*static_cast<void**>(elements[i]), elements[i - 1]);
    }
    for (miUint i = 3; i > 0; --i) {
        EXPECT_EQ(stack.top, elements[i]);
        library::stack_pop(&stack);
    }
    EXPECT_EQ(stack.top, nullptr);
    EXPECT_EQ(stack.count, 0u);
    EXPECT_EQ(stack.pool->blocks.size(), 0u) << "every element went back";

    library::clr_tla_list(state->global_lock);
    EXPECT_EQ(renderer().memory.livePools(), 0u);
    pool(1, 16);
    EXPECT_EQ(renderer().memory.livePools(), 1u) << "nothing is left to be found";
    library::clr_tla_list(state->global_lock);
}

/* As many samples as 1 over the smallest time contrast, 100 at most, where nothing else distributes them over time. */
TEST_F(Framework, TimeSamplerDividesTheShutter) {
    stage.options.shutter_delay = 0.25f;
    // Contrast, when the shutter closes, whether it is enabled, gathers, moves; samples, or -1 for one without a step.
    // 1 / 0.1f is a little off 10, which must not cost a sample.
    const miScalar rows[][8] = {{.5f, .25f, .5f, .75f, 1, 0, 0, 4},    {.3f, .4f, .5f, .75f, 1, 0, 0, 3},
                                {.9f, .005f, .9f, .75f, 1, 0, 0, 100}, {.5f, .6f, .01f, .75f, 1, 0, 0, 100},
                                {.1f, .2f, .2f, .75f, 1, 0, 0, 10},    {1, 2, 3, .75f, 1, 0, 0, 1},
                                {.25f, .25f, .25f, .75f, 0, 0, 0, -1}, {0, .25f, .25f, .75f, 1, 0, 0, -1},
                                {.25f, .25f, .25f, .75f, 1, 1, 0, -1}, {.25f, .25f, .25f, .75f, 1, 0, 1, -1},
                                {.25f, .25f, .25f, .25f, 1, 0, 0, -1}, {.25f, .25f, .25f, .75f, 1, 0, 0, 4}};
    LumoTimeSampler sampler;
    for (const auto& [r, g, b, close, enable, gathers, moves, count] : rows) {
        stage.options.shutter = close;
        stage.options.time_contrast = {r, g, b, 0};
        renderer().queries.answer(miQ_FINALGATHER_STATE, static_cast<miInteger>(gathers));
        renderer().queries.answer(miQ_SAMPLE_MOVING, static_cast<miInteger>(moves));
        sampler = {55, 55, 55};
        library::tmsampler_init(&sampler, state, enable == 1);
        EXPECT_EQ(sampler.index, 0);
        EXPECT_EQ(static_cast<miScalar>(sampler.count), std::abs(count)) << r << ' ' << g;
        EXPECT_FLOAT_EQ(sampler.step, count < 0 ? 0 : .5f / count);
    }
    // 0.5, then steps of 0.125; beyond 0.75 the interval's length 0.5 is taken off again.
    state->time = 0.5f;
    const miScalar expected[] = {0.5f, 0.625f, 0.75f, 0.375f};
    int taken = 0;
    for (; !library::tmsampler_isDone(&sampler) && taken < 5; library::tmsampler_next(&sampler, state))
        EXPECT_FLOAT_EQ(state->time, expected[taken++]);
    EXPECT_EQ(taken, 4);

    renderer().queries.refuse(miQ_SAMPLE_MOVING);
    library::tmsampler_init(&sampler, state, miTRUE);
    EXPECT_EQ(sampler.count, 1) << "the renderer does not say";
}

}  // namespace
