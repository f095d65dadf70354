/* A light, its state, and pass entries, for tests of the light loop and of the shaders that take part in it. */
#pragma once

#include <span>
#include <string>
#include <vector>

#include "block.h"
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

    /* One entry per set of flags, which shaders find, too; their light fields hold 9. */
    void setEntries(const std::vector<miUint>& flags);

    miUint count() const { return static_cast<miUint>(entries.size()); }
    FrameBufferInfo* first() { return entries.data(); }
    miBoolean occlude(const miColor& transparency, miState* occluder, miCBoolean intoLight = 0) {
        return library::applyShadowTransparencyToFrameBuffers(count(), first(), &transparency, intoLight, occluder);
    }

    std::span<FrameBufferInfo> entries;
    std::vector<FrameBufferSlot> slots; /* six for each entry */
};

/* A light and a point, and the state of the light's shader. */
class LightShaderTest : public LightingTest {
protected:
    LightShaderTest();

    /* Places light and point; the light's state follows. Light space is moved to the light. */
    void place(const miVector& origin, const miVector& point);

    LightWords& data() { return *reinterpret_cast<LightWords*>(record + 12); }
    void setScalar(int word, miScalar value) { std::memcpy(record + word, &value, sizeof value); }
    miColor recordColor(int word) const;

    miBoolean call(twin::Block& shader) {
        result = {9, 9, 9, 9};
        return shader.call(&light, &result);
    }

    /* Every shadow ray gets this; the entries' shadow values too. */
    void shadow(const miColor& transmission, miBoolean lit = miTRUE);

    miUint* record;
    miState light;
    miColor result;
};

}  // namespace lighting
