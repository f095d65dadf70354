/* A surface cut into patches, each with its area and the light that enters there; groups of patches above them. */
#pragma once

#include <cstdint>

#include "SDK/scatter/scatter_light.h"

namespace lumo {

/* A patch, or a group of up to eight groups or patches. */
struct ScatterNode {
    miVector point;                /* center of the area */
    miScalar area, size;           /* edge of the cube around it */
    miScalar light[3];             /* mean of what enters; red, green, blue */
    miUint firstChild, childCount; /* none: a patch */
};

/* What building needs, some megabytes: not for the stack. */
struct ScatterWorkspace {
    static constexpr miUint kMostSamples = 32768, kMostNodes = 2 * kMostSamples;

    struct Sample {
        std::uint64_t key; /* place, then facing: samples of one patch have the same */
        miUint number;
        EntryPoint entry;
    };
    Sample samples[kMostSamples];
    std::uint64_t keys[kMostNodes];
    ScatterNode nodes[kMostNodes];
};

struct ScatterPatches {
    double patchSize;
    miUint count, firstRoot; /* the nodes from firstRoot on have no parents */
};

/* Cuts the surface of the state's instance. There are no nodes where probes see nothing of it. */
ScatterPatches cutSurface(miState* state, const ScatterSurface& surface, const EntryScope& lights,
                          ScatterWorkspace& work);

}  // namespace lumo
