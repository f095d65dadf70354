/* Light that enters a surface, gathered once for all of it and kept: patches and groups of patches. */
#pragma once

#include "SDK/scatter/scatter_patches.h"
#include "SDK/scatter/scatter_probes.h"

namespace lumo {

/* The patches of the state's instance in a material's list, built if there are none. Null when there is no memory; an
 * instance that cannot be probed has none.
 *
 * What they hold depends on the scene alone: they are built from lines that are always the same, with a state from which
 * everything is taken that tells rays apart, at the time when the shutter opens. So it does not matter which thread
 * builds them or when, and threads that come together build them together. No lock is taken but the allocator's. */
const ScatterPatches* scatterPatchesOf(miState* state, Vexabase& record, const ScatterSurface& surface,
                                       ScatterCache*& list);

/* Light that comes out at a point where the lights give `here`. Next to the point, where patches are too coarse, that
 * is taken instead of theirs. False when the profile is finer than the patches. */
bool gatherScatter(const ScatterPatches& patches, const miVector& point, const ScatterProfile& profile,
                   const miColor& here, ScatterSums& sums);

}  // namespace lumo
