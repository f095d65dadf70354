/* A point with a surface, scripted lights that fill the passes as light shaders do, and the surface's result. */
#pragma once

#include <algorithm>
#include <bit>

#include "block.h"
#include "frame_buffer_scene.h"

/* A light that is there for every point, from one direction. */
struct ScriptedLight {
    miColor color = {1, 1, 1, 1};
    miVector direction = {0, 0, 1}; /* from the point to the light */
    miScalar transmission = 1;      /* of its shadow, to black, when it is asked for one */
    int samples = 1;
    bool isAmbient = false;
    bool emitsDiffuse = true;
    bool isForeign = false;     /* fills nothing of the library's own */
    miTag instance = miNULLTAG; /* needed by lights of other libraries only */
    const miVector* corners = nullptr;

    int calls = 0; /* of its shader */
    miInteger lastWord11 = -1;
};

class SurfaceTest : public FrameBufferTest {
protected:
    SurfaceTest();

    /* One record per type, in rising order; then the first sample begins. */
    void usePasses(const std::vector<int>& types);
    /* What the material has written for a type. */
    miColor pass(int type);
    void clearPasses() {
        for (FrameBufferInfo& each : entries()) std::fill_n(each.slots, 6, FrameBufferSlot{});
    }

    ScriptedLight& addLight(const ScriptedLight& light = {}) { return lights.emplace_back(light); }

    /* A call of a material with a new object. */
    const SurfaceShaderReturnType& shade(twin::Block& shader);
    const SurfaceShaderReturnType& shade(const std::string& material, const std::string& parameters);
    miBoolean returned = miFALSE;

    /* Direction from the point to the eye. */
    void lookFrom(const miVector& view) {
        state->dir = {-view.x, -view.y, -view.z};
        state->dot_nd = mi_vector_dot(&state->normal, &state->dir);
    }
    miColor contributionWeight();
    void setWord(int word, miScalar value) { record[word] = std::bit_cast<miUint>(value); }

    /* Lights are rejected behind the surface, as renderers do for hits. */
    bool facingTest = true;
    std::vector<ScriptedLight> lights;
    miUint* record; /* vexabase */
    SurfaceShaderReturnType result;

private:
    miBoolean sample(miColor* color, miVector* dir, miScalar* cosine, ScriptedLight& light, int* samples);
    ScriptedLight& lightOf(miTag tag);
    void runLightShader(ScriptedLight& light);

    std::vector<miTag> lightTags;
};
