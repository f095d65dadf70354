/* A light, its state, and pass entries, for tests of the light loop and of the shaders that take part in it. */
#pragma once

#include <string>
#include <vector>

#include "frame_buffer_scene.h"

namespace lighting {

/* Flags of entries. */
enum : miUint {
    kShadowed = 0x80,
    kIgnoresOccluder = 0x100,
    kContributes = 0x200,
    kInLoop = 0x400,
    kNotSetUp = 0x800,
    kInverted = 0x1000,
    kClosed = 0x8000
};

/* The record's light data and what else lights use of it. */
struct LightWords {
    miInteger ambient, diffuse, specular;
    miScalar blocked;
    miColor color;
    const void* corners;
    miInteger flips, withoutShadows;
};
static_assert(sizeof(LightWords) == 48);

class LightingTest : public twin::LibraryTest {
protected:
    LightingTest();

    /* An instance whose pass mask is this text. */
    miTag maskedInstance(const std::string& mask);

    /* Makes the entries those of the state, for shaders that fetch them; see also published(). */
    void publish();
    FrameBufferInfo& published(std::size_t index);

    miUint count() const { return static_cast<miUint>(entries.size()); }
    FrameBufferInfo* first() { return entries.data(); }

    /* One entry per set of flags; their light fields hold 9. */
    void setEntries(const std::vector<miUint>& flags);

    std::vector<FrameBufferInfo> entries;
    std::vector<FrameBufferSlot> slots;
};

/* A light three units above the point (0, 0, -5), which faces it, and its shader's state. */
class LightShaderTest : public LightingTest {
protected:
    LightShaderTest();

    /* Places light and point; the light's state follows. */
    void place(const miVector& origin, const miVector& point);

    LightWords& data() { return *reinterpret_cast<LightWords*>(record + 12); }
    void setScalar(int word, miScalar value) { std::memcpy(record + word, &value, sizeof value); }
    miColor recordColor(int word) const;

    template <class Parameters>
    miBoolean call(const std::string& name, twin::ShaderInstance<Parameters>& shader) {
        light.shader = &shader.function();
        result = {9, 9, 9, 9};
        return twin::ShaderEntry<Parameters, miColor>(name).call(&result, &light, shader.parameters(), nullptr);
    }

    /* Every shadow ray gets this; the entries' shadow values too. */
    void occlude(const miColor& transmission, bool lit = true);

    miUint* record;
    miState light;
    miColor result;
};

/* The parameters as scenes write them: what makes the light what it is, then what point and directional lights share. */
struct LightParameters {
    miBoolean useDepthMapShadows = 0;
    miBoolean emitDiffuse = 1, emitSpecular = 1;
    miColor color = {1, 1, 1, 1};
    miScalar intensity = 1;
    miBoolean useRayTraceShadows = 0;
    miColor shadowColor = {0, 0, 0, 0};
    miInteger shadowRays = 1;
    miInteger rayDepthLimit = 1;
    miScalar fogRadius = 1;
    miInteger fogType = 0;
    miScalar fogIntensity = 1;
    miTag lightProfile = 0;
};

struct PointShape {
    miScalar lightRadius = 0;
    miInteger decayRate = 0;
};
struct PointParameters : PointShape, LightParameters {};

struct DirectionalShape {
    miInteger useLightPosition = 0;
    miScalar lightAngle = 0;
};
struct DirectionalParameters : DirectionalShape, LightParameters {};

struct AmbientParameters {
    miScalar ambientShade = 0;
    miScalar lightRadius = 0;
    miColor color = {1, 1, 1, 1};
    miScalar intensity = 1;
    miBoolean useRayTraceShadows = 0;
    miColor shadowColor = {0, 0, 0, 0};
    miInteger shadowRays = 1;
    miInteger rayDepthLimit = 1;
};

}  // namespace lighting
