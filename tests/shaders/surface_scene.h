/* A point with a Lambert surface, scripted lights that fill the passes as light shaders do, and its result. */
#pragma once

#include <bit>

#include "frame_buffer_scene.h"

/* The parameter block by its words; the defaults are an opaque white surface that writes its passes. */
struct LambertWords {
    std::array<miUint, 59> words{};

    LambertWords() {
        words[0] = 1;
        scalar(2, 1).color(3, 1, 1, 1).integer(11, 2).scalar(12, 1).scalar(15, 1).scalar(17, 1);
    }
    LambertWords& integer(int slot, miInteger value) { return word(slot) = static_cast<miUint>(value), *this; }
    LambertWords& scalar(int slot, miScalar value) { return word(slot) = std::bit_cast<miUint>(value), *this; }
    LambertWords& color(int slot, miScalar r, miScalar g, miScalar b) {
        return scalar(slot, r).scalar(slot + 1, g).scalar(slot + 2, b);
    }
    miUint& word(int slot) { return words[static_cast<std::size_t>(slot)]; }
};

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

    ScriptedLight& addLight(const ScriptedLight& light = {}) { return lights.emplace_back(light); }

    /* A call of lumoVexaLambert with a new object. */
    const SurfaceShaderReturnType& shade(twin::ShaderInstance<LambertWords>& shader);
    const SurfaceShaderReturnType& shade(const LambertWords& words);
    miBoolean returned = miFALSE;

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
