/* A hit that the full shading engine shades, with a scripted surface, and scripted things behind it. */
#pragma once

#include <functional>
#include <optional>

#include "frame_buffer_scene.h"

/* The engine's parameters as scenes fill them. */
struct EngineBlock {
    miColor surface = {0, 0, 0, 0};
    miScalar threshold = 0;
    miBoolean opaquePasses = miFALSE;
    miInteger i_before = 0, n_before = 0;
    miColor before[3] = {}; /* one is inline, the others follow */
};

/* What a surface material gives: 16 colors in a row. */
struct SurfaceWords {
    std::array<miColor, 16> colors{};

    SurfaceWords() { matteOpacity() = {1, 1, 1, 0}; }
    miColor& color() { return colors[0]; }
    miColor& glow() { return colors[1]; }
    miColor& matteOpacity() { return colors[2]; }
    miColor& transparency() { return colors[3]; }
};

/* One shading group: an engine, connected to a surface that is a function. */
class Group {
public:
    Group();

    twin::ShaderInstance<EngineBlock> engine;
    SurfaceWords surface;
    /* Runs when the surface is evaluated. */
    std::function<void(miState*)> onEvaluation;
    int evaluations = 0;
    /* Writes these values into the entries of pass types, as a material does. */
    std::vector<std::pair<int, miColor>> writes;

    miBoolean shade(miColor* result, miState* state);

    /* Connects an element of the block's array. */
    void connectBefore(int element, std::function<void*(miState*)> shader);
};

class EngineTest : public FrameBufferTest {
protected:
    EngineTest();

    /* Publishes the records that were added; levels are 0 to 100 where a record has none. */
    void openBuffers();
    /* Records of these types with these entry flags; then the first sample begins. */
    struct Pass {
        int type;
        miUint flags;
    };
    void usePasses(const std::vector<Pass>& passes);

    miBoolean shade() { return front.shade(&result, state); }

    /* What lies behind: the group shades it in a child state, as the renderer does. Without one the environment is
     * seen, if there is one. */
    Group* behind = nullptr;
    std::optional<miColor> environment;
    miState seen{};        /* the child state of the last ray */
    int levelOfTrace = -9; /* refraction level when the renderer was called */
    miTag volumeOfTrace = miNULLTAG;

    FrameBufferState& frame();
    FrameBufferSlot& slot(std::size_t number, int level = 0) { return publishedEntries()[number].slots[level]; }
    miScalar recordScalar(int word) const { return stage.vexabaseScalar(word); }
    void setRecord(int word, miScalar value);
    int walks() const;

    /* An instance with this pass mask in its parameters. */
    miTag masked(const std::string& mask);

    Group front;
    miColor result = {9, 9, 9, 9};
    miUint* record;

private:
    miBoolean traceOn(miColor* color, miState* parent, miRay_type type, int refractionLevel);
};
