/* Light that enters a surface, gathered once for all of it and kept: patches and groups of patches. */
#pragma once

#include "SDK/scatter/scatter_probes.h"

namespace lumo {

/* The entry of the state's instance in a material's list, built if there is none. Null when there is no memory; an
 * instance that cannot be probed has an entry without patches.
 *
 * What an entry holds depends on the scene alone: it is built from lines that are always the same, with a state from
 * which everything is taken that tells rays apart, at the time when the shutter opens. So it does not matter which
 * thread builds it or when, and of two threads that build the same one the slower throws its own away. No lock is taken
 * but the allocator's. */
const ScatterCache* scatterCacheOf(miState* state, Vexabase& record, const ScatterSurface& surface,
                                   ScatterCache*& list);

/* Light that comes out at a point where the lights give `here`. Next to the point, where patches are too coarse, that
 * is taken instead of theirs. False when the profile is finer than the patches. */
bool gatherScatter(const ScatterCache& cache, const miVector& point, const ScatterProfile& profile, const miColor& here,
                   ScatterSums& sums);

}  // namespace lumo
