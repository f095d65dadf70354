/* A surface, found by straight lines and cut into sites: where light is asked for, and for how much of the surface. */
#pragma once

#include <cstdint>

#include "SDK/scatter/scatter_light.h"
#include "SDK/scatter/shared_parts.h"

namespace lumo {

struct Ball {
    miVector center = {0, 0, 0};
    double radius = 0;

    bool isEmpty() const { return !(radius > 0) || !std::isfinite(radius); }
};

/* Around the box of the instance's object; empty when it has none. */
Ball ballAround(miState* state);

/* What some of the lines have met, in their order. */
struct LineBlock {
    static constexpr miUint kLines = 64;

    struct Sample {
        EntryPoint entry;
        miUint line;
    };
    miUint count;
    Sample samples[kLines * kMostProbeHits]; /* memory ends behind the last one that is used */
};

/* As many lines as samples fit in: the box around an object is mostly larger than the object. */
constexpr miUint kLineBlocks = 32768 / LineBlock::kLines, kMostSamples = 32768;

/* Null when there is no memory. */
LineBlock* followLines(miState* state, const ScatterSurface& surface, const Ball& ball, miUint block);

struct ScatterSite {
    std::uint64_t key; /* place, then facing: sites in the same cube begin alike */
    EntryPoint entry;
    miVector center;
    miScalar area;
};

struct ScatterSites {
    double size; /* edge of the cube around each */
    miUint count;
    ScatterSite sites[kMostSamples]; /* memory ends behind the last one that is used */
};

/* From the blocks up to the first that makes kMostSamples full, which have to be there. Null when there is no memory. */
ScatterSites* cutIntoSites(const Ball& ball, const SharedPart<LineBlock> (&blocks)[kLineBlocks]);

}  // namespace lumo
