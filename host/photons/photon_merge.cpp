#include "photons/photon_merge.h"

#include "support/neighbour_grid.h"

namespace lumorender {

namespace {

bool areOne(const Photon& a, const Photon& b, float distance) {
    constexpr float kSameSide = 0.9F;
    const miVector way = a.position - b.position;
    return dot(way, way) < distance * distance && dot(a.normal.unpacked(), b.normal.unpacked()) >= kSameSide;
}

}  // namespace

std::vector<Photon> mergedPhotons(std::span<const Photon> photons, float distance) {
    std::vector<Photon> kept;
    NeighbourGrid<std::size_t> numbers(distance);
    for (const Photon& photon : photons) {
        const V3d place = wide(photon.position);
        const std::size_t* near =
            numbers.find(place, [&](std::size_t number) { return areOne(kept[number], photon, distance); });
        if (near) {
            for (std::size_t i = 0; i < 3; ++i) kept[*near].energy[i] += photon.energy[i];
        } else {
            numbers.add(place, kept.size());
            kept.push_back(photon);
        }
    }
    return kept;
}

}  // namespace lumorender
