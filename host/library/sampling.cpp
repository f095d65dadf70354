/* Points for integrals: the loops of all samples of a pixel draw consecutive runs of one scrambled sequence. */
#include "shader.h"
#include "support/abort.h"
#include "support/quasi_random.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace {

/// A loop over points that is under way. The seed is kept here because whatever the loop calls takes seeds as well.
struct Loop {
    const miState* state = nullptr;
    const int* counter = nullptr;
    std::uint32_t seed = 0;

    bool isOf(const miState& itsState, const int* itsCounter) const {
        return state == &itsState && counter == itsCounter;
    }
};

/// The loops of a thread that were used last, the latest first: what is forgotten does not depend on what a thread did
/// before its sample. A loop that its shader leaves early stays until others need its place; one that so many others
/// interrupt that it loses its place goes on with another seed, which costs stratification only.
class Loops {
public:
    std::uint32_t begin(miState& state, const int* counter) {
        return (bringForward(state, counter) = {&state, counter, lumorender::takeSeed(state)}).seed;
    }

    std::uint32_t resume(miState& state, const int* counter) {
        Loop& loop = bringForward(state, counter);
        if (!loop.isOf(state, counter)) loop = {&state, counter, lumorender::takeSeed(state)};
        return loop.seed;
    }

private:
    /// The loop, or the one that nobody has used for longest.
    Loop& bringForward(const miState& state, const int* counter) {
        const auto known =
            std::find_if(loops_.begin(), loops_.end() - 1, [&](const Loop& loop) { return loop.isOf(state, counter); });
        std::rotate(loops_.begin(), known, known + 1);
        return loops_[0];
    }

    std::array<Loop, 16> loops_;
};

void writePoint(double* point, miUshort dimensions, std::uint32_t index, std::uint32_t seed,
                decltype(lumorender::scrambledSobol)& coordinate = lumorender::scrambledSobol) {
    for (miUshort k = 0; k < dimensions; ++k) point[k] = coordinate(index, k, seed);
}

}  // namespace

extern "C" miBoolean mi_sample(double* sample, int* instance, miState* state, miUshort dim, const miUint* n) {
    thread_local Loops loops;
    if (!n) {
        // A single point. Ends the loop of a caller who loops nevertheless.
        const bool ordered = std::exchange(state->qmc_component, miUchar{0}) == lumorender::kOrderedComponent;
        writePoint(sample, dim, state->qmc_instance, lumorender::takeSeed(*state),
                   ordered ? lumorender::orderedSobol : lumorender::scrambledSobol);
        return !instance || (*instance)++ == 0;
    }
    if (!instance || *instance < 0 || static_cast<miUint>(*instance) >= *n) return miFALSE;
    // A shader's loop may be longer than anybody waits for a render to stop.
    if (lumorender::abortRequested()) return miFALSE;
    const std::uint32_t seed = *instance == 0 ? loops.begin(*state, instance) : loops.resume(*state, instance);
    writePoint(sample, dim, state->qmc_instance * *n + static_cast<std::uint32_t>(*instance), seed);
    ++*instance;
    return miTRUE;
}
