/* The life of shader objects and the reading of parameters, seen through shaders that show it. */
#include "scene.h"

#include "tests/shaders/pass_parameters.h"

namespace {

using twin::renderer;

const twin::ShaderEntry<DepthPass> depthShader("lumoPassCameraDepth");

class ShaderObject : public twin::LibraryTest {
protected:
    twin::ShaderInstance<DepthPass> shader{DepthPass{}};
    miBoolean wantsInstances = 9;

    ShaderObject() { stage.run(shader); }
};

TEST_F(ShaderObject, ShaderLevelInitOnlyAsksForInstances) {
    depthShader.init(state, nullptr, &wantsInstances);
    EXPECT_EQ(wantsInstances, miTRUE);
    depthShader.exit(state, nullptr);
    EXPECT_EQ(renderer().queries.count(miQ_FUNC_USERPTR), 0);
    EXPECT_TRUE(renderer().memory.allocations.empty());
    EXPECT_TRUE(renderer().memory.releases.empty());
}

TEST_F(ShaderObject, LivesFromInstanceInitToExit) {
    depthShader.init(state, shader.parameters(), &wantsInstances);
    ASSERT_EQ(renderer().memory.allocations.size(), 1u);
    EXPECT_TRUE(renderer().memory.allocations[0].file.starts_with("shaders/lumo"));
    EXPECT_EQ(renderer().memory.liveAllocations(), 1u);
    EXPECT_NE(shader.object(), nullptr);

    // Instances do not share objects.
    twin::ShaderInstance<DepthPass> other{DepthPass{}};
    stage.run(other);
    depthShader.init(state, other.parameters(), &wantsInstances);
    EXPECT_NE(other.object(), shader.object());
    depthShader.exit(state, other.parameters());
    EXPECT_EQ(renderer().memory.liveAllocations(), 1u);

    stage.run(shader);
    depthShader.exit(state, shader.parameters());
    ASSERT_EQ(renderer().memory.releases.size(), 2u);
    EXPECT_EQ(renderer().memory.releases[1].file, "sdk/lumoUtilities");
    EXPECT_EQ(renderer().memory.releases[1].line, 150);
}

TEST_F(ShaderObject, EvaluatesCapturedParametersOnceAtInit) {
    miScalar near = 1;
    miInteger pass = 0;
    stage.placeVexabase();
    const auto& nearConnection = shader.connect(&shader->near, &near);
    const auto& passConnection = shader.connect(&shader->common.buffer, &pass);
    depthShader.init(state, shader.parameters(), &wantsInstances);
    EXPECT_EQ(nearConnection.evaluations, 1);
    EXPECT_EQ(passConnection.evaluations, 1);
    for (int i = 0; i < 3; ++i) depthShader.call(nullptr, state, shader.parameters(), nullptr);
    EXPECT_EQ(nearConnection.evaluations, 1);
    EXPECT_EQ(passConnection.evaluations, 1);
    depthShader.exit(state, shader.parameters());
}

/* The alpha of this engine is one parameter, read on every call. */
struct EngineParameters {
    miColor color;
    miScalar alpha;
};

class ParameterReading : public twin::LibraryTest {
protected:
    twin::ShaderInstance<EngineParameters> engine{EngineParameters{{0, 0, 0, 0}, 0.25f}};
    miScalar elsewhere = 0.75f;

    ParameterReading() {
        stage.run(engine);
        stage.placeVexabase();
        engine.connect(&engine->alpha, &elsewhere);
    }

    miScalar alpha(miUint1 hasConnections, miTag ghost) {
        static const twin::ShaderEntry<EngineParameters, miColor> entry("lumoVexaSimpleShadingEngine");
        engine.function().has_connections = hasConnections;
        engine.setGhost(&engine->alpha, ghost);
        miColor result = {};
        EXPECT_EQ(entry.call(&result, state, engine.parameters(), nullptr), miTRUE);
        return result.a;
    }
};

TEST_F(ParameterReading, EvaluatesOnlyWhatIsConnected) {
    EXPECT_EQ(alpha(1, 0), 0.25f);
    EXPECT_EQ(alpha(1, miPARAMTAG), 0.25f);
    EXPECT_EQ(alpha(0, 42), 0.25f);
    EXPECT_EQ(alpha(2, 42), 0.25f);
    EXPECT_EQ(renderer().evaluation.evaluations, 0);

    // Tags around the special ones are connections like any other.
    for (miTag tag : {1u, 2u, 42u, 0xFFFFFFFCu, 0xFFFFFFFDu, 0xFFFFFFFFu}) EXPECT_EQ(alpha(1, tag), 0.75f) << tag;
    EXPECT_EQ(renderer().evaluation.evaluations, 6);
}

TEST_F(ParameterReading, FollowsGhostsThatLieBeforeTheBlock) {
    // Phenomena keep ghosts anywhere: the distance is signed.
    struct Block {
        EngineParameters ghosts, parameters;
    } block{};
    miTag tag = 42;
    std::memcpy(&block.ghosts.alpha, &tag, sizeof tag);
    block.parameters.alpha = 0.25f;
    miFunction function{};
    function.has_connections = 1;
    function.ghost_offs = -static_cast<int>(sizeof(EngineParameters));
    state->shader = &function;
    renderer().evaluation.connect(&block.parameters.alpha, &elsewhere);

    const twin::ShaderEntry<EngineParameters, miColor> entry("lumoVexaSimpleShadingEngine");
    miColor result = {};
    EXPECT_EQ(entry.call(&result, state, &block.parameters, nullptr), miTRUE);
    EXPECT_EQ(result.a, 0.75f);
}

}  // namespace
