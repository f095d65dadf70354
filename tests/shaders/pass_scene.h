/* A hit with one pass buffer, and pass shaders that write it. */
#pragma once

#include "frame_buffer_scene.h"
#include "pass_parameters.h"

class PassTest : public FrameBufferTest {
protected:
    PassTest() {
        addPass("pass");
        attach();
        stage.placeVexabase();
    }

    /* What has been gathered at the sample; without it there is no opacity test and no continuation. */
    FrameBufferState& publishFrame(FrameBufferState value = {}) {
        stage.rendering.entries.set("lumoFBState", &value, sizeof value, miSS_LIFETIME_RECT);
        return *static_cast<FrameBufferState*>(stage.rendering.entries.get("lumoFBState", nullptr));
    }

    void setBuffer(miColor value) { mi_fb_put(state, indexOf("pass"), &value); }
    miColor passBuffer() { return buffer("pass"); }

    /* A new instance of a shader from init to exit with one call. Gives what the call returned. */
    template <class Parameters>
    miBoolean run(const std::string& name, const Parameters& parameters) {
        twin::ShaderInstance<Parameters> shader(parameters);
        return run(name, shader);
    }
    template <class Parameters>
    miBoolean run(const std::string& name, twin::ShaderInstance<Parameters>& shader) {
        const twin::ShaderEntry<Parameters> entry(name);
        const miFunction* const caller = state->shader;
        stage.run(shader);
        miBoolean wantsInstances = miFALSE;
        entry.init(state, shader.parameters(), &wantsInstances);
        const miBoolean result = entry.call(nullptr, state, shader.parameters(), nullptr);
        entry.exit(state, shader.parameters());
        state->shader = caller;
        return result;
    }

    /* Whether coverage, the simplest pass, writes with these common parameters. */
    bool writes(const PassFields& fields = {}) {
        stage.rendering.buffers.beginSample();
        EXPECT_EQ(run("lumoPassCoverage", PlainPass{fields}), miTRUE);
        return wasPut("pass");
    }

    /* Scalar passes leave all but the first channel of a color buffer alone. */
    template <class Parameters>
    miScalar scalarOf(const std::string& name, const Parameters& parameters) {
        setBuffer({9, 8, 7, 6});
        EXPECT_EQ(run(name, parameters), miTRUE);
        EXPECT_EQ(passBuffer().g, 8);
        EXPECT_EQ(passBuffer().a, 6);
        return passBuffer().r;
    }

    template <class Parameters>
    miVector vectorOf(const std::string& name, const Parameters& parameters) {
        setBuffer({9, 8, 7, 6});
        EXPECT_EQ(run(name, parameters), miTRUE);
        EXPECT_EQ(passBuffer().a, 6);
        return {passBuffer().r, passBuffer().g, passBuffer().b};
    }
};

#define EXPECT_VECTOR(actual, X, Y, Z)    \
    do {                                  \
        const miVector vector = (actual); \
        EXPECT_FLOAT_EQ(vector.x, (X));   \
        EXPECT_FLOAT_EQ(vector.y, (Y));   \
        EXPECT_FLOAT_EQ(vector.z, (Z));   \
    } while (false)
