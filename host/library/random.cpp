/* Random numbers. Those with a state repeat with the render; the others depend on who asks first. */
#include "shader.h"
#include "support/quasi_random.h"

#include <atomic>
#include <cstdint>

namespace {

/// The common sequence: "splitmix64", a counter whose values are hashed, so that threads need no lock.
std::atomic<std::uint64_t> counter{0};

std::uint64_t nextOfCommonSequence() {
    constexpr std::uint64_t kStep = 0x9e3779b97f4a7c15u;
    std::uint64_t x = counter.fetch_add(kStep, std::memory_order_relaxed) + kStep;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
    return x ^ (x >> 31);
}

}  // namespace

extern "C" {

/* 24 bits: rounding more of them to single precision could give 1. */
miScalar mi_random(void) { return static_cast<miScalar>(nextOfCommonSequence() >> 40) * 0x1p-24f; }

void mi_srandom(long seed) {
    counter.store(static_cast<std::uint64_t>(seed) * 0xd1342543de82ef95u, std::memory_order_relaxed);
}

/* The 48-bit linear congruential generator of erand48, low word first. */
miScalar mi_erandom(unsigned short seed[3]) {
    std::uint64_t x = seed[0] | std::uint64_t{seed[1]} << 16 | std::uint64_t{seed[2]} << 32;
    x = (x * 0x5deece66du + 0xbu) & 0xffffffffffffu;
    for (int word = 0; word < 3; ++word) seed[word] = static_cast<unsigned short>(x >> (16 * word));
    return static_cast<miScalar>(x >> 24) * 0x1p-24f;
}

double mi_par_random(miState* state) {
    return lumorender::hashedUnit(lumorender::takeSeed(*state), state->qmc_instance);
}

}  // extern "C"
