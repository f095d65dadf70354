/* A surface cut into patches, each with its area and the light that enters there; groups of patches above them. */
#pragma once

#include "SDK/scatter/scatter_sites.h"

namespace lumo {

/* A patch, or a group of up to eight groups or patches. */
struct ScatterNode {
    miVector point;                /* center of the area */
    miScalar area, size;           /* edge of the cube around it */
    miScalar light[3];             /* mean of what enters; red, green, blue */
    miUint firstChild, childCount; /* none: a patch */
};

struct ScatterPatches {
    static constexpr miUint kMost = 2 * kMostSamples;

    double patchSize;
    miUint count, firstRoot;  /* the nodes from firstRoot on have no parents */
    ScatterNode nodes[kMost]; /* memory ends behind the last one that is used */
};

/* Light at some of the sites. */
struct LightBlock {
    static constexpr miUint kSites = 64;
    miColor light[kSites];
};

/* What is made on the way to the patches. */
struct ScatterParts {
    static constexpr miUint kLightBlocks = kMostSamples / LightBlock::kSites;

    SharedPart<LineBlock> lines[kLineBlocks];
    SharedPart<ScatterSites> sites;
    SharedPart<LightBlock> lights[kLightBlocks];
    Turns nextLines, nextLights;
    std::atomic<miUint> samples{0}; /* about as many as there are by now */

    void drop();
};

/* Cuts the surface of the state's instance, together with all threads that are given the same parts. There are no nodes
 * where probes see nothing of it. Null when there is no memory. */
ScatterPatches* cutSurface(miState* state, Vexabase& record, const ScatterSurface& surface, ScatterParts& parts);

}  // namespace lumo
