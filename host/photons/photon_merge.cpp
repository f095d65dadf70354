#include "photons/photon_merge.h"

#include <array>
#include <cmath>
#include <unordered_map>

namespace lumorender {

namespace {

using Cell = std::array<std::int64_t, 3>;

struct CellHash {
    std::size_t operator()(const Cell& cell) const {
        std::uint64_t hash = 0;
        for (const std::int64_t word : cell) hash = (hash ^ static_cast<std::uint64_t>(word)) * 0x9E3779B97F4A7C15U;
        return hash ^ (hash >> 29);
    }
};

/// Where photons that stay are, in cells as wide as the distance.
class Kept {
public:
    explicit Kept(float distance) : distance_(distance) {}

    bool give(const Photon& photon) {
        const Cell own = cellOf(photon.position);
        for (int i = 0; i < 27; ++i) {
            const auto cell = cells_.find({own[0] + i % 3 - 1, own[1] + i / 3 % 3 - 1, own[2] + i / 9 - 1});
            if (cell == cells_.end()) continue;
            for (const std::size_t number : cell->second)
                if (takes(photons[number], photon)) return true;
        }
        cells_[own].push_back(photons.size());
        photons.push_back(photon);
        return false;
    }

    std::vector<Photon> photons;

private:
    Cell cellOf(const miVector& place) const {
        const auto word = [&](float value) {
            return static_cast<std::int64_t>(std::floor(static_cast<double>(value) / static_cast<double>(distance_)));
        };
        return {word(place.x), word(place.y), word(place.z)};
    }

    bool takes(Photon& kept, const Photon& photon) const {
        constexpr float kSameSide = 0.9F;
        const miVector way = kept.position - photon.position;
        if (!(dot(way, way) < distance_ * distance_)) return false;
        if (dot(kept.normal.unpacked(), photon.normal.unpacked()) < kSameSide) return false;
        for (std::size_t i = 0; i < 3; ++i) kept.energy[i] += photon.energy[i];
        return true;
    }

    float distance_;
    std::unordered_map<Cell, std::vector<std::size_t>, CellHash> cells_;
};

}  // namespace

std::vector<Photon> mergedPhotons(std::span<const Photon> photons, float distance) {
    Kept kept(distance);
    for (const Photon& photon : photons) kept.give(photon);
    return std::move(kept.photons);
}

}  // namespace lumorender
